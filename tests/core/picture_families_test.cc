// SPDX-License-Identifier: MIT
// Every form of TIFF and JPEG 2000 as it is, and with one number of its structure odd: a picture or a reason
// why not, and never other pixels than those that two other programs see.
#include "foreign_files.h"
#include "image_support.h"

#include <tovmx/codec.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

constexpr int kTolerance = 3;

// One picture, and what another program sees.
struct Member {
  std::string name;
  std::string file;
  int width = 0;  // 0 when the other program reads nothing
  int height = 0;
  std::string seen;  // red, green, blue and alpha of each pixel
};

class PictureFamilies : public ForeignFiles, public testing::WithParamInterface<CoreImageFormat> {
 protected:
  // Those of the family, with one in `share` of all odd values.
  std::vector<Member> Members(int share) {
    std::istringstream lines(Run("/usr/bin/python3 -B -W ignore '" TOVKIT_SOURCE_DIR
                                 "/tests/core/picture_families.py' " +
                                 image::FormatTestName({GetParam(), 0}) + " " + std::to_string(share)));
    const std::string files = image::ReadFile(folder_ + "/pictures");
    const std::string pixels = image::ReadFile(folder_ + "/seen");
    std::size_t file = 0, pixel = 0, length = 0;
    std::vector<Member> members;
    for (Member member; lines >> member.name >> length >> member.width >> member.height;) {
      member.file = files.substr(file, length);
      member.seen = pixels.substr(pixel, 4 * static_cast<std::size_t>(member.width * member.height));
      file += length;
      pixel += member.seen.size();
      members.push_back(member);
    }
    EXPECT_EQ(file, files.size());
    EXPECT_EQ(pixel, pixels.size());
    return members;
  }

  // Writes what ImageMagick sees of each to its name and ".seen", nothing where it has something to say.
  void SeeByMagick(const std::vector<Member>& members) {
    const std::string format = GetParam() == kCoreImageTiff ? "tif" : "jp2";
    for (const Member& member : members)
      std::ofstream(folder_ + "/" + member.name + "." + format, std::ios::binary) << member.file;
    Run("for file in *." + format + "; do seen=${file%.*}.seen; " +
        "convert -regard-warnings \"$file[0]\" -colorspace sRGB -depth 8 rgba:$seen || rm -f $seen; done");
  }

  // Version 7 takes every JPEG 2000 for opaque.
  bool SeesAlphaByMagick(const Member& translucent) {
    if (translucent.name.empty()) return true;
    SeeByMagick({translucent});
    const std::string seen = image::ReadFile(folder_ + "/" + translucent.name + ".seen");
    for (std::size_t i = 3; i < seen.size(); i += 4)
      if (seen[i] != '\xff') return true;
    return false;
  }
};
INSTANTIATE_TEST_SUITE_P(Formats, PictureFamilies, testing::Values(kCoreImageTiff, kCoreImageJpeg2000),
                         image::FormatTestName);

// Where both are transparent the color does not count.
bool IsAlike(const CoreDib& ours, const std::string& seen) {
  const int width = ours.GetWidth(), height = ours.GetHeight();
  CoreDib other;
  if (!other.Create(width, height, 32) || seen.size() != other.GetBufferSize()) return false;
  const char* from = seen.data();
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x, from += 4) {
      const std::uint32_t argb = ours.GetArgb(x, y);
      const char pixel[] = {from[2], from[1], from[0], from[3]};
      std::memcpy(other.GetRow(y) + 4 * x, pixel, 4);
      if (argb >> 24 == 0 && from[3] == 0) std::memcpy(other.GetRow(y) + 4 * x, &argb, 4);
    }
  }
  return image::Difference(ours, other, kTolerance).empty();
}

bool IsOpaque(const CoreDib& bitmap) {
  for (int y = 0; y < bitmap.GetHeight(); ++y) {
    for (int x = 0; x < bitmap.GetWidth(); ++x)
      if (bitmap.GetArgb(x, y) >> 24 != 0xff) return false;
  }
  return true;
}

// The form that a picture has, or had before one number became odd.
std::string FormOf(const std::string& name) { return name.substr(0, name.find(',')); }

// Inks of an unknown set, and numbers that are complex or too wide: what they look like nobody says.
bool IsRefused(const std::string& form) {
  return form == "otherinks" || form == "reallab" || form.rfind("complex", 0) == 0;
}

