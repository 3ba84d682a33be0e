// Which format a picture or a page is written in.
#pragma once

#include <tovmx/codec.h>

#include <string>

namespace cli {

// An output as a person asks for it.
struct OutputOptions {
  std::string file;    // "-" is standard output
  std::string format;  // may be empty
};

enum class OutputKind {
  kPicture,
  kPage,  // a picture, PDF or SVG
};

struct OutputFormat {
  enum class Document { kNone, kPdf, kSvg };

  Document document = Document::kNone;
  CoreImageFormat picture = kCoreImageUnknown;  // when it is no document
};

// What messages call an output: its path, or "standard output" for "-".
std::string OutputName(const std::string& file);

// The format that is asked for by name, else the one that the file's extension names. Throws UsageError when
// that is none which can be written, saying which there are, and when the output is a terminal. Made to be
// called before any work is done.
OutputFormat ChooseFormat(const OutputOptions& output, OutputKind kind);

}  // namespace cli
