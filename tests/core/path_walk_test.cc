// SPDX-License-Identifier: MIT
#include <tovmx/path_walk.h>

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace {

// Writes the segments down, each with the numbers of its records, and ends the walk at one of them.
class Scribe {
 public:
  Scribe(const std::vector<CorePathPoint>& records, int last) : records_(records), left_(last) {}
  bool Line(const CorePathPoint& from, const CorePathPoint& to) {
    return Note("L" + Name(&from) + Name(&to));
  }
  bool Quad(const CorePathPoint* points) { return Note("Q" + Name(points)); }
  bool Cubic(const CorePathPoint* points) { return Note("C" + Name(points)); }
  bool Arc(const CorePathPoint* records) { return Note("A" + Name(records)); }
  bool Close(const CorePathPoint& from, const CorePathPoint& start) {
    return Note("Z" + Name(&from) + Name(&start));
  }
  const std::string& Text() const { return text_; }

 private:
  // The number of the record, or O for the origin.
  std::string Name(const CorePathPoint* record) const {
    for (std::size_t i = 0; i < records_.size(); ++i) {
      if (record == records_.data() + i) return std::to_string(i);
    }
    EXPECT_EQ(record->x, 0);
    EXPECT_EQ(record->y, 0);
    return "O";
  }
  bool Note(const std::string& segment) {
    text_ += (text_.empty() ? "" : " ") + segment;
    return --left_ == 0;
  }

  const std::vector<CorePathPoint>& records_;
  int left_;
  std::string text_;
};

struct Case {
  std::string
      records;  // M, L, Q, C and A begin an operation, . is another of its records, + closes the one before
  std::string segments;
};

const std::map<char, std::uint32_t> kFlags = {{'M', kCorePathMove},
                                              {'L', kCorePathLine},
                                              {'Q', kCorePathQuad},
                                              {'C', kCorePathCubic},
                                              {'A', kCorePathArc}};

std::vector<CorePathPoint> RecordsOf(const std::string& letters) {
  std::vector<CorePathPoint> records;
  for (const char letter : letters) {
    if (letter == '+') {
      records.back().flags |= kCorePathClose;
      continue;
    }
    const auto found = kFlags.find(letter);
    const auto place = static_cast<float>(records.size() + 1);
    records.push_back({place, -place, found == kFlags.end() ? 0U : found->second});
  }
  return records;
}

const Case kCases[] = {
    {"", ""},
    {"M", ""},
    {"M+", "Z00"},
    {"ML", "L01"},
    {"MLL", "L01 L12"},
    {"ML+", "L01 Z10"},
    {"MLL+L", "L01 L12 Z20 L23"},
    {"MLML+", "L01 L23 Z32"},
    {"L", ""},
    {"L+", "Z0O"},
    {"LL", "L01"},
    {"LL+", "L01 Z1O"},
    {"MQ.", "Q0"},
    {"MQ.L", "Q0 L23"},
    {"MQ.+", "Q0 Z20"},
    {"MQ+.", "Q0"},
    {"MQ", ""},
    {"MQ+", "Z10"},
    {"Q.", ""},
    {"MC..", "C0"},
    {"MC..L", "C0 L34"},
    {"MC..+", "C0 Z30"},
    {"MC.", ""},
    {"MC.L", "C0"},
    {"MC", ""},
    {"MC+", "Z10"},
    {"MC+.", "Z10"},
    {"MA...", "A0"},
    {"MA...L", "A0 L45"},
    {"MA...+", "A0 Z40"},
    {"MA..", ""},
    {"MA.", ""},
    {"MA", ""},
    {"MA+", "Z10"},
    {"M.L", "L12"},
    {"M.+", "Z10"},
    {"MLQ.C..A...L+", "L01 Q1 C3 A6 L1011 Z110"},
};

TEST(WalkPath, SegmentsComeInOrderWithTheirRecords) {
  for (const Case& c : kCases) {
    const std::vector<CorePathPoint> records = RecordsOf(c.records);
    Scribe scribe(records, INT_MAX);
    EXPECT_FALSE(CoreWalkPath(records.data(), static_cast<int>(records.size()), scribe)) << c.records;
    EXPECT_EQ(scribe.Text(), c.segments) << c.records;
  }
}

TEST(WalkPath, EndsWhereTheVisitorSaysSo) {
  for (const Case& c : kCases) {
    const std::vector<CorePathPoint> records = RecordsOf(c.records);
    int count = 0;
    for (std::size_t at = 0; at < c.segments.size(); at = c.segments.find(' ', at + 1)) {
      Scribe scribe(records, ++count);
      EXPECT_TRUE(CoreWalkPath(records.data(), static_cast<int>(records.size()), scribe)) << c.records;
      EXPECT_EQ(scribe.Text(), c.segments.substr(0, c.segments.find(' ', at + 1))) << c.records;
    }
  }
}

TEST(WalkPath, OfSeveralFlagsTheFirstCounts) {
  constexpr std::uint32_t kAll[] = {kCorePathMove, kCorePathLine, kCorePathQuad, kCorePathCubic,
                                    kCorePathArc};
  const char* const segments[] = {"", "L01", "Q0", "C0", "A0"};
  for (std::size_t first = 0; first < 5; ++first) {
    std::vector<CorePathPoint> records = RecordsOf("M....");
    for (std::size_t i = first; i < 5; ++i) records[1].flags |= kAll[i];
    records[1].flags |= 0x1 | 0x4 | 0x80000000U;
    Scribe scribe(records, INT_MAX);
    EXPECT_FALSE(CoreWalkPath(records.data(), 5, scribe));
    EXPECT_EQ(scribe.Text(), segments[first]);
  }
}

}  // namespace
