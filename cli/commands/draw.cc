// tovkit draw: turns JSON descriptions of text into a picture or a page.
#include "command.h"
#include "draw_options.h"
#include "input_file.h"
#include "jobs/background.h"
#include "jobs/draw_job.h"
#include "jobs/page_size.h"
#include "output.h"
#include "terminal_observer.h"

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace cli {

namespace {

struct DrawOptions {
  std::vector<std::string> files;
  std::vector<std::string> fontFiles;
  OutputOptions output;
  std::string size;
  std::string background;
  float dpi = 96.0f;
  bool verbose = false;
  ReviewOptions review;
};

class DrawObserver final : public TerminalObserver {
 public:
  DrawObserver(bool verbose, DrawReview& review) : verbose_(verbose), review_(review) {}
  void LineMeasured(const jobs::MeasuredLine& line, const std::optional<CoreSizeF>& page) override {
    review_.Look(line, page);
  }
  void LinesMeasured() override { review_.Conclude(); }
  void FontSubstituted(const std::string& wanted, const std::string& actual) override {
    if (verbose_) std::fprintf(stderr, "font: %s -> %s\n", wanted.c_str(), actual.c_str());
  }

 private:
  bool verbose_;
  DrawReview& review_;
};

void Draw(const DrawOptions& options) {
  const jobs::OutputFormat format = ChooseFormat(options.output, jobs::OutputKind::kPage);
  JobOutput output(options.output.file);
  jobs::DrawJob job{{}, options.fontFiles, output.Target(), format};
  for (const std::string& file : options.files) job.descriptions.push_back(JobInput(file));
  job.size = jobs::ParsePageSize(options.size);
  job.dpi = options.dpi;
  job.background = jobs::ParseBackground(options.background).value_or(job.background);
  DrawReview review(options.review, options.output.file);
  DrawObserver observer(options.verbose, review);
  jobs::Run(job, observer);
  output.Finish();
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
        return jobs::ParsePageSize(text) ? std::string() : "'" + text + "' is no size such as 800x600";
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
        return jobs::ParseBackground(text) ? std::string() : "'" + text + "' is no color";
      });
  draw->add_option("--font", options->fontFiles, "A font file to draw with, beside the installed ones")
      ->allow_extra_args(false)
      ->type_name("FILE");
  draw->add_flag("-v,--verbose", options->verbose, "Tell which fonts stand in for missing ones");
  AddReviewOptions(*draw, options->review);
  draw->callback([options] {
    if (options->files.empty()) options->files = {ChosenInput("")};
    Draw(*options);
  });
}

}  // namespace cli
