#include "output_format.h"

#include "job_error.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <optional>

namespace cli {

namespace {

std::string FormatsOf(OutputKind kind) {
  return std::string("png, jpg, tif, webp, jp2, bmp") + (kind == OutputKind::kPage ? ", pdf, svg" : "");
}

bool IsTerminal(const std::string& file) {
  if (file == "-") return isatty(STDOUT_FILENO) == 1;
  struct stat status = {};
  if (stat(file.c_str(), &status) != 0 || !S_ISCHR(status.st_mode)) return false;
  const int fd = open(file.c_str(), O_WRONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return false;
  const bool terminal = isatty(fd) == 1;
  close(fd);
  return terminal;
}

// What stands behind the last dot of the file's name.
std::string ExtensionOf(const std::string& file) {
  const std::string name = file.substr(file.rfind('/') + 1);
  const std::size_t dot = name.rfind('.');
  return dot == std::string::npos ? "" : name.substr(dot + 1);
}

std::optional<OutputFormat> FindFormat(const std::string& name, OutputKind kind) {
  if (kind == OutputKind::kPage && strcasecmp(name.c_str(), "pdf") == 0) {
    return OutputFormat{OutputFormat::Document::kPdf};
  }
  if (kind == OutputKind::kPage && strcasecmp(name.c_str(), "svg") == 0) {
    return OutputFormat{OutputFormat::Document::kSvg};
  }
  const CoreImageFormat picture = CoreImageFormatFromExtension(name.c_str());
  if (CoreCodecRegistry::Get().GetFactory().CreateEncoder(picture) == nullptr) return std::nullopt;
  return OutputFormat{OutputFormat::Document::kNone, picture};
}

// Why no format goes by the name.
std::string WhyNone(const std::string& name) {
  const CoreImageFormat format = CoreImageFormatFromExtension(name.c_str());
  if (format == kCoreImageUnknown) return "'" + name + "' is no format that can be written";
  return std::string(CoreImageFormatName(format)) + " can be read but not written";
}

}  // namespace

std::string OutputName(const std::string& file) { return file == "-" ? "standard output" : file; }

OutputFormat ChooseFormat(const OutputOptions& output, OutputKind kind) {
  if (output.file.empty()) throw UsageError("the output's name is empty");
  const std::string name = output.format.empty() ? ExtensionOf(output.file) : output.format;
  const std::string there = "the formats are " + FormatsOf(kind);
  if (name.empty()) {
    throw UsageError(output.file == "-" ? "standard output needs --format; " + there
                                        : output.file + ": no extension names its format; " + there);
  }
  const auto format = FindFormat(name, kind);
  if (!format) {
    throw UsageError((output.format.empty() ? output.file : "--format") + ": " + WhyNone(name) + "; " +
                     there);
  }
  if (IsTerminal(output.file)) {
    throw UsageError(OutputName(output.file) + " is a terminal, which is no place for a picture");
  }
  return *format;
}

}  // namespace cli
