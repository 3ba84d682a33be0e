// tovkit hit: asks whether a point touches a path, or draws what does.
#include "command.h"
#include "hit_map.h"
#include "input_file.h"
#include "number_text.h"
#include "output_format.h"
#include "picture_output.h"
#include "svg_document.h"
#include "svg_path.h"
#include "text_output.h"

#include <tovkit/geometry.h>

#include <cstdio>
#include <memory>
#include <string>

namespace cli {

namespace {

constexpr int kMiss = 3;
constexpr std::size_t kLargestFile = 16u << 20;

struct HitOptions {
  std::string file;
  std::string id;
  std::string point;
  float tolerance = 1;
  bool fill = false;
  OutputOptions map;
  int size = 512;
};

std::string NameOf(const HitOptions& options) { return InputName(options.file); }

// Coordinates are the path's own: what a transform would do to them is left out, and said.
void TellOfTransforms(const HitOptions& options, const SvgPathElement& element) {
  if (element.moved.empty()) return;
  std::string lines;
  for (const unsigned long line : element.moved) lines += (lines.empty() ? "" : ", ") + std::to_string(line);
  std::fprintf(
      stderr,
      "tovkit: %s:%lu: the <path> is taken in its own coordinates, without the transform at line %s\n",
      Printable(NameOf(options)).c_str(), element.line, lines.c_str());
}

CorePath ReadSvgFile(const HitOptions& options, const std::string& text) {
  try {
    const SvgPathElement element = FindSvgPath(text, options.id);
    const std::string place = NameOf(options) + ":" + std::to_string(element.line);
    TellOfTransforms(options, element);
    try {
      return ParseSvgPath(element.d);
    } catch (const SvgPathError& e) {
      throw JobError(place + ": in the d of the <path>: " + e.what());
    }
  } catch (const SvgDocumentError& e) {
    throw JobError(NameOf(options) + ":" + e.what());
  }
}

CorePath ReadPath(const HitOptions& options) {
  const std::string text = ReadInputFile(options.file, kLargestFile, "the path is longer than 16 MiB");
  if (IsSvgDocument(text)) return ReadSvgFile(options, text);
  if (!options.id.empty()) throw JobError(NameOf(options) + ": no SVG file, so there is no --id in it");
  try {
    return ParseSvgPath(text);
  } catch (const SvgPathError& e) {
    throw JobError(NameOf(options) + ": " + e.what());
  }
}

// False when the text is not "X,Y".
bool ReadPoint(const std::string& text, CorePointF& point) {
  const std::size_t comma = text.find(',');
  if (comma == std::string::npos) return false;
  const auto x = ParseNumber(text.substr(0, comma));
  const auto y = ParseNumber(text.substr(comma + 1));
  if (!x || !y) return false;
  point = {*x, *y};
  return true;
}

// Without a limit is a tolerance, too.
std::string CheckTolerance(const std::string& text) {
  return ParseNumber(text) || text == "inf" ? "" : "'" + text + "' is no number";
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
  const OutputFormat format = ChooseFormat(options.map, OutputKind::kPicture);
  const CorePath path = ReadPath(options);
  if (path.GetPointCounter() < 0) throw JobError(NameOf(options) + ": the path is empty");
  CoreDib map;
  if (!DrawHitMap(path, options.tolerance, options.size, map))
    throw JobError(OutputName(options.map.file) + ": not enough memory");
  WritePicture(options.map.file, format.picture, 0, map);
}

}  // namespace

void AddHitCommand(CLI::App& app) {
  auto options = std::make_shared<HitOptions>();
  CLI::App* command = app.add_subcommand("hit", "Tell whether a point touches a path, or draw what does");
  command->footer(
      "Prints \"hit\" (exit status 0) or \"miss\" (exit status 3). A map shows the outline in dark, points "
      "that hit\n"
      "it in orange, and points that only --fill adds in blue. The path of an SVG file is taken in its own\n"
      "coordinates: a transform of it or around it is not applied, which is said on standard error.");
  command->add_option("PATHFILE", options->file,
                      "File with the text of an SVG path, or an SVG file; standard input when missing or -");
  command->add_option("--id", options->id, "The <path> of an SVG file that has this id (default: the first)");
  auto* job = command->add_option_group("job", "What to do");
  job->add_option("--point", options->point, "The point, as X,Y")->check([](const std::string& text) {
    CorePointF point;
    return ReadPoint(text, point) ? std::string() : "'" + text + "' is not X,Y, two finite numbers";
  });
  CLI::Option* map = job->add_option("--map", options->map.file,
                                     "Draw a map of what hits to this picture; - is standard output")
                         ->type_name("FILE");
  job->require_option(1);
  command->add_option("--format", options->map.format, "Format of the map, whatever its extension")
      ->needs(map)
      ->type_name("NAME");
  command
      ->add_option("--tolerance", options->tolerance, "How far from the outline counts as hit, in path units")
      ->check(CheckTolerance)
      ->capture_default_str();
  command->add_flag("--fill", options->fill, "Points inside the shape hit as well")->excludes(map);
  command->add_option("--size", options->size, "Pixels on the longer side of the map")
      ->check(CLI::Range(1, 8192))
      ->capture_default_str()
      ->needs(map);
  command->callback([options, map] {
    options->file = ChosenInput(options->file);
    map->count() == 0 ? Answer(*options) : DrawMap(*options);
  });
}

}  // namespace cli
