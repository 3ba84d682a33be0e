// SPDX-License-Identifier: MIT
// Draws one line onto a page of PDF and onto a bitmap with the core's own classes, no JSON involved.
#include <tovmx/codec.h>
#include <tovmx/device.h>
#include <tovmx/text_codec.h>

#include <cstdio>

static bool DrawLine(CoreDevice& device, const CoreFontLoader& fonts, const CoreWideString& line) {
  CoreMatrix place;
  place.Scale(1.5f, 1.5f);
  place.Translate(20.0f, 60.0f);  // where the baseline begins
  return device.DrawText(line.c_str(), -1, fonts, place, 0xFF1F4E79, 24.0f) && device.EndText() &&
         device.Flush();
}

int main(int argc, char** argv) {
  CoreFontLoader fonts(nullptr);
  if (!fonts.LoadFont(L"DejaVu Sans", L"", kCoreFontAny, 700, false)) return 1;
  const CoreWideString line = CoreTextCodec::Utf8Decode("Straight onto a device", -1);

  CoreTextExtents size;
  fonts.MeasureText(line.c_str(), -1, 24.0f, size);
  std::printf("the line has ink: %s\n", size.ink.right > size.ink.left ? "yes" : "no");

  CoreFileOutputStream pdf(argc > 1 ? argv[1] : "line.pdf");
  CorePdfDevice page(&pdf, 595, 120);
  if (!DrawLine(page, fonts, line) || !page.Finish() || !pdf.Close()) return 1;

  CoreDib picture;
  if (!picture.Create(595, 120, 24)) return 1;
  CoreBitmapDevice bitmap(&picture);
  bitmap.FillPage(0xFFFFFFFF);
  if (!DrawLine(bitmap, fonts, line)) return 1;
  CoreFileOutputStream png(argc > 2 ? argv[2] : "line.png");
  auto encoder = CoreCodecRegistry::Get().GetFactory().CreateEncoder(kCoreImagePng);
  if (encoder->Encode(&picture, &png) == 0 || !png.Close()) return 1;
  std::printf("a page and a picture of %d x %d pixels\n", picture.GetWidth(), picture.GetHeight());
  return 0;
}
