// SPDX-License-Identifier: MIT
// tovkit base64: bytes to Base64 and back, as a stream.
#include "command.h"
#include "input_file.h"

#include <tovkit/util.h>

#include <emmintrin.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

namespace cli {

namespace {

constexpr std::size_t kChunk = std::size_t{48} << 10;  // whole groups of three bytes and of four characters
constexpr std::size_t kGroup = 4;                      // characters

struct Base64Options {
  std::string file;
  int wrap = 0;  // characters to a line, 0 for one line
  bool decode = false;
};

class Input {
 public:
  explicit Input(const std::string& path) {
    const bool standard = path == "-";
    name_ = InputName(path);
    file_.reset(standard ? stdin : std::fopen(path.c_str(), "rb"));
    if (file_ == nullptr) throw CommandError(name_ + ": cannot open: " + std::strerror(errno));
  }

  // Fills `chunk` as far as the input goes; false at its end.
  bool Read(std::string& chunk) {
    chunk.resize(kChunk);
    chunk.resize(std::fread(chunk.data(), 1, kChunk, file_.get()));
    if (std::ferror(file_.get()) != 0) throw CommandError(name_ + ": cannot read: " + std::strerror(errno));
    return !chunk.empty();
  }

  const std::string& name() const { return name_; }

 private:
  struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };

  std::string name_;
  std::unique_ptr<std::FILE, Close> file_;
};

// False when the output takes no more, which main reports.
bool Write(const CoreString& bytes) {
  const auto size = static_cast<std::size_t>(bytes.GetLength());
  return std::fwrite(bytes.c_str(), 1, size, stdout) == size;
}

// Writes Base64 in lines of `width` characters, the last one open; one line for a width of 0.
class Lines {
 public:
  explicit Lines(int width) : width_(static_cast<std::size_t>(width)) {}

  // False when the output takes no more.
  bool Write(const CoreString& text) {
    if (width_ == 0) return cli::Write(text);
    const auto size = static_cast<std::size_t>(text.GetLength());
    for (std::size_t at = 0; at < size;) {
      if (column_ == width_) {
        std::fputc('\n', stdout);
        column_ = 0;
      }
      const std::size_t length = std::min(width_ - column_, size - at);
      if (std::fwrite(text.c_str() + at, 1, length, stdout) != length) return false;
      column_ += length;
      at += length;
    }
    return true;
  }

 private:
  std::size_t width_;
  std::size_t column_ = 0;
};

void Encode(Input& input, int width) {
  std::string chunk;
  Lines lines(width);
  bool any = false;
  while (input.Read(chunk)) {
    const auto* data = reinterpret_cast<const unsigned char*>(chunk.data());
    if (!lines.Write(tovkit::Base64Encode(data, static_cast<int>(chunk.size())))) return;
    any = true;
  }
  if (any) std::fputc('\n', stdout);
}

// Looks at sixteen characters at a time for one that may be white space: none is above the space.
const char* FindWhiteSpace(const char* from, const char* end) {
  const __m128i space = _mm_set1_epi8(' ');
  const auto isWhite = [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
  for (; end - from >= 16; from += 16) {
    const __m128i block = _mm_loadu_si128(static_cast<const __m128i*>(static_cast<const void*>(from)));
    const bool mayBe = _mm_movemask_epi8(_mm_cmpeq_epi8(_mm_min_epu8(block, space), block)) != 0;
    if (!mayBe) continue;
    const char* const found = std::find_if(from, from + 16, isWhite);
    if (found != from + 16) return found;
  }
  return std::find_if(from, end, isWhite);
}

bool IsOfAlphabet(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '/';
}

// The decoder ends silently at the first character outside the alphabet. A person is told about it, unless
// that was padding.
class Decoding {
 public:
  explicit Decoding(std::string name) : name_(std::move(name)) {}

  // Decodes the whole groups of what came so far. False when the output takes no more.
  bool Take(const std::string& chunk) {
    const char* const end = chunk.data() + chunk.size();
    for (const char* from = chunk.data(); from != end;) {
      const char* const white = FindWhiteSpace(from, end);
      pending_.append(from, white);
      from = white == end ? end : white + 1;
    }
    return ended_ ? CheckPadding() : DecodeFront(pending_.size() / kGroup * kGroup);
  }

  void Finish() {
    if (!ended_ && !DecodeFront(pending_.size())) return;
    if (ended_ ? padding_ > 2 : !pending_.empty()) Fail();
    if (taken_ % kGroup == 1) throw CommandError(name_ + ": the Base64 text is cut short");
  }

 private:
  bool DecodeFront(std::size_t size) {
    // As many bytes as whole groups make are of characters that are all of the alphabet.
    const CoreString bytes = tovkit::Base64Decode(pending_.data(), static_cast<int>(size));
    const bool whole = size % kGroup == 0 && static_cast<std::size_t>(bytes.GetLength()) == size / kGroup * 3;
    std::size_t accepted = whole ? size : 0;
    while (accepted < size && IsOfAlphabet(pending_[accepted])) ++accepted;
    const bool written = Write(bytes);
    ended_ = accepted < size;
    taken_ += accepted;
    pending_.erase(0, accepted);
    return written && (!ended_ || CheckPadding());
  }

  bool CheckPadding() {
    if (pending_.find_first_not_of('=') != std::string::npos) Fail();
    padding_ += pending_.size();
    pending_.clear();
    return true;
  }

  [[noreturn]] void Fail() const {
    throw CommandError(name_ + ": not Base64 from character " + std::to_string(taken_ + 1) +
                       " on, white space not counted");
  }

  std::string name_;
  std::string pending_;
  std::size_t taken_ = 0;  // characters decoded
  std::size_t padding_ = 0;
  bool ended_ = false;
};

void Decode(Input& input) {
  Decoding decoding(input.name());
  std::string chunk;
  while (input.Read(chunk)) {
    if (!decoding.Take(chunk)) return;
  }
  decoding.Finish();
}

}  // namespace

void AddBase64Command(CLI::App& app) {
  const auto options = std::make_shared<Base64Options>();
  CLI::App* const command = app.add_subcommand(
      "base64",
      "Turn bytes into Base64, or back with -d. Decoding passes over white space and line "
      "breaks; it writes what came before the first foreign character, and fails when that is more than "
      "padding.");
  command->add_flag("-d,--decode", options->decode, "Decode instead of encode");
  command->add_option("--wrap", options->wrap, "Encode into lines of this many characters; 0 for one line")
      ->type_name("N")
      ->check(CLI::Range(0, 1 << 30))
      ->capture_default_str();
  command->add_option("FILE", options->file, "What to read; standard input when missing or -");
  command->callback([options] {
    Input input(ChosenInput(options->file));
    options->decode ? Decode(input) : Encode(input, options->wrap);
  });
}

}  // namespace cli
