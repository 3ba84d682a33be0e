// SPDX-License-Identifier: MIT
// CoreReadOrientation: the mark in files that other programs wrote, and in broken ones.
#include "foreign_files.h"
#include "image_support.h"

#include <tovmx/codec.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

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

// Files put together here, number by number.
std::string Bytes(std::uint64_t number, int size, bool bigEndian) {
  std::string bytes;
  for (int i = 0; i < size; ++i) {
    const int shift = 8 * (bigEndian ? size - 1 - i : i);
    bytes += static_cast<char>(number >> shift & 255U);
  }
  return bytes;
}

struct Tiff {
  bool big;
  bool bigEndian;

  std::string Put(std::uint64_t number, int size) const { return Bytes(number, size, bigEndian); }
  std::string Head(std::uint64_t directory) const {
    const std::string order = bigEndian ? "MM" : "II";
    return big ? order + Put(43, 2) + Put(8, 2) + Put(0, 2) + Put(directory, 8)
               : order + Put(42, 2) + Put(directory, 4);
  }
  std::size_t HeadSize() const { return big ? 16 : 8; }
  std::string Entry(unsigned tag, unsigned value) const {
    const std::string number = Put(value, 2) + std::string(big ? 6 : 2, '\xEE');
    return Put(tag, 2) + Put(3, 2) + Put(1, big ? 8 : 4) + number;
  }
  // Of entries with one mark among them; `next` is where the next directory stands.
  std::string Directory(std::uint64_t count, std::uint64_t place, unsigned mark, std::uint64_t next) const {
    std::string bytes = Put(count, big ? 8 : 2);
    for (std::uint64_t i = 0; i < count; ++i) {
      bytes += i == place ? Entry(0x112, mark) : Entry(i < place ? 0x100 : 0x113, 7);
    }
    return bytes + Put(next, big ? 8 : 4);
  }
  // One page behind the other, each with its mark.
  std::string Pages(const std::vector<unsigned>& marks, std::uint64_t entries, std::uint64_t place) const {
    std::string bytes = Head(HeadSize());
    for (std::size_t page = 0; page < marks.size(); ++page) {
      const std::size_t size = Directory(entries, place, 1, 0).size();
      const bool last = page + 1 == marks.size();
      bytes += Directory(entries, place, marks[page], last ? 0 : bytes.size() + size);
    }
    return bytes;
  }
};

constexpr Tiff kTiffs[] = {{false, false}, {false, true}, {true, false}, {true, true}};

TEST(OrientationForms, TheMarkIsFoundAmongTheEntriesOfItsPage) {
  for (const Tiff& tiff : kTiffs) {
    for (std::uint64_t count = 1; count <= 4; ++count) {
      for (std::uint64_t place = 0; place < count; ++place) {
        const std::string pages = tiff.Pages({6, 3, 8}, count, place);
        EXPECT_EQ(MarkOf(pages, 0), 6) << tiff.big << tiff.bigEndian << count << place;
        EXPECT_EQ(MarkOf(pages, 1), 3) << tiff.big << tiff.bigEndian << count << place;
        EXPECT_EQ(MarkOf(pages, 2), 8) << tiff.big << tiff.bigEndian << count << place;
        EXPECT_EQ(MarkOf(pages, 3), 1) << tiff.big << tiff.bigEndian << count << place;
      }
    }
    EXPECT_EQ(MarkOf(tiff.Pages({6, 3}, 3, 9), 0), 1) << "no entry is the mark's";
    EXPECT_EQ(MarkOf(tiff.Pages({6, 3}, 0, 9), 1), 1) << "pages without entries";
  }
}

TEST(OrientationForms, TheFirstOfTwoMarksCounts) {
  for (const Tiff& tiff : kTiffs) {
    const std::string bytes = tiff.Head(tiff.HeadSize()) + tiff.Put(2, tiff.big ? 8 : 2) +
                              tiff.Entry(0x112, 4) + tiff.Entry(0x112, 5) + tiff.Put(0, tiff.big ? 8 : 4);
    EXPECT_EQ(MarkOf(bytes), 4);
  }
}

