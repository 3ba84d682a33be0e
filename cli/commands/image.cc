// SPDX-License-Identifier: MIT
// tovkit image: converts pictures between formats, changes them on the way and says what they are.
#include "command.h"

#include "failure.h"
#include "input_file.h"
#include "jobs/image_job.h"
#include "jobs/picture_size.h"
#include "output.h"
#include "output_folder.h"
#include "terminal_observer.h"
#include "text_output.h"

#include <charconv>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace cli {

namespace {

struct ImageOptions {
  std::vector<std::string> sources;  // "-" is standard input
  OutputOptions out;
  jobs::PictureSteps steps;
  int quality = 0;
  int frame = 1;
  bool info = false;
};

// "L,T,R,B" as four whole numbers; false for anything else.
bool ParseRectangle(const std::string& text, CoreRect& rect) {
  const char* at = text.data();
  const char* const end = at + text.size();
  for (int* edge : {&rect.left, &rect.top, &rect.right, &rect.bottom}) {
    if (edge != &rect.left && (at == end || *at++ != ',')) return false;
    const std::from_chars_result result = std::from_chars(at, end, *edge);
    if (result.ec != std::errc()) return false;
    at = result.ptr;
  }
  return at == end;
}

void PrintInfo(CoreImageFormat format, const CoreImageInfo& info) {
  std::printf("format: %s\n", CoreImageFormatName(format));
  std::printf("size: %d x %d\n", info.width, info.height);
  std::printf("depth: %d bits per pixel, %d in the file\n", info.bitsPerPixel, info.fileBitsPerPixel);
  if (info.paletteSize > 0) {
    std::printf("palette: %d colors\n", info.paletteSize);
  } else {
    std::printf("palette: none\n");
  }
  std::printf("frames: %d\n", info.frameCount);
  if (info.dpiX > 0 && info.dpiY > 0) {
    std::printf("resolution: %g x %g dpi\n", static_cast<double>(info.dpiX), static_cast<double>(info.dpiY));
  } else {
    std::printf("resolution: unknown\n");
  }
}

class ImageObserver final : public TerminalObserver {
 public:
  explicit ImageObserver(bool info) : info_(info) {}
  void PictureOpened(CoreImageFormat format, const CoreImageInfo& info) override {
    if (info_) PrintInfo(format, info);
  }

 private:
  bool info_;
};

// Makes `target` of a picture, or nothing when that names no file.
void Image(const ImageOptions& options, const std::string& source, const OutputOptions& target) {
  jobs::ImageJob job{JobInput(source), options.frame, options.steps};
  JobOutput output(target.file);
  if (!target.file.empty()) {
    const jobs::OutputFormat format = ChooseFormat(target, jobs::OutputKind::kPicture);
    job.target = jobs::ImageJob::Target{output.Target(), format.picture, options.quality, target.effort};
  }
  ImageObserver observer(options.info);
  jobs::Run(job, observer);
  output.Finish();
}

// What each source becomes; nothing when only information is asked for.
std::vector<OutputOptions> TargetsOf(const ImageOptions& options) {
  if (options.out.file.empty()) return std::vector<OutputOptions>(options.sources.size());
  if (!IsFolder(options.out.file)) {
    if (options.sources.size() > 1) {
      throw UsageError(options.out.file + " is one file for " + std::to_string(options.sources.size()) +
                       " pictures; name a folder, such as out/");
    }
    return {options.out};
  }
  std::vector<OutputOptions> targets;
  for (const std::string& file : FilesInFolder(options.out.file, options.sources, options.out.format)) {
    targets.push_back({file, options.out.format, options.out.effort});
    ChooseFormat(targets.back(), jobs::OutputKind::kPicture);
  }
  MakeFolder(options.out.file);
  return targets;
}

// A picture that fails does not keep the others from being made.
void Images(const ImageOptions& options) {
  const std::vector<OutputOptions> targets = TargetsOf(options);
  if (targets.size() == 1) return Image(options, options.sources[0], targets[0]);
  bool failed = false;
  for (std::size_t i = 0; i < targets.size(); ++i) {
    if (options.info) std::printf("%s%s:\n", i == 0 ? "" : "\n", Printable(options.sources[i]).c_str());
    try {
      Image(options, options.sources[i], targets[i]);
    } catch (const std::exception&) {
      PrintFailure(std::current_exception());
      failed = true;
    }
  }
  if (failed) throw ExitStatus{1};
}

std::string CheckRectangle(const std::string& text) {
  CoreRect rect;
  return ParseRectangle(text, rect) ? "" : "'" + text + "' is not LEFT,TOP,RIGHT,BOTTOM in pixels";
}

std::string CheckFilter(const std::string& name) {
  return jobs::FindFilter(name) ? "" : "'" + name + "' is none of nearest, linear, cubic and lanczos";
}

// The options that change the picture, and in which order they came.
class StepOptions {
 public:
  explicit StepOptions(CLI::App& command) : command_(command) {
    erase_ = Add("--erase", "L,T,R,B", "Blank a rectangle to the brightest color", CheckRectangle);
    crop_ = Add("--crop", "L,T,R,B", "Leave only what lies in a rectangle", CheckRectangle);
    resize_ = Add(
        "--resize", "WxH", "Give the picture this size: 800x600, 800x or x600 in proportion, or 50%",
        [](const std::string& text) {
          return jobs::ParsePictureSize(text) ? "" : "'" + text + "' is no size such as 800x600, 800x or 50%";
        });
    upright_ =
        command.add_flag("--upright")->description("Turn the picture as its camera's orientation mark says");
    filter_ = command.add_option("--filter")
                  ->description("How --resize mixes pixels: nearest, linear, cubic or lanczos")
                  ->type_name("NAME")
                  ->check(CLI::Validator(CheckFilter, ""))
                  ->default_str("lanczos")
                  ->needs(resize_);
  }

