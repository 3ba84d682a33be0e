// SPDX-License-Identifier: MIT
// tovkit draw: turns JSON descriptions of text into a picture or a page.
#include "command.h"
#include "draw_review_options.h"
#include "failure.h"
#include "file_watch.h"
#include "input_file.h"
#include "jobs/background.h"
#include "jobs/draw_job.h"
#include "jobs/number_text.h"
#include "jobs/page_size.h"
#include "jobs/text_line.h"
#include "output.h"
#include "terminal_observer.h"
#include "text_output.h"

#include <tovkit/json.h>
#include <tovkit/util.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace cli {

namespace {

// One line without a file, as local text.
struct TextOptions {
  std::optional<std::string> text;
  std::string fontName;
  std::optional<int> fontSize;
  std::string color;
  std::string at = "0,0";
  bool bold = false;
  bool italic = false;
};

struct DrawOptions {
  std::vector<std::string> files;
  TextOptions text;
  std::string over;
  bool onePage = false;
  bool watch = false;
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
    if (!verbose_) return;
    std::fprintf(stderr, "font: %s -> %s\n", PrintableUtf8(wanted).c_str(), PrintableUtf8(actual).c_str());
  }

 private:
  bool verbose_;
  DrawReview& review_;
};

// "10,20" as two numbers; false for anything else.
bool ParsePosition(const std::string& text, float& x, float& y) {
  const std::size_t comma = text.find(',');
  if (comma == std::string::npos) return false;
  const auto first = jobs::ParseNumber(text.substr(0, comma));
  const auto second = jobs::ParseNumber(text.substr(comma + 1));
  if (!first || !second) return false;
  x = *first;
  y = *second;
  return true;
}

std::string DescriptionOf(const TextOptions& options) {
  const auto utf8 = [](const std::string& local) {
    return std::string(tovkit::LocalToUtf8(local.c_str(), static_cast<int>(local.size())));
  };
  jobs::TextLine line{utf8(*options.text), utf8(options.fontName), options.fontSize};
  if (!options.color.empty()) line.color = jobs::ParseBackground(options.color);
  line.bold = options.bold;
  line.italic = options.italic;
  ParsePosition(options.at, line.x, line.y);
  return jobs::DescriptionOf(line);
}

// Whether the page, or one of its numbered files, would be written over the file.
bool IsOutput(const std::string& file, const std::string& output) {
  if (IsSameFile(file, output)) return true;
  const std::filesystem::path name(file);
  const std::filesystem::path page(output);
  const std::string stem = name.stem().string();
  const std::string begin = page.stem().string() + "-";
  const auto folder = [](const std::filesystem::path& p) {
    return p.has_parent_path() ? p.parent_path().string() : ".";
  };
  return stem.size() > begin.size() && stem.compare(0, begin.size(), begin) == 0 &&
         stem.find_first_not_of("0123456789", begin.size()) == std::string::npos &&
         name.extension() == page.extension() && IsSameFile(folder(name), folder(page));
}

// Every file that the page is made of.
std::vector<std::string> InputFiles(const DrawOptions& options) {
  std::vector<std::string> files = options.files;
  files.insert(files.end(), options.fontFiles.begin(), options.fontFiles.end());
  if (!options.over.empty()) files.push_back(options.over);
  return files;
}

// A report takes the place of what stands under its name.
void CheckReport(const DrawOptions& options) {
  const std::string& report = options.review.report;
  if (report.empty() || report == "-") return;
  for (const std::string& file : InputFiles(options)) {
    if (IsSameFile(file, report)) throw UsageError("--report: " + report + " is an input");
  }
  if (IsOutput(report, options.output.file)) {
    throw UsageError(report + " cannot hold both the page and the report");
  }
}

void Draw(const DrawOptions& options) {
  CheckReport(options);
  const jobs::OutputFormat format = ChooseFormat(options.output, jobs::OutputKind::kPage);
  if (!options.over.empty() && format.document != jobs::OutputFormat::Document::kNone) {
    throw UsageError("--over draws on a picture, and " + options.output.file + " is to be none");
  }
  JobOutput output(options.output.file);
  jobs::DrawJob job{{}, options.fontFiles, output.Target(), format};
  if (options.text.text) {
    const std::string text = DescriptionOf(options.text);
    job.source = std::make_shared<jobs::JsonSource>(
        "--text", "", "", tovkit::Json::Parse(text.data(), static_cast<unsigned>(text.size()), nullptr));
  }
  for (const std::string& file : options.files) job.descriptions.push_back(JobInput(file));
  if (!options.over.empty()) job.under = JobInput(options.over);
  job.onePage = options.onePage;
  job.size = jobs::ParsePageSize(options.size);
  job.dpi = options.dpi;
  job.background = jobs::ParseBackground(options.background).value_or(job.background);
  job.effort = options.output.effort;
  DrawReview review(options.review, options.output.file);
  DrawObserver observer(options.verbose, review);
  jobs::Run(job, observer);
  output.Finish();
}