TEST(OrientationForms, ADirectoryHasUpTo65535Entries) {
  for (const Tiff& tiff : kTiffs) {
    EXPECT_EQ(MarkOf(tiff.Pages({6, 3}, 0xFFFF, 0xFFFE), 1), 3);
  }
  const Tiff big = {true, true};
  EXPECT_EQ(MarkOf(big.Pages({6}, 0x10000, 0)), 1) << "more are no directory";
  // One that leads back to itself and has too many ends the walk, however many pages are asked for.
  const std::string loop = big.Head(16) + big.Directory(0x10000, 0, 6, 16);
  EXPECT_EQ(MarkOf(loop, std::numeric_limits<int>::max()), 1);
}

TEST(OrientationForms, AFileThatEndsWithinADirectory) {
  for (const Tiff& tiff : kTiffs) {
    const std::string whole = tiff.Pages({6}, 3, 1);
    const std::size_t entry = tiff.big ? 20 : 12;
    // The mark stands in the second entry, two bytes of value behind what leads to them.
    const std::size_t mark = tiff.HeadSize() + (tiff.big ? 8 : 2) + 2 * entry - (tiff.big ? 6 : 2);
    EXPECT_EQ(MarkOf(whole.substr(0, mark)), 6) << "nothing behind the value is needed";
    EXPECT_EQ(MarkOf(whole.substr(0, mark - 1)), 1);
    EXPECT_EQ(MarkOf(whole.substr(0, tiff.HeadSize())), 1);
    EXPECT_EQ(MarkOf(whole.substr(0, tiff.HeadSize() - 1)), 1);
  }
}

// Bytes that look like the entry of a mark where none stands.
TEST(OrientationForms, WhatIsNoEntryIsNoMark) {
  const Tiff tiff = {false, false};
  const std::string mark = tiff.Put(0x112, 2), six = tiff.Put(6, 2);
  // Behind the last entry: the place of the next directory.
  EXPECT_EQ(MarkOf(tiff.Head(8) + tiff.Directory(2, 9, 0, 0x112) + std::string(4, '\0') + six + six), 1);
  // Twelve bytes on from number 3, which is where a directory at number 1 would have its entries.
  const std::string odd =
      std::string("\xFF\0\3\0\0\x12\1\0\0\0\0\0", 12) + std::string("\0\6\0\3\1\0\0\0\0\0\0\0", 12);
  EXPECT_EQ(MarkOf(tiff.Head(8) + tiff.Put(2, 2) + odd, 1), 1) << "the next directory is cut off";
  // Twelve bytes on from number 2, where a directory at number 0 would have them.
  EXPECT_EQ(MarkOf(tiff.Head(0) + std::string(6, '\0') + mark + std::string(6, '\0') + six + six), 1)
      << "no directory";
}

TEST(OrientationForms, EveryFormatStandsAnywhereInAStream) {
  for (const Tiff& tiff : kTiffs) {
    const std::string bytes = "before" + tiff.Pages({6, 3}, 3, 1);
    for (int frame = 0; frame < 3; ++frame) {
      CoreMemoryInputStream in(bytes.data(), bytes.size());
      ASSERT_TRUE(in.Seek(6));
      EXPECT_EQ(CoreReadOrientation(&in, frame), frame == 0 ? 6 : frame == 1 ? 3 : 1);
      EXPECT_EQ(in.GetPosition(), 6u);
    }
  }
}

// What EXIF calls its body.
std::string Body(unsigned mark) { return kTiffs[1].Pages({mark}, 2, 1); }
const std::string kExif("Exif\0\0", 6);

std::string Segment(unsigned marker, const std::string& content) {
  return Bytes(marker, 2, true) + Bytes(content.size() + 2, 2, true) + content;
}

