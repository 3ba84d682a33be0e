#include "page.h"

#include "error.h"
#include "picture_writer.h"

#include <tovmx/codec.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace jobs {

namespace {

[[noreturn]] void RefuseSize(const std::string& place, double width, double height, double most) {
  char text[160];
  std::snprintf(text, sizeof text, "a page of %.9g x %.9g is too large; sides go up to %.9g", width, height,
                most);
  throw Error(ErrorKind::kLimit, place, text);
}

[[noreturn]] void FailToDraw(const std::string& place) {
  throw Error(ErrorKind::kOutput, place, "cannot draw");
}

template <typename Device>
void WriteDocument(const std::string& place, OutputWriter& writer, const Page& page,
                   const std::function<void(CoreDevice&)>& paint) {
  if (std::max(page.size.width, page.size.height) > CoreDocumentDevice::kMaxSide) {
    RefuseSize(place, page.size.width, page.size.height, CoreDocumentDevice::kMaxSide);
  }
  Device device(&writer.stream(), page.size.width, page.size.height);
  if (page.background >> 24 != 0) device.FillPage(page.background);
  paint(device);
  const bool finished = device.Finish();
  // A full disk is the better reason.
  writer.Close();
  if (!finished) FailToDraw(place);
}

}  // namespace

void RenderPage(const Page& page, const std::function<void(CoreDevice&)>& paint, const std::string& place,
                CoreDib& bitmap) {
  const double width = std::ceil(page.size.width * page.dpi / 96.0);
  const double height = std::ceil(page.size.height * page.dpi / 96.0);
  if (std::max(width, height) > CoreBitmapDevice::kMaxSide) {
    RefuseSize(place, width, height, CoreBitmapDevice::kMaxSide);
  }
  const std::uint64_t bytes = CoreDib::BytesNeeded(static_cast<int>(width), static_cast<int>(height), 32);
  if (bytes > CoreCodecRegistry::Get().GetPixelLimit() ||
      !bitmap.Create(static_cast<int>(width), static_cast<int>(height), 32)) {
    throw Error(ErrorKind::kLimit, place,
                "the picture needs " + std::to_string(bytes) + " bytes, which is too much");
  }
  // An opaque bitmap is drawn into at once, without a second one beside it.
  if (page.background >> 24 == 255) {
    auto* pixels = reinterpret_cast<std::uint32_t*>(bitmap.GetBuffer());
    std::fill_n(pixels, bitmap.GetBufferSize() / sizeof *pixels, page.background);
  }
  bitmap.SetDpi(page.dpi, page.dpi);
  CoreBitmapDevice device(&bitmap, page.dpi);
  paint(device);
  if (!device.Flush()) FailToDraw(place);
}

void WritePage(const Output& output, const OutputFormat& format, const Page& page,
               const std::function<void(CoreDevice&)>& paint) {
  // Before the page is drawn: an output that cannot be created is told at once.
  OutputWriter writer(output);
  switch (format.document) {
    case OutputFormat::Document::kPdf:
      WriteDocument<CorePdfDevice>(output.name(), writer, page, paint);
      break;
    case OutputFormat::Document::kSvg:
      WriteDocument<CoreSvgDevice>(output.name(), writer, page, paint);
      break;
    case OutputFormat::Document::kNone: {
      CoreDib picture;
      RenderPage(page, paint, output.name(), picture);
      if (page.background >> 24 == 255) CoreDropAlpha(&picture);
      EncodePicture(picture, format.picture, 0, output.name(), writer, page.effort);
    }
  }
  writer.Commit();
}

}  // namespace jobs
