// SPDX-License-Identifier: MIT
// Which format a picture or a page is written in.
#pragma once

#include <tovmx/codec.h>

#include <optional>
#include <string>

namespace jobs {

enum class OutputKind {
  kPicture,
  kPage,  // a picture, PDF or SVG
};

struct OutputFormat {
  enum class Document { kNone, kPdf, kSvg };

  Document document = Document::kNone;
  CoreImageFormat picture = kCoreImageUnknown;  // when it is no document
};

// The format that goes by a name such as "png", in either case; nothing when none that can be written does.
[[nodiscard]] std::optional<OutputFormat> FindOutputFormat(const std::string& name, OutputKind kind);

// Whether more or less work can go into a smaller file.
bool HasEffort(const OutputFormat& format);

// Why FindOutputFormat finds none.
std::string WhyNoOutputFormat(const std::string& name);

// The names of the formats, for messages: "png, jpg".
std::string OutputFormatNames(OutputKind kind);

// "image/png": what HTTP calls the format.
const char* MediaTypeOf(const OutputFormat& format);

// What stands behind the last dot of a file's name, empty without a dot.
std::string ExtensionOf(const std::string& file);

}  // namespace jobs
