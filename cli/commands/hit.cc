// SPDX-License-Identifier: MIT
// tovkit hit: asks whether a point touches a path, or draws what does.
#include "command.h"

#include "input_file.h"
#include "jobs/hit_job.h"
#include "jobs/number_text.h"
#include "output.h"
#include "terminal_observer.h"

#include <tovkit/util.h>

#include <cstdio>
#include <memory>
#include <string>

namespace cli {

namespace {

constexpr int kMiss = 3;

struct HitOptions {
  std::string file;
  std::string id;
  std::string point;
  float tolerance = 1;
  bool fill = false;
  OutputOptions map;
  int size = 512;
};

// False when the text is not "X,Y".
bool ReadPoint(const std::string& text, CorePointF& point) {
  const std::size_t comma = text.find(',');
  if (comma == std::string::npos) return false;
  const auto x = jobs::ParseNumber(text.substr(0, comma));
  const auto y = jobs::ParseNumber(text.substr(comma + 1));
  if (!x || !y) return false;
  point = {*x, *y};
  return true;
}

// Infinity is a tolerance too.
std::string CheckTolerance(const std::string& text) {
  return jobs::ParseNumber(text) || text == "inf" ? "" : "'" + text + "' is no number";
}

jobs::HitJob JobOf(const HitOptions& options) {
  jobs::HitJob job{JobInput(options.file)};
  job.id = tovkit::LocalToUtf8(options.id.c_str(), -1);  // as in the file
  job.tolerance = options.tolerance;
  job.fill = options.fill;
  return job;
}

void Answer(const HitOptions& options) {
  CorePointF point;
  ReadPoint(options.point, point);  // checked when the options were read
  jobs::HitJob job = JobOf(options);
  job.points = {point};
  TerminalObserver observer;
  const bool hit = jobs::Run(job, observer)[0];
  std::puts(hit ? "hit" : "miss");
  if (!hit) throw ExitStatus{kMiss};
}

void DrawMap(const HitOptions& options) {
  const jobs::OutputFormat format = ChooseFormat(options.map, jobs::OutputKind::kPicture);
  JobOutput output(options.map.file);
  jobs::HitJob job = JobOf(options);
  job.map = jobs::HitJob::Map{output.Target(), format.picture, options.size};
  TerminalObserver observer;
  jobs::Run(job, observer);
  output.Finish();
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