  void NeedAll(CLI::Option* option) const {
    for (CLI::Option* const step : {erase_, crop_, resize_, upright_}) step->needs(option);
  }

  jobs::PictureSteps Steps() const {
    jobs::PictureSteps steps;
    std::map<const CLI::Option*, std::size_t> seen;
    for (const CLI::Option* const option : command_.parse_order()) {
      if (option == upright_) steps.push_back(jobs::UprightStep{});
      if (option != erase_ && option != crop_ && option != resize_) continue;
      const std::string& text = option->results().at(seen[option]++);
      CoreRect rect;
      ParseRectangle(text, rect);
      if (option == erase_) steps.push_back(jobs::EraseStep{rect});
      if (option == crop_) steps.push_back(jobs::CropStep{rect});
      if (option == resize_) steps.push_back(jobs::ResizeStep{*jobs::ParsePictureSize(text), Filter()});
    }
    return steps;
  }

 private:
  CLI::Option* Add(const char* name, const char* value, const std::string& what,
                   std::string (*check)(const std::string&)) {
    return command_.add_option(name)
        ->description(what + "; may be repeated")
        ->type_name(value)
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->check(CLI::Validator(check, ""));
  }

  CoreFilter Filter() const {
    return filter_->count() == 0 ? kCoreFilterLanczos : *jobs::FindFilter(filter_->results().front());
  }

  CLI::App& command_;
  CLI::Option* erase_;
  CLI::Option* crop_;
  CLI::Option* resize_;
  CLI::Option* upright_;
  CLI::Option* filter_;
};

}  // namespace

void AddImageCommand(CLI::App& app) {
  const auto options = std::make_shared<ImageOptions>();
  CLI::App* const command =
      app.add_subcommand("image", "Convert pictures, change their size, blank parts or say what they are");
  command->footer(
      "What changes a picture happens in the order of the options: --crop before --resize counts pixels of "
      "the "
      "picture as it is, behind it pixels of the resized one.");
  command->add_option("IN", options->sources,
                      "The pictures, told by their content; standard input when missing or -");
  CLI::Option* const out = command->add_option(
      "-o,--output", options->out.file,
      "Where to write; the extension names the format; - is standard output. A folder, or a name that ends "
      "with a slash, takes any number of pictures, each under its own name");
  out->type_name("FILE");
  command->add_option("--format", options->out.format, "Format to write, whatever the extension")
      ->type_name("NAME")
      ->needs(out);
  const auto steps = std::make_shared<StepOptions>(*command);
  steps->NeedAll(out);
  command
      ->add_option("--quality", options->quality,
                   "1 to 100; by default 90 for JPEG, and no loss for WebP and JPEG 2000")
      ->check(CLI::Range(1, 100))
      ->needs(out);
  command
      ->add_option("--effort", options->out.effort,
                   "1 to 9: how much work goes into a smaller file; PNG only (default: 5)")
      ->check(CLI::Range(1, 9))
      ->needs(out);
  command->add_option("--frame", options->frame, "Which frame or page, counted from 1")
      ->check(CLI::Range(1, 1 << 30))
      ->capture_default_str();
  command->add_flag("--info", options->info, "Print format, size, depth, palette and frames");
  command->callback([options, steps] {
    if (options->out.file.empty() && !options->info) throw CLI::RequiredError("-o or --info");
    if (options->out.file == "-" && options->info) {
      throw UsageError("--info and -o - cannot both go to standard output");
    }
    if (options->sources.empty()) options->sources = {ChosenInput("")};
    options->steps = steps->Steps();
    Images(*options);
  });
}

}  // namespace cli
