// SPDX-License-Identifier: MIT
// The extension of an output names its format, unless the job does.
#include "output_format.h"

#include <strings.h>

namespace jobs {

std::optional<OutputFormat> FindOutputFormat(const std::string& name, OutputKind kind) {
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

bool HasEffort(const OutputFormat& format) {
  const auto encoder = CoreCodecRegistry::Get().GetFactory().CreateEncoder(format.picture);
  return CoreSetEffort(encoder.get(), kCoreDefaultEffort);
}

std::string WhyNoOutputFormat(const std::string& name) {
  const CoreImageFormat format = CoreImageFormatFromExtension(name.c_str());
  if (format == kCoreImageUnknown) return "'" + name + "' is no format that can be written";
  return std::string(CoreImageFormatName(format)) + " can be read but not written";
}

std::string OutputFormatNames(OutputKind kind) {
  return std::string("png, jpg, tif, webp, jp2, bmp") + (kind == OutputKind::kPage ? ", pdf, svg" : "");
}

const char* MediaTypeOf(const OutputFormat& format) {
  if (format.document == OutputFormat::Document::kPdf) return "application/pdf";
  if (format.document == OutputFormat::Document::kSvg) return "image/svg+xml";
  switch (format.picture) {
    case kCoreImagePng:
      return "image/png";
    case kCoreImageJpeg:
      return "image/jpeg";
    case kCoreImageTiff:
      return "image/tiff";
    case kCoreImageGif:
      return "image/gif";
    case kCoreImageWebp:
      return "image/webp";
    case kCoreImageJpeg2000:
      return "image/jp2";
    case kCoreImageBmp:
      return "image/bmp";
    default:
      return "application/octet-stream";
  }
}

std::string ExtensionOf(const std::string& file) {
  const std::string name = file.substr(file.rfind('/') + 1);
  const std::size_t dot = name.rfind('.');
  return dot == std::string::npos ? "" : name.substr(dot + 1);
}

}  // namespace jobs
