// tovkit draw: turns JSON descriptions of text into a picture or a page.
#include "command.h"
#include "input_file.h"
#include "json_input.h"
#include "page_output.h"
#include "progress.h"

#include <tovkit/imaging.h>
#include <tovkit/util.h>
#include <tovmx/color_space.h>
#include <tovmx/device.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <system_error>
#include <vector>

namespace cli {

namespace {

using tovkit::JsonValue;
using tovkit::SharedPtr;

constexpr double kMargin = 16.0;  // around text that decides the page's size
constexpr std::uint32_t kWhite = 0xFFFFFFFF;

struct DrawOptions {
  std::vector<std::string> files;
  std::vector<std::string> fontFiles;
  OutputOptions output;
  std::string size;
  std::string background;
  float dpi = 96.0f;
  bool verbose = false;
};

// Where something is, and how far apart two things are. In double precision, and counted from the first
// line's offset: offsets may be so large that the width of a text is nothing to them.
struct Place {
  double x = 0;
  double y = 0;
};

struct Room {
  Place from = {INFINITY, INFINITY};
  Place to = {-INFINITY, -INFINITY};

  bool IsEmpty() const { return !(from.x < to.x); }
  void Add(Place p) {
    from = {std::min(from.x, p.x), std::min(from.y, p.y)};
    to = {std::max(to.x, p.x), std::max(to.y, p.y)};
  }
};

// Sees every line before it is drawn: how much room it takes, and which fonts stand in for others.
class MeasuringDevice final : public CoreDevice {
 public:
  bool DrawText(const wchar_t* characters, int count, const CoreFontLoader& fonts, const CoreMatrix& matrix,
                std::uint32_t /*argb*/, float pixelSize) override {
    CoreTextExtents extents;
    drawable_ = fonts.MeasureText(characters, count, pixelSize, extents);
    if (!drawable_) return false;
    if (fonts.IsSubstituted()) Note(fonts);
    if (!origin_) origin_ = {matrix.e, matrix.f};
    for (const CoreRectF& box : {extents.ink, extents.logical}) {
      if (box.IsEmpty()) continue;
      Add(matrix, box.left, box.top);
      Add(matrix, box.right, box.bottom);
    }
    return true;
  }
  bool EndText() override { return drawable_; }
  bool Flush() override { return drawable_; }

  // False when the last line cannot be drawn.
  bool IsDrawable() const { return drawable_; }
  // The offset of the first line.
  Place Origin() const { return origin_.value_or(Place()); }
  // Where the lines are, counted from there; that place alone when none has any extent.
  Room GetRoom() const { return room_.IsEmpty() ? Room{{}, {}} : room_; }
  const std::set<std::string>& Substitutions() const { return substitutions_; }

 private:
  void Note(const CoreFontLoader& fonts) {
    const auto utf8 = [](const CoreWideString& name) {
      return tovkit::WideToUtf8(name.c_str(), name.GetLength());
    };
    substitutions_.insert(utf8(fonts.GetFamily()) + " -> " + utf8(fonts.GetActualFamily()));
  }

  void Add(const CoreMatrix& m, double x, double y) {
    room_.Add({m.a * x + m.c * y + (m.e - origin_->x), m.b * x + m.d * y + (m.f - origin_->y)});
  }

  bool drawable_ = false;
  std::optional<Place> origin_;
  Room room_;
  std::set<std::string> substitutions_;
};

// Draws on another device, everything moved by the same way, which brings one place to another.
class MovedDevice final : public CoreDevice {
 public:
  MovedDevice(CoreDevice& target, Place from, Place to) : target_(target), from_(from), to_(to) {}
  bool DrawText(const wchar_t* characters, int count, const CoreFontLoader& fonts, const CoreMatrix& matrix,
                std::uint32_t argb, float pixelSize) override {
    CoreMatrix moved = matrix;
    moved.e = static_cast<float>(matrix.e - from_.x + to_.x);
    moved.f = static_cast<float>(matrix.f - from_.y + to_.y);
    return target_.DrawText(characters, count, fonts, moved, argb, pixelSize);
  }
  bool EndText() override { return target_.EndText(); }
  bool Flush() override { return true; }  // once, when the page is full

