// SPDX-License-Identifier: MIT
// A scanner that knows separators and numbers, and a builder that knows commands. The builder keeps the
// current point in double precision, because relative commands add up thousands of steps.
#include "svg_path.h"

#include "number_text.h"

#include <cmath>
#include <limits>

namespace jobs {

namespace {

bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f'; }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool StartsNumber(char c) { return IsDigit(c) || c == '.' || c == '+' || c == '-'; }

// Takes the text apart into letters, numbers and flags.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : text_(text) {}

  [[noreturn]] void Fail(const char* error) const {
    std::size_t line = 1, column = 1;
    for (const char c : text_.substr(0, at_)) {
      column = c == '\n' ? 1 : column + 1;
      line += c == '\n' ? 1 : 0;
    }
    throw SvgPathError("line " + std::to_string(line) + ", column " + std::to_string(column) + ": " + error);
  }

  // The next command letter, 0 at the end of the text.
  char Letter() {
    SkipSpace();
    return at_ == text_.size() ? '\0' : text_[at_];
  }
  void Accept() { ++at_; }

  // Whether the command goes on with another set of numbers. A comma promises one.
  bool Repeats() {
    SkipSpace();
    if (Peek() == ',') {
      SkipSeparator();
      if (!StartsNumber(Peek())) Fail("a number is expected");
      return true;
    }
    return StartsNumber(Peek());
  }

  // The first number of a set; the others are Next().
  double Number() {
    SkipSpace();
    const char* from = text_.data() + at_ + (Peek() == '+' ? 1 : 0);
    const bool twoSigns = Peek() == '+' && at_ + 1 < text_.size() && *from == '-';
    double value = 0;
    const std::errc error =
        twoSigns ? std::errc::invalid_argument : TakeNumber(from, text_.data() + text_.size(), value);
    if (error == std::errc::result_out_of_range) Fail("the number is out of range");
    if (error == std::errc()) {
      at_ = static_cast<std::size_t>(from - text_.data());
      return value;
    }
    Fail("a number is expected");
  }

  double Next() {
    SkipSeparator();
    return Number();
  }

  bool NextFlag() {
    SkipSeparator();
    if (Peek() != '0' && Peek() != '1') Fail("an arc flag, 0 or 1, is expected");
    return text_[at_++] == '1';
  }

  // A sum of numbers, which may be more than a float holds.
  float Coordinate(double value) const {
    if (std::fabs(value) > kLargest) Fail("the coordinate is too large");
    return static_cast<float>(value);
  }

 private:
  static constexpr double kLargest = std::numeric_limits<float>::max();

  char Peek() const { return at_ < text_.size() ? text_[at_] : '\0'; }
  void SkipSpace() {
    while (IsSpace(Peek())) ++at_;
  }
  void SkipSeparator() {
    SkipSpace();
    if (Peek() != ',') return;
    ++at_;
    SkipSpace();
  }

  std::string_view text_;
  std::size_t at_ = 0;
};

using Point = CoreBasicPoint<double>;

// Follows the commands and keeps the current point in double precision; the path's records are floats.
class Builder {
 public:
  explicit Builder(std::string_view text) : in_(text) {}

  CorePath Build() {
    for (char letter = in_.Letter(); letter != '\0'; letter = in_.Letter()) {
      const bool relative = letter >= 'a';
      const char command = static_cast<char>(relative ? letter - 'a' + 'A' : letter);
      if (std::string_view("MLHVQCSTAZ").find(command) == std::string_view::npos)
        in_.Fail("a command is expected");
      if (!started_ && command != 'M') in_.Fail("a path starts with M or m");
      in_.Accept();
      Run(command, relative);
    }
    return std::move(path_);
  }

 private:
  void Run(char command, bool relative) {
    if (command == 'Z') return Close();
    do {
      origin_ = relative ? current_ : Point();
      One(command);
      if (command == 'M') command = 'L';  // more pairs behind a move are lines
    } while (in_.Repeats());
  }

