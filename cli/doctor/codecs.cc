// SPDX-License-Identifier: MIT
// Encodes a small picture in every format and reads it back.
#include "finding.h"

#include <tovkit/imaging.h>
#include <tovmx/codec.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

namespace cli {

namespace {

constexpr int kSide = 16;
constexpr int kMostLost = 40;  // of 255, the most that a lossy format may change of a smooth picture

CoreDib SmoothPicture() {
  CoreDib picture;
  picture.Create(kSide, kSide, 24);
  for (int y = 0; y < kSide; ++y) {
    std::uint8_t* byte = picture.GetRow(y);
    for (int x = 0; x < kSide; ++x) {
      for (const int value : {4 * (x + y), 8 * y + 60, 8 * x + 60})
        *byte++ = static_cast<std::uint8_t>(value);
    }
  }
  return picture;
}

int Difference(const CoreDib& a, const CoreDib& b) {
  int most = 0;
  for (int y = 0; y < kSide; ++y) {
    for (int x = 0; x < kSide; ++x) {
      for (int shift = 0; shift < 24; shift += 8) {
        const auto part = [&](const CoreDib& dib) {
          return static_cast<int>(dib.GetArgb(x, y) >> shift & 0xFF);
        };
        most = std::max(most, std::abs(part(a) - part(b)));
      }
    }
  }
  return most;
}

Finding ThereAndBack(CoreImageFormat format) {
  const std::string check = CoreImageFormatName(format);
  const std::string advice = "install the packages of libtovkit5 again";
  CoreDib picture = SmoothPicture();
  CoreMemoryOutputStream bytes;
  if (tovkit::ImageEncode(&picture, format, &bytes) == 0) {
    return {check, Finding::kFailed, "cannot be written", advice};
  }
  CoreMemoryInputStream stream(bytes.GetData(), bytes.GetSize());
  const std::unique_ptr<CoreDib> back(tovkit::ImageDecode(&stream));
  if (back == nullptr || back->GetWidth() != kSide || back->GetHeight() != kSide) {
    return {check, Finding::kFailed, "what was written cannot be read", advice};
  }
  const int lost = Difference(picture, *back);
  if (lost > kMostLost) {
    return {check, Finding::kFailed, "comes back as another picture", advice};
  }
  return {check, Finding::kOk,
          lost == 0 ? "there and back, exact" : "there and back, off by " + std::to_string(lost) + " of 255"};
}

// GIF has no encoder, so a file of one white pixel is read.
Finding ReadGif() {
  static constexpr unsigned char kGif[] = {'G', 'I',  'F',  '8',  '9', 'a', 1, 0,    1, 0, 0x80, 0,
                                           0,   0xFF, 0xFF, 0xFF, 0,   0,   0, ',',  0, 0, 0,    0,
                                           1,   0,    1,    0,    0,   2,   2, 0x44, 1, 0, ';'};
  CoreMemoryInputStream stream(kGif, sizeof kGif);
  const std::unique_ptr<CoreDib> back(tovkit::ImageDecode(&stream));
  if (back == nullptr || (back->GetArgb(0, 0) & 0xFFFFFF) != 0xFFFFFF) {
    return {"GIF", Finding::kFailed, "cannot be read", "install the packages of libtovkit5 again"};
  }
  return {"GIF", Finding::kOk, "read"};
}

}  // namespace

Findings ExamineCodecs() {
  Findings findings;
  for (const CoreImageFormat format :
       {kCoreImagePng, kCoreImageJpeg, kCoreImageTiff, kCoreImageWebp, kCoreImageJpeg2000, kCoreImageBmp}) {
    findings.push_back(ThereAndBack(format));
  }
  findings.push_back(ReadGif());
  return findings;
}

}  // namespace cli
