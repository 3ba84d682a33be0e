// SPDX-License-Identifier: MIT
// Draws two lines of text onto a bitmap, blanks a corner of it, and writes the picture as PNG.
#include <tovkit/imaging.h>
#include <tovmx/device.h>

#include <cstdio>
#include <cstring>
#include <memory>

using namespace tovkit;

static const char kTitle[] = R"({"Content": "One card, 一张卡片", "DeltaX": 24, "DeltaY": 24,
                                 "Font": {"FontSize": 30, "Color": "#1F4E79"}})";
static const char kNote[] = R"({"Content": "drawn by tovkit", "DeltaX": 26, "DeltaY": 76,
                                "Font": {"FontName": "Times New Roman", "FontSize": 15, "Italic": true}})";

int main(int argc, char** argv) {
  const char* path = argc > 1 ? argv[1] : "card.png";

  CoreDib card;
  if (!card.Create(440, 130, 32)) return 1;
  CoreBitmapDevice device(&card);
  device.FillPage(0xFFF4EBD9);  // opaque, a warm white
  for (const char* line : {kTitle, kNote}) {
    if (!DrawTextOnDevice(&device, Json::Parse(line, static_cast<unsigned>(std::strlen(line)), nullptr))) {
      return 1;
    }
  }
  DeleteRectDib(&card, {400, 0, 440, 40});  // blanked to white, the brightest color

  CoreFileOutputStream out(path);
  if (ImageEncode(&card, kCoreImagePng, &out) == 0 || !out.Close()) {
    std::perror(path);
    return 1;
  }

  CoreFileInputStream in(path);
  std::unique_ptr<CoreDib> seen(ImageDecode(&in));
  if (seen == nullptr) return 1;
  std::printf("%d x %d pixels of %d bits\n", seen->GetWidth(), seen->GetHeight(), seen->GetBitsPerPixel());
  std::printf("corner %08X, paper %08X\n", seen->GetArgb(439, 0), seen->GetArgb(0, 129));
  return 0;
}