// What neither of the others reads as the file says: other colors than RGB, and multiplied ones.
// jpeg2000_forms_test.cc has their pixels.
bool IsTakenForRgb(const std::string& form) {
  for (const char* name : {"half", "across", "bare_half", "inks", "premultiplied"}) {
    if (form == name) return true;
  }
  return false;
}

// Others leave lines as they were when a strip of these holds more rows or columns than are wanted.
bool IsSqueezed(const std::string& form) { return form.rfind("squeeze", 0) == 0 || form == "differences"; }

struct Reading {
  std::unique_ptr<CoreDib> bitmap;
  CoreDecodeFailure failure = kCoreDecodeNoFailure;
};

Reading Read(const Member& member, CoreImageFormat format) {
  CoreMemoryInputStream in(member.file.data(), member.file.size());
  const auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(format);
  Reading reading;
  if (decoder->Open(&in, kCoreOpenReadAhead) != 0) reading.bitmap = decoder->GetBitmap(0, 0, 0);
  reading.failure = CoreGetDecodeFailure(decoder.get());
  const bool named = *CoreGetUnsupportedFeature(decoder.get()) != '\0';
  EXPECT_EQ(reading.bitmap == nullptr, reading.failure != kCoreDecodeNoFailure) << member.name;
  EXPECT_EQ(named, reading.failure == kCoreDecodeUnsupported) << member.name;
  if (reading.bitmap != nullptr) {
    EXPECT_EQ(reading.bitmap->GetWidth(), decoder->GetInfo().width) << member.name;
    EXPECT_EQ(reading.bitmap->GetHeight(), decoder->GetInfo().height) << member.name;
    EXPECT_EQ(reading.bitmap->GetBitsPerPixel(), decoder->GetInfo().bitsPerPixel) << member.name;
    // Behind other pages it is the same.
    for (int frame = std::min(decoder->GetInfo().frameCount, 3); --frame > 0;)
      decoder->GetBitmap(frame, 0, 0);
    const auto again = decoder->GetBitmap(0, 0, 0);
    EXPECT_TRUE(again != nullptr && image::Difference(*reading.bitmap, *again).empty()) << member.name;
  }
  return reading;
}

TEST_P(PictureFamilies, AreReadAsOthersReadThemOrRefusedWithAReason) {
  std::vector<Member> disputed;
  Member translucent;           // without a name where the family has none
  std::set<std::string> known;  // forms that Pillow sees as we do
  int read = 0, refused = 0, alike = 0;
  // Most that is odd in a TIFF is refused by all.
  for (const Member& member : Members(GetParam() == kCoreImageTiff ? 6 : 16)) {
    const std::string form = FormOf(member.name);
    const bool whole = form == member.name;
    if (form == "four" && whole) translucent = member;
    const Reading reading = Read(member, GetParam());
    ++(reading.bitmap != nullptr ? read : refused);
    if (whole) {
      EXPECT_EQ(reading.failure, IsRefused(form) ? kCoreDecodeUnsupported : kCoreDecodeNoFailure) << form;
    }
    if (member.width == 0 || reading.bitmap == nullptr) continue;
    if (IsAlike(*reading.bitmap, member.seen)) {
      ++alike;
      if (whole) known.insert(form);
    } else if (whole ? !IsTakenForRgb(form) : known.count(form) != 0 && !IsSqueezed(form)) {
      disputed.push_back(member);
    }
  }
  EXPECT_GT(alike, 1000);
  EXPECT_GT(refused, 500);
  const bool seesAlpha = SeesAlphaByMagick(translucent);
  SeeByMagick(disputed);
  for (const Member& member : disputed) {
    const std::string seen = image::ReadFile(folder_ + "/" + member.name + ".seen");
    if (seen.empty()) continue;  // it warns of something
    const Reading reading = Read(member, GetParam());
    if (!seesAlpha && !IsOpaque(*reading.bitmap)) continue;
    if (FormOf(member.name) == member.name) {
      EXPECT_TRUE(IsAlike(*reading.bitmap, seen)) << member.name;
    } else {
      EXPECT_TRUE(seen != member.seen) << member.name << ": two others see the same, which is not ours";
    }
  }
  RecordProperty("read", read);
  RecordProperty("refused", refused);
  RecordProperty("alike", alike);
  RecordProperty("disputed", static_cast<int>(disputed.size()));
}

}  // namespace