 private:
  CoreDevice& target_;
  Place from_;
  Place to_;
};

struct Line {
  SharedPtr<const JsonValue> description;
  std::string place;  // for messages: the input, and the element when it is an array
};

// The handles of the roots keep the lines alive.
struct Drawing {
  std::vector<SharedPtr<JsonValue>> roots;
  std::vector<Line> lines;
};

void AddLines(Drawing& drawing, const std::string& file) {
  const SharedPtr<JsonValue> root = ReadJson(file);
  drawing.roots.push_back(root);
  if (root->GetType() == tovkit::JsonObject) {
    drawing.lines.push_back({root, InputName(file)});
    return;
  }
  const int count = static_cast<int>(root->Size());
  if (count == 0) throw JobError(InputName(file) + ": the array holds no line");
  for (int i = 0; i < count; ++i) {
    const std::string place = InputName(file) + ": element " + std::to_string(i);
    SharedPtr<const JsonValue> element = root->GetAt(i);
    if (element->GetType() != tovkit::JsonObject) throw JobError(place + " is no object");
    drawing.lines.push_back({std::move(element), place});
  }
}

void Measure(const Drawing& drawing, MeasuringDevice& measure) {
  Progress progress("measuring", static_cast<std::int64_t>(drawing.lines.size()));
  for (const Line& line : drawing.lines) {
    if (!tovkit::DrawTextOnDevice(&measure, line.description)) {
      throw JobError(line.place + ": no text to draw; \"Content\" is missing or empty");
    }
    if (!measure.IsDrawable()) throw JobError(line.place + ": the text is too long or no font is installed");
    progress.Advance();
  }
}

void Draw(const Drawing& drawing, CoreDevice& device) {
  Progress progress("drawing", static_cast<std::int64_t>(drawing.lines.size()));
  for (const Line& line : drawing.lines) {
    tovkit::DrawTextOnDevice(&device, line.description);
    progress.Advance();
  }
}

// A positive decimal number at `from`, which moves behind it; nothing when there is none.
std::optional<float> ParseSide(const char*& from, const char* end) {
  float side = 0;
  const auto [next, error] = std::from_chars(from, end, side);
  if (error != std::errc() || !std::isfinite(side) || side <= 0) return std::nullopt;
  from = next;
  return side;
}

// Two positive numbers with an x between them.
std::optional<CoreSizeF> ParseSize(const std::string& text) {
  const char* at = text.data();
  const char* const end = at + text.size();
  const auto width = ParseSide(at, end);
  if (!width || at == end || (*at != 'x' && *at != 'X')) return std::nullopt;
  const auto height = ParseSide(++at, end);
  if (!height || at != end) return std::nullopt;
  return CoreSizeF{*width, *height};
}

// What a person gives as a colour. ParseColor itself takes any word for a number.
bool IsColorText(const std::string& text) {
  const bool isHex = text[0] == '#';
  return text.find_first_not_of(isHex ? "0123456789abcdefABCDEF" : "0123456789 ", isHex ? 1 : 0) ==
         std::string::npos;
}

// 0xAARRGGBB of a colour text; "none" is transparent.
std::optional<std::uint32_t> ParseBackground(const std::string& text) {
  if (text == "none") return 0;
  std::uint32_t color = 0;
  std::uint32_t kind = 0;
  if (!IsColorText(text) || !tovkit::ParseColor(text.c_str(), color, kind)) return std::nullopt;
  const auto part = [color](int shift) { return color >> shift & 0xFF; };
  if (kind == kCoreColorCmyk) {
    const auto light = [&part](int shift) { return (255 - part(shift)) * (255 - part(0)) / 255; };
    return 0xFF000000 | light(24) << 16 | light(16) << 8 | light(8);
  }
  return 0xFF000000 | part(0) << 16 | part(8) << 8 | part(16);
}

void DrawPage(const DrawOptions& options) {
  const OutputFormat format = ChooseFormat(options.output, OutputKind::kPage);
  for (const std::string& file : options.fontFiles) {
    CheckReadable(file);
    if (!CoreFontLoader::RegisterFontFile(file.c_str())) throw JobError(file + ": holds no font");
  }
  Drawing drawing;
  for (const std::string& file : options.files) AddLines(drawing, file);
  MeasuringDevice measure;
  Measure(drawing, measure);
  if (options.verbose) {
    for (const std::string& text : measure.Substitutions()) std::fprintf(stderr, "font: %s\n", text.c_str());
  }

  Page page;
  page.dpi = options.dpi;
  page.background =
      options.background.empty() ? kWhite : ParseBackground(options.background).value_or(kWhite);
  Place from;
  Place to;
  if (const auto size = ParseSize(options.size)) {
    page.width = size->width;
    page.height = size->height;
  } else {
    const Room room = measure.GetRoom();
    page.width = static_cast<float>(std::ceil(room.to.x - room.from.x + 2 * kMargin));
    page.height = static_cast<float>(std::ceil(room.to.y - room.from.y + 2 * kMargin));
    from = measure.Origin();
    to = {kMargin - room.from.x, kMargin - room.from.y};
  }
  WritePage(options.output.file, format, page, [&](CoreDevice& device) {
    MovedDevice moved(device, from, to);
    Draw(drawing, moved);
    device.Flush();
  });
}

}  // namespace

void AddDrawCommand(CLI::App& app) {
  const auto options = std::make_shared<DrawOptions>();
  CLI::App* draw = app.add_subcommand("draw", "Draw lines of text that JSON files describe on one page");
  draw->add_option("FILE", options->files,
                   "JSON: an object is one line, an array several; standard input when missing or -");
  draw->add_option("-o,--output", options->output.file,
                   "The page; its extension is the format: pdf, svg, png and the other picture formats; - is "
                   "standard output")
      ->type_name("FILE")
      ->required();
  draw->add_option("--format", options->output.format, "Format of the page, whatever its extension")
      ->type_name("NAME");
  draw->add_option("--size", options->size,
                   "Width and height, 96 to the inch; without it, what the text needs")
      ->type_name("WxH")
      ->check([](const std::string& text) {
        return ParseSize(text) ? std::string() : "'" + text + "' is no size such as 800x600";
      });
  draw->add_option("--dpi", options->dpi, "Pixels to the inch of a picture")
      ->type_name("NUMBER")
      ->check([](const std::string& text) {
        const double dpi = std::strtod(text.c_str(), nullptr);
        return dpi >= 1 && dpi <= 4800 ? std::string() : "'" + text + "' is not in the range 1 to 4800";
      })
      ->capture_default_str();
  draw->add_option("--background", options->background,
                   "none, #gg, #rrggbb, #ccmmyykk, or 1, 3 or 4 numbers (default: white)")
      ->type_name("COLOR")
      ->check([](const std::string& text) {
        return ParseBackground(text) ? std::string() : "'" + text + "' is no colour";
      });
  draw->add_option("--font", options->fontFiles, "A font file to draw with, beside the installed ones")
      ->allow_extra_args(false)
      ->type_name("FILE");
  draw->add_flag("-v,--verbose", options->verbose, "Tell which fonts stand in for missing ones");
  draw->callback([options] {
    if (options->files.empty()) options->files = {ChosenInput("")};
    DrawPage(*options);
  });
}

}  // namespace cli
