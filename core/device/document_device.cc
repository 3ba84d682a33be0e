// SPDX-License-Identifier: MIT
// The devices that write a document to a stream: PDF and SVG.
#include "device/canvas.h"
#include "device/svg_names.h"

#include <cairo-pdf.h>
#include <cairo-svg.h>

#include <cmath>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>
#include <utility>

namespace {

constexpr double kPointsPerUnit = 72.0 / 96.0;

bool IsSide(float side) { return std::isfinite(side) && side > 0 && side <= CoreDocumentDevice::kMaxSide; }

cairo_status_t AppendToText(void* text, const unsigned char* data, unsigned int length) {
  static_cast<std::string*>(text)->append(reinterpret_cast<const char*>(data), length);
  return CAIRO_STATUS_SUCCESS;
}

// The time that reproducible builds ask for, in the form of ISO 8601; empty when none is set, and when its
// year has more than the four digits that a PDF has room for.
std::string SourceDate() {
  const char* text = std::getenv("SOURCE_DATE_EPOCH");
  if (text == nullptr || *text == '\0') return {};
  char* end = nullptr;
  const auto seconds = static_cast<std::time_t>(std::strtoll(text, &end, 10));
  std::tm utc{};
  if (*end != '\0' || gmtime_r(&seconds, &utc) == nullptr) return {};
  constexpr int kFirst = 1000 - 1900;  // as tm_year counts
  constexpr int kLast = 9999 - 1900;
  if (utc.tm_year < kFirst || utc.tm_year > kLast) return {};
  char iso[40];
  return std::string(iso, std::strftime(iso, sizeof iso, "%Y-%m-%dT%H:%M:%SZ", &utc));
}

tovmx::CairoSurfacePtr PdfSurface(std::string* text, float width, float height) {
  tovmx::CairoSurfacePtr surface(cairo_pdf_surface_create_for_stream(
      AppendToText, text, width * kPointsPerUnit, height * kPointsPerUnit));
  const std::string date = SourceDate();
  if (!date.empty()) {
    cairo_pdf_surface_set_metadata(surface.get(), CAIRO_PDF_METADATA_CREATE_DATE, date.c_str());
  }
  return surface;
}

tovmx::CairoSurfacePtr SvgSurface(std::string* text, float width, float height) {
  tovmx::CairoSurfacePtr surface(cairo_svg_surface_create_for_stream(AppendToText, text, width, height));
  cairo_svg_surface_set_document_unit(surface.get(), CAIRO_SVG_UNIT_PX);
  return surface;
}

// Holds the document back until it is whole, so that a device that is given up leaves the stream alone.
class DocumentCanvas final : public CoreCanvas {
 public:
  using MakeSurface = tovmx::CairoSurfacePtr (*)(std::string* text, float width, float height);
  using Polish = std::string (*)(const std::string& text);

  DocumentCanvas(CoreOutputStream* stream, float width, float height, double unitsPerPixel, MakeSurface make,
                 Polish polish, std::unique_ptr<std::string> text)
      : CoreCanvas(
            stream != nullptr && IsSide(width) && IsSide(height) ? make(text.get(), width, height) : nullptr,
            width * unitsPerPixel, height * unitsPerPixel, unitsPerPixel),
        stream_(stream),
        polish_(polish),
        text_(std::move(text)) {}

  ~DocumentCanvas() override { Release(); }

  bool Finish() override {
    if (!CoreCanvas::Finish()) return false;
    const std::string document = polish_(*text_);
    return stream_->Write(document.data(), document.size());
  }

 private:
  CoreOutputStream* stream_;
  Polish polish_;
  std::unique_ptr<std::string> text_;
};

std::string AsItIs(const std::string& text) { return text; }

}  // namespace

CorePdfDevice::CorePdfDevice(CoreOutputStream* stream, float width, float height)
    : CoreDocumentDevice(std::make_unique<DocumentCanvas>(stream, width, height, kPointsPerUnit, PdfSurface,
                                                          AsItIs, std::make_unique<std::string>())) {}

CoreSvgDevice::CoreSvgDevice(CoreOutputStream* stream, float width, float height)
    : CoreDocumentDevice(std::make_unique<DocumentCanvas>(
          stream, width, height, 1.0, SvgSurface, tovmx::WithCountedNames, std::make_unique<std::string>())) {
}

CorePdfPagesDevice::CorePdfPagesDevice(CoreOutputStream* stream, float width, float height)
    : CoreDocumentDevice(std::make_unique<DocumentCanvas>(stream, width, height, kPointsPerUnit, PdfSurface,
                                                          AsItIs, std::make_unique<std::string>())) {}

bool CorePdfPagesDevice::NextPage(float width, float height) {
  return IsSide(width) && IsSide(height) &&
         canvas_->NextPage(width * kPointsPerUnit, height * kPointsPerUnit);
}
