// tovkit image: converts pictures between formats, blanks rectangles in them and says what they are.
#include "command.h"

#include "input_file.h"
#include "jobs/image_job.h"
#include "output.h"
#include "terminal_observer.h"

#include <charconv>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace cli {

namespace {

struct ImageOptions {
  std::string source;  // "-" is standard input
  OutputOptions out;
  std::vector<std::string> rectangles;
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

void Image(const ImageOptions& options) {
  jobs::ImageJob job{JobInput(options.source), options.frame};
  for (const std::string& text : options.rectangles) {
    CoreRect rect;
    if (ParseRectangle(text, rect)) job.erased.push_back(rect);
  }
  JobOutput output(options.out.file);
  if (!options.out.file.empty()) {
    const jobs::OutputFormat format = ChooseFormat(options.out, jobs::OutputKind::kPicture);
    job.target = jobs::ImageJob::Target{output.Target(), format.picture, options.quality, options.out.effort};
  }
  ImageObserver observer(options.info);
  jobs::Run(job, observer);
  output.Finish();
}

std::string CheckRectangle(const std::string& text) {
  CoreRect rect;
  return ParseRectangle(text, rect) ? "" : "'" + text + "' is not LEFT,TOP,RIGHT,BOTTOM in pixels";
}

}  // namespace

void AddImageCommand(CLI::App& app) {
  const auto options = std::make_shared<ImageOptions>();
  CLI::App* const command =
      app.add_subcommand("image", "Convert a picture, blank parts of it or say what it is");
  command->add_option("IN", options->source,
                      "The picture, told by its content; standard input when missing or -");
  CLI::Option* const out =
      command->add_option("-o,--output", options->out.file,
                          "Where to write; the extension names the format; - is standard output");
  out->type_name("FILE");
  command->add_option("--format", options->out.format, "Format to write, whatever the extension")
      ->type_name("NAME")
      ->needs(out);
  command
      ->add_option("--erase", options->rectangles,
                   "Blank a rectangle to the brightest color; may be repeated")
      ->type_name("L,T,R,B")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
      ->check(CLI::Validator(CheckRectangle, ""))
      ->needs(out);
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
  command->callback([options] {
    if (options->out.file.empty() && !options->info) throw CLI::RequiredError("-o or --info");
    if (options->out.file == "-" && options->info) {
      throw UsageError("--info and -o - cannot both go to standard output");
    }
    options->source = ChosenInput(options->source);
    Image(*options);
  });
}

}  // namespace cli
