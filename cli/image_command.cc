// tovkit image: converts pictures between formats, blanks rectangles in them and says what they are.
#include "command.h"
#include "input_file.h"
#include "output_format.h"
#include "picture_output.h"

#include <tovkit/imaging.h>

#include <sys/stat.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace cli {

namespace {

struct ImageOptions {
  std::string source;  // "-" is standard input
  std::string in;      // what messages call it
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

// The input as a stream: a regular file where it lies, anything else (standard input, a pipe) read into
// memory first, since decoders go back and forth.
class PictureInput {
 public:
  explicit PictureInput(const std::string& path) {
    struct stat status = {};
    if (path != "-" && stat(path.c_str(), &status) != 0) Fail(path);
    if (S_ISDIR(status.st_mode)) {
      errno = EISDIR;
      Fail(path);
    }
    if (S_ISREG(status.st_mode)) {
      auto file = std::make_unique<CoreFileInputStream>(path.c_str());
      if (!file->IsOpen()) Fail(path);
      stream_ = std::move(file);
      return;
    }
    Slurp(path);
    stream_ = std::make_unique<CoreMemoryInputStream>(memory_.GetData(), memory_.GetSize());
  }

  CoreInputStream* stream() { return stream_.get(); }

 private:
  [[noreturn]] static void Fail(const std::string& path) {
    throw JobError(InputName(path) + ": " + std::strerror(errno));
  }

  void Slurp(const std::string& path) {
    const bool standard = path == "-";
    std::FILE* file = standard ? stdin : std::fopen(path.c_str(), "rbe");
    if (file == nullptr) Fail(path);
    char block[65536];
    bool kept = true;
    for (std::size_t count = 0; kept && (count = std::fread(block, 1, sizeof block, file)) != 0;)
      kept = memory_.Write(block, count);
    const bool broken = std::ferror(file) != 0;
    if (!standard) std::fclose(file);
    if (broken || !kept) throw JobError(InputName(path) + ": cannot read it to the end");
  }

  CoreMemoryOutputStream memory_;
  std::unique_ptr<CoreInputStream> stream_;
};

void PrintInfo(CoreImageFormat format, const CoreImageInfo& info) {
  std::printf("format: %s\n", CoreImageFormatName(format));
  std::printf("size: %d x %d\n", info.width, info.height);
  std::printf("depth: %d bits per pixel, %d in the file\n", info.bitsPerPixel, info.fileBitsPerPixel);
  if (info.paletteSize > 0) {
    std::printf("palette: %d colours\n", info.paletteSize);
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

// Why a decoder that was chosen by the content gave nothing.
std::string DescribeFailure(CoreImageFormat format, const CoreImageDecoder& decoder) {
  const std::string name = CoreImageFormatName(format);
  switch (CoreGetDecodeFailure(&decoder)) {
    case kCoreDecodeNotThisFormat:
      return "not a picture of the format " + name;
    case kCoreDecodeUnsupported:
      return name + " of a form that is not supported: " + CoreGetUnsupportedFeature(&decoder);
    case kCoreDecodeOverLimit:
      return name + " beyond the memory limit";
    default:
      return name + " that is broken";
  }
}

void Image(const ImageOptions& options) {
  OutputFormat output;
  if (!options.out.file.empty()) output = ChooseFormat(options.out, OutputKind::kPicture);
  PictureInput input(options.source);
  const CoreImageFormat format = CoreDetectImageFormat(input.stream());
  const auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(format);
  if (decoder == nullptr) throw JobError(options.in + ": not a picture of a known format");
  const auto fail = [&] { throw JobError(options.in + ": " + DescribeFailure(format, *decoder)); };
  if (decoder->Open(input.stream(), kCoreOpenReadAhead) == 0) fail();
  const CoreImageInfo& info = decoder->GetInfo();
  if (options.frame > info.frameCount) {
    throw JobError(options.in + ": no frame " + std::to_string(options.frame) + ", the last is " +
                   std::to_string(info.frameCount));
  }
  if (options.info) PrintInfo(format, info);
  if (options.out.file.empty()) return;

  const std::unique_ptr<CoreDib> bitmap = decoder->GetBitmap(options.frame - 1, 0, 0);
  if (bitmap == nullptr) fail();
  for (const std::string& text : options.rectangles) {
    CoreRect rect;
    if (ParseRectangle(text, rect)) tovkit::DeleteRectDib(bitmap.get(), rect);
  }
  WritePicture(options.out.file, output.picture, options.quality, *bitmap);
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
                   "Blank a rectangle to the brightest colour; may be repeated")
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
    options->in = InputName(options->source);
    Image(*options);
  });
}

}  // namespace cli
