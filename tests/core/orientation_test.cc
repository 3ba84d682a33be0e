// SPDX-License-Identifier: MIT
// CoreReadOrientation: the mark in files that other programs wrote, and in broken ones.
#include "foreign_files.h"
#include "image_support.h"

#include <tovmx/codec.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace {

int MarkOf(const std::string& bytes, int frame = 0) {
  CoreMemoryInputStream in(bytes.data(), bytes.size());
  return CoreReadOrientation(&in, frame);
}

class Orientation : public ForeignFiles {
 protected:
  // A small picture with this mark in every format that can have one.
  void Make(int mark) {
    Run("/usr/bin/python3 -W ignore '" TOVKIT_SOURCE_DIR "/tests/core/orientation.py' " +
        std::to_string(mark));
  }
  std::string Bytes(const std::string& file) const { return image::ReadFile(folder_ + "/" + file); }
};

constexpr const char* kFiles[] = {"a.jpg", "a.png", "a.webp", "a.tif", "motorola.jpg"};

TEST_F(Orientation, EveryMarkOfEveryFormatIsRead) {
  for (int mark = 1; mark <= 8; ++mark) {
    Make(mark);
    for (const char* file : kFiles) EXPECT_EQ(MarkOf(Bytes(file)), mark) << file;
  }
}

TEST_F(Orientation, AMarkOutsideOneToEightIsNone) {
  for (const int mark : {0, 9, 77}) {
    Make(mark);
    for (const char* file : kFiles) EXPECT_EQ(MarkOf(Bytes(file)), 1) << file << " " << mark;
  }
}

TEST_F(Orientation, EachPageOfATiffHasItsOwn) {
  Make(6);
  const std::string pages = Bytes("pages.tif");
  EXPECT_EQ(MarkOf(pages, 0), 6);
  EXPECT_EQ(MarkOf(pages, 1), 1);
  EXPECT_EQ(MarkOf(pages, 2), 3);
  EXPECT_EQ(MarkOf(pages, 3), 1) << "no such page";
  EXPECT_EQ(MarkOf(pages, -1), 1);
}

TEST_F(Orientation, OurOwnFilesHaveNone) {
  const CoreDib picture = image::MakePicture(8, 8, 24);
  for (const CoreImageFormat format : image::kFormats) EXPECT_EQ(MarkOf(image::Encode(picture, format)), 1);
  EXPECT_EQ(CoreReadOrientation(nullptr, 0), 1);
  EXPECT_EQ(MarkOf(""), 1);
}

TEST_F(Orientation, TheStreamStaysWhereItIs) {
  Make(8);
  const std::string bytes = "before" + Bytes("a.jpg");
  CoreMemoryInputStream in(bytes.data(), bytes.size());
  ASSERT_TRUE(in.Seek(6));
  EXPECT_EQ(CoreReadOrientation(&in, 0), 8);
  EXPECT_EQ(in.GetPosition(), 6u);
}

// Cut anywhere, and with any byte changed, there is an answer and it is one of the eight.
TEST_F(Orientation, BrokenFilesHaveSomeMark) {
  Make(5);
  for (const char* file : kFiles) {
    const std::string whole = Bytes(file);
    for (std::size_t size = 0; size < std::min<std::size_t>(whole.size(), 400); ++size) {
      const int mark = MarkOf(whole.substr(0, size));
      EXPECT_TRUE(mark == 1 || mark == 5) << file << " cut at " << size;
    }
    for (std::size_t at = 0; at < std::min<std::size_t>(whole.size(), 400); ++at) {
      for (const unsigned char byte : {0x00, 0x01, 0x7F, 0x80, 0xFF}) {
        std::string changed = whole;
        changed[at] = static_cast<char>(byte);
        const int mark = MarkOf(changed, 3);
        EXPECT_TRUE(mark >= 1 && mark <= 8) << file << " at " << at;
      }
    }
  }
}

// A directory that leads to itself, and numbers that lead out of everything.
TEST_F(Orientation, DirectoriesThatLeadNowhereEnd) {
  using namespace std::string_literals;
  const std::string loop = "II*\0\x08\0\0\0\0\0\x08\0\0\0"s;
  EXPECT_EQ(MarkOf(loop, 1000000), 1);
  EXPECT_EQ(MarkOf("II*\0\xFF\xFF\xFF\xFF"s), 1);
  EXPECT_EQ(MarkOf("II+\0\x08\0\0\0\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s), 1);
  EXPECT_EQ(MarkOf("II+\0\x08\0\0\0\xF0\xFF\xFF\xFF\xFF\xFF\xFF\x7F"s, 5), 1);
  EXPECT_EQ(MarkOf("\xFF\xD8\xFF\xE1\0\x08"
                   "Exif\0\0"s),
            1);
}

}  // namespace
