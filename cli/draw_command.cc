// tovkit draw: turns JSON descriptions of text into a picture or a page.
#include "command.h"
#include "json_input.h"
#include "page_output.h"
#include "progress.h"

#include <tovkit/imaging.h>
#include <tovkit/util.h>
#include <tovmx/color_space.h>
#include <tovmx/device.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace cli {

namespace {

using tovkit::JsonValue;
using tovkit::SharedPtr;

constexpr float kMargin = 16.0f;  // around text that decides the page's size
constexpr std::uint32_t kWhite = 0xFFFFFFFF;

struct DrawOptions {
  std::vector<std::string> files;
  std::vector<std::string> fontFiles;
  std::string output;
  std::string size;
  std::string background;
  float dpi = 96.0f;
  bool verbose = false;
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
    for (const CoreRectF& box : {extents.ink, extents.logical}) {
      if (box.IsEmpty()) continue;
      Add(matrix.Transform({box.left, box.top}));
      Add(matrix.Transform({box.right, box.bottom}));
    }
    return true;
  }
  bool EndText() override { return drawable_; }
  bool Flush() override { return drawable_; }

  // False when the last line cannot be drawn.
  bool IsDrawable() const { return drawable_; }
  const CoreRectF& Room() const { return room_; }
  const std::set<std::string>& Substitutions() const { return substitutions_; }

 private:
  void Note(const CoreFontLoader& fonts) {
    const auto utf8 = [](const CoreWideString& name) {
      return tovkit::WideToUtf8(name.c_str(), name.GetLength());
    };
    substitutions_.insert(utf8(fonts.GetFamily()) + " -> " + utf8(fonts.GetActualFamily()));
  }

  void Add(CorePointF point) {
    if (room_.IsEmpty()) {
      room_ = {point.x, point.y, std::nextafter(point.x, INFINITY), std::nextafter(point.y, INFINITY)};
    }
    room_ = {std::min(room_.left, point.x), std::min(room_.top, point.y), std::max(room_.right, point.x),
             std::max(room_.bottom, point.y)};
  }

  bool drawable_ = false;
  CoreRectF room_;
  std::set<std::string> substitutions_;
};

// Draws on another device, everything moved by the same way.
class MovedDevice final : public CoreDevice {
 public:
  MovedDevice(CoreDevice& target, float dx, float dy) : target_(target), dx_(dx), dy_(dy) {}
  bool DrawText(const wchar_t* characters, int count, const CoreFontLoader& fonts, const CoreMatrix& matrix,
                std::uint32_t argb, float pixelSize) override {
    CoreMatrix moved = matrix;
    moved.Translate(dx_, dy_);
    return target_.DrawText(characters, count, fonts, moved, argb, pixelSize);
  }
  bool EndText() override { return target_.EndText(); }
  bool Flush() override { return true; }  // once, when the page is full

 private:
  CoreDevice& target_;
  float dx_;
  float dy_;
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

// Two positive numbers with an x between them.
std::optional<CoreSizeF> ParseSize(const std::string& text) {
  CoreSizeF size;
  int end = 0;
  const bool read = std::sscanf(text.c_str(), "%f%*1[xX]%f%n", &size.width, &size.height, &end) == 2;
  if (!read || end != static_cast<int>(text.size())) return std::nullopt;
  const auto isSide = [](float side) { return std::isfinite(side) && side > 0; };
  return isSide(size.width) && isSide(size.height) ? std::optional(size) : std::nullopt;
}

// 0xAARRGGBB of a colour text; "none" is transparent.
std::optional<std::uint32_t> ParseBackground(const std::string& text) {
  if (text == "none") return 0;
  std::uint32_t color = 0;
  std::uint32_t kind = 0;
  if (!tovkit::ParseColor(text.c_str(), color, kind)) return std::nullopt;
  const auto part = [color](int shift) { return color >> shift & 0xFF; };
  if (kind == kCoreColorCmyk) {
    const auto light = [&part](int shift) { return (255 - part(shift)) * (255 - part(0)) / 255; };
    return 0xFF000000 | light(24) << 16 | light(16) << 8 | light(8);
  }
  return 0xFF000000 | part(0) << 16 | part(8) << 8 | part(16);
}

void DrawPage(const DrawOptions& options) {
  CheckOutputFormat(options.output);
  for (const std::string& file : options.fontFiles) {
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
  float dx = 0;
  float dy = 0;
  if (const auto size = ParseSize(options.size)) {
    page.width = size->width;
    page.height = size->height;
  } else {
    const CoreRectF& room = measure.Room();
    page.width = std::ceil(room.right - room.left + 2 * kMargin);
    page.height = std::ceil(room.bottom - room.top + 2 * kMargin);
    dx = kMargin - room.left;
    dy = kMargin - room.top;
  }
  WritePage(options.output, page, [&](CoreDevice& device) {
    MovedDevice moved(device, dx, dy);
    Draw(drawing, moved);
    device.Flush();
  });
}

}  // namespace

void AddDrawCommand(CLI::App& app) {
  const auto options = std::make_shared<DrawOptions>();
  CLI::App* draw = app.add_subcommand("draw", "Draw lines of text that JSON files describe on one page");
  draw->add_option("FILE", options->files,
                   "JSON: an object is one line, an array several; - is standard input")
      ->required();
  draw->add_option("-o,--output", options->output,
                   "The page; its extension is the format: pdf, svg, png and the other picture formats")
      ->required();
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
  draw->callback([options] { DrawPage(*options); });
}

}  // namespace cli