// Says what stands there when it is nothing that can be read again and again; else empty.
std::string WhyNotWatched(const std::string& file) {
  struct stat status {};
  if (stat(file.c_str(), &status) != 0 || S_ISREG(status.st_mode)) return "";
  if (S_ISDIR(status.st_mode)) return file + " is a folder";
  return file +
         (S_ISFIFO(status.st_mode) ? " is a pipe, which can be read only once" : " is no regular file");
}

std::vector<std::string> WatchedFiles(const DrawOptions& options) {
  std::vector<std::string> files = InputFiles(options);
  if (files.empty()) throw UsageError("--watch: there is no file to watch");
  for (const std::string& file : files) {
    if (file == "-") throw UsageError("--watch: standard input does not change");
    if (const std::string why = WhyNotWatched(file); !why.empty()) {
      throw UsageError("--watch: " + why);
    }
    if (IsOutput(file, options.output.file)) {
      throw UsageError("--watch: " + file + " is read and written, which would never end");
    }
  }
  if (options.output.file == "-") throw UsageError("--watch: standard output takes the page only once");
  return files;
}

// Draws once and after every change, until a signal ends the process. What fails leaves the output as it was.
[[noreturn]] void DrawOnEveryChange(const DrawOptions& options) {
  const std::vector<std::string> files = WatchedFiles(options);
  FileWatch watch(files);
  for (;; watch.WaitForChange()) {
    try {
      // Another thing may have taken its place.
      for (const std::string& file : files) {
        if (const std::string why = WhyNotWatched(file); !why.empty()) {
          throw CommandError(why);
        }
      }
      Draw(options);
      std::fprintf(stderr, "%s drawn; waiting for changes, Ctrl-C ends\n",
                   Printable(options.output.file).c_str());
    } catch (const UsageError&) {
      throw;
    } catch (const std::exception&) {
      PrintFailure(std::current_exception());
    }
  }
}

// --report and --strict take a value only behind "=". A FILE behind them that does not exist was perhaps
// meant for one: kinds of finding, or a file beside others.
void CheckFilesBehindFlags(const CLI::App& draw, const DrawOptions& options) {
  const CLI::Option* const file = draw.get_option_no_throw("FILE");
  const CLI::Option* const report = draw.get_option_no_throw("--report");
  const CLI::Option* const strict = draw.get_option_no_throw("--strict");
  const CLI::Option* before = nullptr;
  std::size_t count = 0;
  for (const CLI::Option* const option : draw.parse_order()) {
    if (option == file && count < options.files.size()) {
      const std::string& name = options.files[count++];
      const bool isReport = before == report && options.review.report == "-" && options.files.size() > 1;
      const bool isStrict = before == strict && options.review.strict == "all" && ParseFindings(name);
      if ((isReport || isStrict) && access(name.c_str(), F_OK) != 0 && errno == ENOENT) {
        std::string message = name + ": " + std::strerror(ENOENT);
        message += isReport ? "; did you mean --report=" : "; did you mean --strict=";
        message += name;
        message += '?';
        throw CommandError(message);
      }
    }
    before = option;
  }
}

