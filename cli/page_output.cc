#include "page_output.h"

#include "job_error.h"
#include "output_file.h"
#include "picture_output.h"

#include <tovmx/codec.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>

namespace cli {

namespace {

[[noreturn]] void RefuseSize(const std::string& file, double width, double height, double most) {
  char text[160];
  std::snprintf(text, sizeof text, ": a page of %.9g x %.9g is too large; sides go up to %.9g", width, height,
                most);
  throw JobError(file + text);
}

template <typename Device>
void WriteDocument(const std::string& file, OutputStream& output, const Page& page,
                   const std::function<void(CoreDevice&)>& paint) {
  if (std::max(page.width, page.height) > CoreDocumentDevice::kMaxSide) {
    RefuseSize(file, page.width, page.height, CoreDocumentDevice::kMaxSide);
  }
  Device device(&output.bytes(), page.width, page.height);
  if (page.background >> 24 != 0) device.FillPage(page.background);
  paint(device);
  if (device.Finish()) return output.Close();
  // A disk that is full says so when the file is closed.
  output.Close();
  throw JobError(file + ": cannot draw");
}

void WriteBitmap(const std::string& file, CoreImageFormat format, OutputStream& output, const Page& page,
                 const std::function<void(CoreDevice&)>& paint) {
  const double width = std::ceil(page.width * page.dpi / 96.0);
  const double height = std::ceil(page.height * page.dpi / 96.0);
  if (std::max(width, height) > CoreBitmapDevice::kMaxSide) {
    RefuseSize(file, width, height, CoreBitmapDevice::kMaxSide);
  }
  CoreDib picture;
  const std::uint64_t bytes = CoreDib::BytesNeeded(static_cast<int>(width), static_cast<int>(height), 32);
  if (bytes > CoreCodecRegistry::Get().GetPixelLimit() ||
      !picture.Create(static_cast<int>(width), static_cast<int>(height), 32)) {
    throw JobError(file + ": the picture needs " + std::to_string(bytes) + " bytes, which is too much");
  }
  // An opaque picture is drawn into at once, without a second one beside it.
  if (page.background >> 24 == 255) {
    auto* pixels = reinterpret_cast<std::uint32_t*>(picture.GetBuffer());
    std::fill_n(pixels, picture.GetBufferSize() / sizeof *pixels, page.background);
  }
  picture.SetDpi(page.dpi, page.dpi);
  CoreBitmapDevice device(&picture, page.dpi);
  paint(device);
  if (!device.Flush()) throw JobError(file + ": cannot draw");
  WritePicture(file, format, 0, picture, output);
}

}  // namespace

void WritePage(const std::string& file, const OutputFormat& format, const Page& page,
               const std::function<void(CoreDevice&)>& paint) {
  OutputStream output(file);
  const std::string name = OutputName(file);
  switch (format.document) {
    case OutputFormat::Document::kPdf:
      WriteDocument<CorePdfDevice>(name, output, page, paint);
      break;
    case OutputFormat::Document::kSvg:
      WriteDocument<CoreSvgDevice>(name, output, page, paint);
      break;
    case OutputFormat::Document::kNone:
      WriteBitmap(name, format.picture, output, page, paint);
  }
  output.Commit();
}

}  // namespace cli
