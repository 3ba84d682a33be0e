#include "page_output.h"

#include "job_error.h"
#include "output_file.h"
#include "picture_output.h"

#include <tovmx/codec.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>

namespace cli {

namespace {

std::string ExtensionOf(const std::string& file) {
  std::string extension = std::filesystem::path(file).extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return extension;
}

// Unknown for a format that can only be read, too.
CoreImageFormat WritableFormat(const std::string& extension) {
  const CoreImageFormat format = CoreImageFormatFromExtension(extension.c_str());
  return CoreCodecRegistry::Get().GetFactory().CreateEncoder(format) != nullptr ? format : kCoreImageUnknown;
}

[[noreturn]] void RefuseSize(const std::string& file, double width, double height, double most) {
  char text[160];
  std::snprintf(text, sizeof text, ": a page of %.9g x %.9g is too large; sides go up to %.9g", width, height,
                most);
  throw JobError(file + text);
}

[[noreturn]] void FailToWrite(const std::string& file) {
  throw JobError(file + ": cannot write: " + std::strerror(errno));
}

template <typename Device>
void WriteDocument(const std::string& file, CoreFileOutputStream& stream, const Page& page,
                   const std::function<void(CoreDevice&)>& paint) {
  if (std::max(page.width, page.height) > CoreDocumentDevice::kMaxSide) {
    RefuseSize(file, page.width, page.height, CoreDocumentDevice::kMaxSide);
  }
  Device device(&stream, page.width, page.height);
  if (page.background >> 24 != 0) device.FillPage(page.background);
  paint(device);
  if (device.Finish()) return;
  // A stream that failed says why when it closes.
  if (!stream.Close()) FailToWrite(file);
  throw JobError(file + ": cannot draw");
}

void WriteBitmap(const std::string& file, CoreImageFormat format, CoreFileOutputStream& stream,
                 const Page& page, const std::function<void(CoreDevice&)>& paint) {
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
  WritePicture(file, format, 0, picture, stream);
}

}  // namespace

void CheckOutputFormat(const std::string& file) {
  const std::string extension = ExtensionOf(file);
  if (extension == ".pdf" || extension == ".svg" || WritableFormat(extension) != kCoreImageUnknown) return;
  throw JobError(file + ": no format that can be written goes by this extension");
}

void WritePage(const std::string& file, const Page& page, const std::function<void(CoreDevice&)>& paint) {
  const std::string extension = ExtensionOf(file);
  OutputFile output(file);
  CoreFileOutputStream stream(output.path().c_str());
  if (!stream.IsOpen()) FailToWrite(file);
  if (extension == ".pdf") {
    WriteDocument<CorePdfDevice>(file, stream, page, paint);
  } else if (extension == ".svg") {
    WriteDocument<CoreSvgDevice>(file, stream, page, paint);
  } else if (const CoreImageFormat format = WritableFormat(extension); format != kCoreImageUnknown) {
    WriteBitmap(file, format, stream, page, paint);
  }
  if (stream.IsOpen() && !stream.Close()) FailToWrite(file);
  output.Commit();
}

}  // namespace cli
