// tovkit hit: asks whether a point touches a path, or draws what does.
#include "command.h"
#include "hit_map.h"
#include "input_file.h"
#include "picture_output.h"
#include "svg_path.h"

#include <tovkit/geometry.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

namespace cli {

namespace {

constexpr int kMiss = 3;
constexpr std::size_t kLargestFile = 16u << 20;

struct HitOptions {
  std::string file;
  std::string point;
  float tolerance = 1;
  bool fill = false;
  std::string map;
  int size = 512;
};

std::string NameOf(const HitOptions& options) { return InputName(options.file); }

CorePath ReadPath(const HitOptions& options) {
  const std::string text = ReadInputFile(options.file, kLargestFile, "the path is longer than 16 MiB");
  try {
    return ParseSvgPath(text);
  } catch (const SvgPathError& e) {
    throw JobError(NameOf(options) + ": " + e.what());
  }
}

// False when the text is not "X,Y".
bool ReadPoint(const std::string& text, CorePointF& point) {
  const char* const end = text.data() + text.size();
  const auto x = std::from_chars(text.data(), end, point.x);
  if (x.ec != std::errc() || x.ptr == end || *x.ptr != ',') return false;
  const auto y = std::from_chars(x.ptr + 1, end, point.y);
  return y.ec == std::errc() && y.ptr == end;
}

void Answer(const HitOptions& options) {
  CorePointF point;
  ReadPoint(options.point, point);  // checked when the options were read
  const CorePath path = ReadPath(options);
  const bool hit = tovkit::HitTestPath(point, options.tolerance, path, 0, options.fill, kCoreFillWinding);
  std::puts(hit ? "hit" : "miss");
  if (!hit) throw ExitStatus{kMiss};
}

void DrawMap(const HitOptions& options) {
  const CorePath path = ReadPath(options);
  if (path.GetPointCounter() < 0) throw JobError(NameOf(options) + ": the path is empty");
  CoreDib map;
  if (!DrawHitMap(path, options.tolerance, options.size, map))
    throw JobError(options.map + ": not enough memory");
  WritePicture(options.map, kCoreImagePng, 0, map);
}

}  // namespace

void AddHitCommand(CLI::App& app) {
  auto options = std::make_shared<HitOptions>();
  CLI::App* command = app.add_subcommand("hit", "Tell whether a point touches a path, or draw what does");
  command->footer(
      "Prints \"hit\" (exit status 0) or \"miss\" (exit status 3). A map shows the outline in dark, points "
      "that hit\n"
      "it in orange, and points that only --fill adds in blue.");
  command->add_option("PATHFILE", options->file, "File with the text of an SVG path, - for standard input")
      ->required();
  auto* job = command->add_option_group("job", "What to do");
  job->add_option("--point", options->point, "The point, as X,Y")->check([](const std::string& text) {
    CorePointF point;
    return ReadPoint(text, point) ? std::string() : "\"" + text + "\" is not X,Y";
  });
  CLI::Option* map = job->add_option("--map", options->map, "Draw a map of what hits to this PNG file");
  job->require_option(1);
  command
      ->add_option("--tolerance", options->tolerance, "How far from the outline counts as hit, in path units")
      ->capture_default_str();
  command->add_flag("--fill", options->fill, "Points inside the shape hit as well")->excludes(map);
  command->add_option("--size", options->size, "Pixels on the longer side of the map")
      ->check(CLI::Range(1, 8192))
      ->capture_default_str()
      ->needs(map);
  command->callback([options] { options->map.empty() ? Answer(*options) : DrawMap(*options); });
}

}  // namespace cli
