// SPDX-License-Identifier: MIT
// One device for each kind of output, made when the size of the page is known.
#include "page.h"

#include "error.h"
#include "picture_writer.h"

#include <tovmx/codec.h>

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

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

void CheckDocumentPage(const std::string& place, const Page& page) {
  if (std::max(page.size.width, page.size.height) > CoreDocumentDevice::kMaxSide) {
    RefuseSize(place, page.size.width, page.size.height, CoreDocumentDevice::kMaxSide);
  }
}

void PaintDocumentPage(CoreDocumentDevice& device, const Page& page, std::size_t number,
                       const PaintPage& paint) {
  if (page.background >> 24 != 0) device.FillPage(page.background);
  paint(number, device);
}

void FinishDocument(CoreDocumentDevice& device, const std::string& place, OutputWriter& writer) {
  const bool finished = device.Finish();
  // If writing failed, the system's reason (a full disk) is the better message.
  writer.Close();
  if (!finished) FailToDraw(place);
}

void WritePdf(const std::string& place, OutputWriter& writer, const std::vector<Page>& pages,
              const PaintPage& paint) {
  for (const Page& page : pages) CheckDocumentPage(place, page);
  CorePdfPagesDevice device(&writer.stream(), pages[0].size.width, pages[0].size.height);
  for (std::size_t i = 0; i < pages.size(); ++i) {
    if (i != 0 && !device.NextPage(pages[i].size.width, pages[i].size.height)) FailToDraw(place);
    PaintDocumentPage(device, pages[i], i, paint);
  }
  FinishDocument(device, place, writer);
}

void WriteSvg(const std::string& place, OutputWriter& writer, const Page& page, std::size_t number,
              const PaintPage& paint) {
  CheckDocumentPage(place, page);
  CoreSvgDevice device(&writer.stream(), page.size.width, page.size.height);
  PaintDocumentPage(device, page, number, paint);
  FinishDocument(device, place, writer);
}

// The pixels across and down of a page.
struct PixelSize {
  double width;
  double height;
};

PixelSize PixelSizeOf(const Page& page) {
  if (page.under != nullptr) {
    return {static_cast<double>(page.under->GetWidth()), static_cast<double>(page.under->GetHeight())};
  }
  return {std::ceil(page.size.width * page.dpi / 96.0), std::ceil(page.size.height * page.dpi / 96.0)};
}

void WriteTiff(const std::string& place, OutputWriter& writer, const std::vector<Page>& pages,
               const PaintPage& paint) {
  double bytes = 0;
  for (const Page& page : pages) bytes += PixelSizeOf(page).width * PixelSizeOf(page).height * 4;
  CoreTiffPages file(static_cast<std::uint64_t>(std::min(bytes, 1e18)));
  for (std::size_t i = 0; i < pages.size(); ++i) {
    CoreDib picture;
    RenderPage(
        pages[i], [&](CoreDevice& device) { paint(i, device); }, place, picture);
    if (IsOpaque(pages[i])) CoreDropAlpha(&picture);
    if (!file.Add(&picture))
      throw Error(ErrorKind::kLimit, place, "the pages need more memory than there is");
  }
  const bool written = file.Write(&writer.stream());
  writer.Close();
  if (!written) FailToDraw(place);
}

void WriteOnePage(const Output& output, const OutputFormat& format, const Page& page, std::size_t number,
                  const PaintPage& paint) {
  // Before the page is drawn, so that an output that cannot be created fails at once.
  OutputWriter writer(output);
  if (format.document == OutputFormat::Document::kPdf) {
    WritePdf(output.name(), writer, {page}, [&](std::size_t, CoreDevice& device) { paint(number, device); });
  } else if (format.document == OutputFormat::Document::kSvg) {
    WriteSvg(output.name(), writer, page, number, paint);
  } else {
    CoreDib picture;
    RenderPage(
        page, [&](CoreDevice& device) { paint(number, device); }, output.name(), picture);
    if (IsOpaque(page)) CoreDropAlpha(&picture);
    EncodePicture(picture, format.picture, 0, output.name(), writer, page.effort);
  }
  writer.Commit();
}

}  // namespace

bool IsOpaque(const Page& page) { return page.under == nullptr && page.background >> 24 == 255; }

void RenderPage(const Page& page, const std::function<void(CoreDevice&)>& paint, const std::string& place,
                CoreDib& bitmap) {
  const double width = PixelSizeOf(page).width;
  const double height = PixelSizeOf(page).height;
  if (std::max(width, height) > CoreBitmapDevice::kMaxSide) {
    RefuseSize(place, width, height, CoreBitmapDevice::kMaxSide);
  }
  const std::uint64_t bytes = CoreDib::BytesNeeded(static_cast<int>(width), static_cast<int>(height), 32);
  const auto create = [&] {
    return page.under != nullptr ? bitmap.CopyFrom(*page.under)
                                 : bitmap.Create(static_cast<int>(width), static_cast<int>(height), 32);
  };
  if (bytes > CoreCodecRegistry::Get().GetPixelLimit() || !create()) {
    throw Error(ErrorKind::kLimit, place,
                "the picture needs " + std::to_string(bytes) + " bytes, which is too much");
  }
  // An opaque bitmap is drawn into directly, without a second one beside it.
  if (IsOpaque(page)) {
    std::fill_n(reinterpret_cast<std::uint32_t*>(bitmap.GetRow(0)), bitmap.GetWidth(), page.background);
    for (int y = 1; y < bitmap.GetHeight(); ++y) {
      std::memcpy(bitmap.GetRow(y), bitmap.GetRow(0), static_cast<std::size_t>(bitmap.GetWidth()) * 4);
    }
  }
  if (page.under == nullptr) bitmap.SetDpi(page.dpi, page.dpi);
  CoreBitmapDevice device(&bitmap, page.dpi);
  paint(device);
  if (!device.Flush()) FailToDraw(place);
}

void WritePage(const Output& output, const OutputFormat& format, const Page& page,
               const std::function<void(CoreDevice&)>& paint) {
  WriteOnePage(output, format, page, 0, [&](std::size_t, CoreDevice& device) { paint(device); });
}

void WritePages(const Output& output, const OutputFormat& format, const std::vector<Page>& pages,
                const PaintPage& paint) {
  assert(!pages.empty());
  if (pages.size() == 1) return WriteOnePage(output, format, pages[0], 0, paint);
  const bool pdf = format.document == OutputFormat::Document::kPdf;
  if (pdf || (format.document == OutputFormat::Document::kNone && format.picture == kCoreImageTiff)) {
    OutputWriter writer(output);
    (pdf ? WritePdf : WriteTiff)(output.name(), writer, pages, paint);
    return writer.Commit();
  }
  if (output.memory() != nullptr) {
    throw Error(
        ErrorKind::kOutput, output.name(),
        "takes one page, and there are " + std::to_string(pages.size()) + "; PDF and TIFF hold several");
  }
  for (std::size_t i = 0; i < pages.size(); ++i) {
    WriteOnePage(Output::File(NumberedFile(output.name(), i + 1, pages.size())), format, pages[i], i, paint);
  }
}

std::string NumberedFile(const std::string& file, std::size_t number, std::size_t count) {
  const std::string most = std::to_string(count);
  assert(number <= count);
  std::string text = std::to_string(number);
  text.insert(0, most.size() - text.size(), '0');
  const std::string extension = ExtensionOf(file);
  const std::size_t stem = file.size() - extension.size() - (extension.empty() ? 0 : 1);
  return file.substr(0, stem) + "-" + text + file.substr(stem);
}

}  // namespace jobs
