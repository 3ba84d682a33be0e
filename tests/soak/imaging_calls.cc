// SPDX-License-Identifier: MIT
#include "every_call.h"

#include <tovkit/imaging.h>
#include <tovmx/device.h>

#include <memory>

namespace soak {

namespace {

using tovkit::Json;
using tovkit::JsonValue;
using tovkit::SharedPtr;

constexpr char kLines[] =
    R"([{"Content": "Hello, 世界!", "DeltaX": 4, "DeltaY": 2, "Font": {"FontName": "DejaVu Sans", "FontSize": 14}},
        {"Content": "again", "DeltaX": 4, "DeltaY": 22, "Font": {"FontSize": 10, "Color": "#1F4E79"}}])";

void CallCodecs(CoreDib& picture) {
  for (const CoreImageFormat format :
       {kCoreImagePng, kCoreImageJpeg, kCoreImageTiff, kCoreImageWebp, kCoreImageJpeg2000, kCoreImageBmp}) {
    CoreMemoryOutputStream out;
    Require(tovkit::ImageEncode(&picture, format, &out) != 0, "ImageEncode");
    CoreMemoryInputStream in(out.GetData(), out.GetSize());
    const std::unique_ptr<CoreDib> again(tovkit::ImageDecode(&in));
    Require(again != nullptr && again->GetWidth() == picture.GetWidth(), "ImageDecode");
  }
}

void CallColors() {
  std::uint32_t color = 0;
  std::uint32_t kind = 0;
  Require(tovkit::ParseColor("#1F4E79", color, kind), "ParseColor");
  std::string text;
  Require(tovkit::ColorToText(color, kind, text), "ColorToText");
}

}  // namespace

void CallImaging() {
  const SharedPtr<JsonValue> lines = Json::Parse(kLines, sizeof kLines - 1, nullptr);
  CoreDib picture;
  Require(picture.Create(160, 48, 32), "CoreDib::Create");
  CoreBitmapDevice bitmap(&picture);
  bitmap.FillPage(0xFFFFFFFF);
  Require(tovkit::DrawTextOnDevice(&bitmap, lines->GetAt(0)), "DrawTextOnDevice");
  CoreMemoryOutputStream document;
  CorePdfDevice pdf(&document, 160, 48);
  Require(tovkit::DrawTextOnDevice(&pdf, lines->GetAt(1)), "DrawTextOnDevice");
  Require(tovkit::DescribeText(lines)->Size() > 0, "DescribeText");
  Require(tovkit::DeleteRectDib(&picture, CoreRect{2, 2, 20, 20}), "DeleteRectDib");
  Require(!tovkit::AlphaBlending(&picture, 128) && tovkit::ImageBinary(&picture) == nullptr, "ImageBinary");
  CallCodecs(picture);
  CallColors();
}

}  // namespace soak