void AddTextOptions(CLI::App& draw, TextOptions& options) {
  CLI::Option* const text = draw.add_option("--text", options.text, "Draw this line, in place of a FILE")
                                ->type_name("TEXT")
                                ->excludes("FILE")
                                ->check([](const std::string& line) {
                                  return line.empty() ? std::string("the text is empty") : std::string();
                                });
  draw.add_option("--font-name", options.fontName, "Its font family (default: SimSun)")
      ->type_name("NAME")
      ->needs(text);
  draw.add_option("--font-size", options.fontSize, "Its size in whole points (default: 26)")
      ->type_name("POINTS")
      ->needs(text)
      ->check(CLI::Range(1, 10000));
  draw.add_option("--color", options.color, "Its color, as that of --background (default: #000000)")
      ->type_name("COLOR")
      ->needs(text)
      ->check([](const std::string& color) {
        return color != "none" && jobs::ParseBackground(color)
                   ? std::string()
                   : "'" + color + "' is no color: " + jobs::kColorForms;
      });
  draw.add_flag("--bold", options.bold, "Draw it bold")->needs(text);
  draw.add_flag("--italic", options.italic, "Draw it italic")->needs(text);
  draw.add_option("--at", options.at, "Where it starts on the page, its left and upper end")
      ->type_name("X,Y")
      ->needs(text)
      ->capture_default_str()
      ->check([](const std::string& at) {
        float x = 0, y = 0;
        return ParsePosition(at, x, y) ? std::string() : "'" + at + "' is no place such as 20,35.5";
      });
}

void AddOutputOptions(CLI::App& draw, OutputOptions& output) {
  draw.add_option("-o,--output", output.file,
                  "The page; its extension is the format: pdf, svg, png and the other picture formats; - is "
                  "standard output. PDF and TIFF hold several pages; of other formats they are files with "
                  "numbers, page-1.png")
      ->type_name("FILE")
      ->required();
  draw.add_option("--format", output.format, "Format of the page, whatever its extension")->type_name("NAME");
  draw.add_option("--effort", output.effort,
                  "1 to 9: how much work goes into a smaller file; PNG only (default: 5)")
      ->check(CLI::Range(1, 9));
}

void AddPageOptions(CLI::App& draw, DrawOptions& options) {
  CLI::Option* const size =
      draw.add_option(
              "--size", options.size,
              "Width and height, 96 to the inch or in mm, cm, in or pt, or a paper, such as A4, Letter "
              "or A4-landscape; without it, what the text needs")
          ->type_name("WxH")
          ->check([](const std::string& text) {
            return jobs::ParsePageSize(text)
                       ? std::string()
                       : "'" + text + "' is no size such as 800x600 or 210x297mm, and no paper of " +
                             jobs::PaperNames();
          });
  draw.add_option("--dpi", options.dpi, "Pixels to the inch of a picture")
      ->type_name("NUMBER")
      ->check([](const std::string& text) {
        const double dpi = std::strtod(text.c_str(), nullptr);
        return dpi >= 1 && dpi <= 4800 ? std::string() : "'" + text + "' is not in the range 1 to 4800";
      })
      ->capture_default_str();
  CLI::Option* const background =
      draw.add_option("--background", options.background,
                      std::string("none, ") + jobs::kColorForms + " (default: #ffffff)")
          ->type_name("COLOR")
          ->check([](const std::string& text) {
            return jobs::ParseBackground(text) ? std::string()
                                               : "'" + text + "' is no color: none, " + jobs::kColorForms;
          });
  draw.add_option("--over", options.over,
                  "Draw on this picture, at its size, a pixel to a unit unless --dpi says otherwise")
      ->type_name("FILE")
      ->excludes(size)
      ->excludes(background);
  draw.add_flag("--one-page", options.onePage, "Draw the lines of all files on one page");
}

}  // namespace

void AddDrawCommand(CLI::App& app) {
  const auto options = std::make_shared<DrawOptions>();
  CLI::App* draw = app.add_subcommand("draw", "Draw lines of text that JSON files describe on pages");
  draw->add_option(
      "FILE", options->files,
      "JSON: an object is one line, an array several, an array of arrays several pages; each file "
      "begins a new page; standard input when missing or -");
  AddTextOptions(*draw, options->text);
  AddOutputOptions(*draw, options->output);
  AddPageOptions(*draw, *options);
  draw->add_flag("--watch", options->watch,
                 "Draw again whenever one of the files changes, until interrupted");
  draw->add_option("--font", options->fontFiles, "A font file to draw with, beside the installed ones")
      ->allow_extra_args(false)
      ->type_name("FILE");
  draw->add_flag("-v,--verbose", options->verbose, "Tell which fonts stand in for missing ones");
  AddReviewOptions(*draw, options->review);
  draw->callback([options, draw] {
    CheckFilesBehindFlags(*draw, *options);
    if (options->files.empty() && !options->text.text) options->files = {ChosenInput("")};
    options->watch ? DrawOnEveryChange(*options) : Draw(*options);
  });
}

}  // namespace cli