TEST(OrientationForms, SegmentsOfAJpegBeforeTheMark) {
  const std::string start = "\xFF\xD8";
  const std::string exif = Segment(0xFFE1, kExif + Body(6));
  EXPECT_EQ(MarkOf(start + exif), 6);
  const struct {
    const char* what;
    std::string before;
    int mark;
  } rows[] = {{"a comment", Segment(0xFFFE, "note"), 6},
              {"a segment without content", Segment(0xFFFE, ""), 6},
              {"padding", std::string("\xFF", 1), 6},
              {"more padding", std::string("\xFF\xFF\xFF\xFF\xFF", 5), 6},
              {"another APP1", Segment(0xFFE1, "http://ns.adobe.com/"), 6},
              {"a short APP1", Segment(0xFFE1, "Exif"), 6},
              {"an APP1 of a head that is cut", Segment(0xFFE1, kExif.substr(0, 5)), 6},
              {"the head in another segment", Segment(0xFFE2, kExif + Body(3)), 6},
              {"an APP1 of the head alone", Segment(0xFFE1, kExif), 1},
              {"the pixels", Segment(0xFFDA, "ABC"), 1},
              {"a length of 1", std::string("\xFF\xFE\0\1", 4), 1},
              {"a length of 0", std::string("\xFF\xFE\0\0", 4), 1},
              {"no marker", std::string("\xFE\xFF\0\2", 4), 1},
              {"a mark before it", Segment(0xFFE1, kExif + Body(3)), 3}};
  for (const auto& row : rows) EXPECT_EQ(MarkOf(start + row.before + exif), row.mark) << row.what;
  EXPECT_EQ(MarkOf(start + Segment(0xFFFE, std::string(65533, 'x')) + exif), 6) << "the longest one";
  EXPECT_EQ(MarkOf(start + "\xFF" + exif + "rest"), 6);
  EXPECT_EQ(MarkOf(start + std::string("\xFF\0\0\x02", 4) + exif), 6) << "any marker";
}

std::string PngChunk(const std::string& name, const std::string& content) {
  return Bytes(content.size(), 4, true) + name + content + "sums";
}

std::string RiffChunk(const std::string& name, const std::string& content) {
  return name + Bytes(content.size(), 4, false) + content + (content.size() % 2 == 0 ? "" : "x");
}

TEST(OrientationForms, ChunksBeforeTheMark) {
  const std::string png = "\x89PNG\r\n\x1a\n";
  const std::string webp = "RIFF" + Bytes(0, 4, false) + "WEBP";
  for (int size = 0; size < 5; ++size) {
    const std::string other(static_cast<std::size_t>(size), 'o');
    for (const std::string& head : {std::string(), kExif}) {
      EXPECT_EQ(MarkOf(png + PngChunk("tEXt", other) + PngChunk("eXIf", head + Body(6))), 6) << size;
      EXPECT_EQ(MarkOf(webp + RiffChunk("VP8X", other) + RiffChunk("EXIF", head + Body(6))), 6) << size;
    }
    EXPECT_EQ(MarkOf(png + PngChunk("tEXt", other) + PngChunk("EXIF", Body(6))), 1) << "another name";
    EXPECT_EQ(MarkOf(webp + RiffChunk("VP8X", other) + RiffChunk("eXIf", Body(6))), 1) << "another name";
    EXPECT_EQ(MarkOf(png + PngChunk("tEXt", other)), 1);
  }
  EXPECT_EQ(MarkOf(png + PngChunk("eXIf", Body(6)) + PngChunk("eXIf", Body(3))), 6) << "the first counts";
  EXPECT_EQ(MarkOf(png + PngChunk("eXIf", "Exif\0\1" + Body(6))), 1) << "another head";
  EXPECT_EQ(MarkOf(png + PngChunk("eXIf", "")), 1);
  // A length that leads far out of the file.
  EXPECT_EQ(MarkOf(png + "\xFF\xFF\xFF\xFFtEXt" + PngChunk("eXIf", Body(6))), 1);
}

}  // namespace