  void One(char command) {
    switch (command) {
      case 'M':
        return Move(First());
      case 'L':
        return Line(First());
      case 'H':
        return Line({origin_.x + in_.Number(), current_.y});
      case 'V':
        return Line({current_.x, origin_.y + in_.Number()});
      case 'A':
        return Arc();
      case 'Q': {
        const Point control = First();
        return Quad(control, Other());
      }
      case 'T':
        return Quad(Reflected(lastQuad_), First());
      case 'C': {
        const Point first = First();
        const Point second = Other();
        return Cubic(first, second, Other());
      }
      default: {
        const Point first = Reflected(lastCubic_);
        const Point second = First();
        return Cubic(first, second, Other());
      }
    }
  }

  Point First() {
    const double x = origin_.x + in_.Number();
    return {x, origin_.y + in_.Next()};
  }
  Point Other() {
    const double x = origin_.x + in_.Next();
    return {x, origin_.y + in_.Next()};
  }

  // Without a curve of the kind before it, the control point is the current point.
  Point Reflected(const Point* control) const {
    return control == nullptr ? current_ : Point{2 * current_.x - control->x, 2 * current_.y - control->y};
  }

  float Narrow(double value) const { return in_.Coordinate(value); }

  // After a Z, drawing goes on from the start of the subpath; the path needs a move for that.
  void Reopen() {
    if (closed_) path_.MoveTo(Narrow(current_.x), Narrow(current_.y));
    closed_ = false;
  }
  void Arrive(Point to) {
    current_ = to;
    lastQuad_ = lastCubic_ = nullptr;
  }

  void Move(Point to) {
    path_.MoveTo(Narrow(to.x), Narrow(to.y));
    started_ = true;
    closed_ = false;
    start_ = to;
    Arrive(to);
  }
  void Line(Point to) {
    Reopen();
    path_.LineTo(Narrow(to.x), Narrow(to.y));
    Arrive(to);
  }
  void Quad(Point control, Point to) {
    Reopen();
    path_.QuadTo(Narrow(control.x), Narrow(control.y), Narrow(to.x), Narrow(to.y));
    Arrive(to);
    control_ = control;
    lastQuad_ = &control_;
  }
  void Cubic(Point first, Point second, Point to) {
    Reopen();
    path_.CubicTo(Narrow(first.x), Narrow(first.y), Narrow(second.x), Narrow(second.y), Narrow(to.x),
                  Narrow(to.y));
    Arrive(to);
    control_ = second;
    lastCubic_ = &control_;
  }
  void Arc() {
    const float rx = Narrow(in_.Number());
    const float ry = Narrow(in_.Next());
    const auto rotation = static_cast<float>(std::fmod(in_.Next(), 360.0) * M_PI / 180.0);
    const bool large = in_.NextFlag();
    const bool sweep = in_.NextFlag();
    const Point to = Other();
    if (rx == 0 || ry == 0) return Line(to);
    const float x = Narrow(to.x);
    const float y = Narrow(to.y);
    if (x != Narrow(current_.x) || y != Narrow(current_.y)) {
      Reopen();
      path_.ArcTo(rx, ry, rotation, large ? 1.0f : 0.0f, sweep ? 1.0f : 0.0f, x, y);
    }
    Arrive(to);
  }
  void Close() {
    if (!closed_) path_.Close();
    closed_ = true;
    Arrive(start_);
  }

  Scanner in_;
  CorePath path_;
  bool started_ = false;
  bool closed_ = false;
  Point start_;
  Point current_;
  Point origin_;  // of the present command's numbers
  Point control_;
  const Point* lastQuad_ = nullptr;  // control_, when the last command was a Q or T
  const Point* lastCubic_ = nullptr;
};

}  // namespace

CorePath ParseSvgPath(std::string_view text) { return Builder(text).Build(); }

}  // namespace jobs
