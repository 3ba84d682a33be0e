// SPDX-License-Identifier: MIT
// Every match that is found beside all that there are.
#include "codec/match_finder.h"

#include "deflate_support.h"

#include <memory>

namespace {

using tests::Data;
using tests::Random;
using tovmx::FoundMatch;

constexpr int kAllPlaces = 1 << 20;

std::size_t Equal(const Data& data, std::size_t from, std::size_t place) {
  std::size_t length = 0;
  while (length < tovmx::kLongestMatch && place + length < data.size() &&
         data[from + length] == data[place + length])
    ++length;
  return length;
}

std::size_t LongestOfAll(const Data& data, std::size_t place) {
  std::size_t longest = 0;
  for (std::size_t from = place > tovmx::kFarthestMatch ? place - tovmx::kFarthestMatch : 0; from < place;
       ++from)
    longest = std::max(longest, Equal(data, from, place));
  return longest;
}

Data Words(std::size_t size, unsigned seed, unsigned values) {
  Data data;
  Random random(seed);
  while (data.size() < size) {
    if (data.size() > 50 && random.Below(3) == 0) {
      const std::size_t from = random.Below(static_cast<unsigned>(data.size()) - 40);
      const std::size_t length = 1 + random.Below(40);
      for (std::size_t i = 0; i < length; ++i) data.push_back(data[from + i]);
    } else {
      data.push_back(static_cast<std::uint8_t>(random.Below(values)));
    }
  }
  data.resize(size);
  return data;
}

TEST(MatchFinder, FindsTheLongestOfAllWhereItLooksAtAll) {
  for (const unsigned values : {1U, 2U, 5U, 256U}) {
    const Data data = Words(3000, values, values);
    const auto finder = std::make_unique<tovmx::MatchFinder>();
    for (std::size_t place = 0; place < data.size(); ++place) {
      FoundMatch match{2, 0};
      finder->Find(data.data(), data.size(), place, kAllPlaces, tovmx::kLongestMatch, match);
      if (match.distance != 0) {
        ASSERT_LE(match.distance, place);
        ASSERT_EQ(Equal(data, place - match.distance, place), match.length) << place;
      }
      const std::size_t longest = LongestOfAll(data, place);
      if (longest >= 4) {
        ASSERT_EQ(match.length, longest) << place << ' ' << values;
      }
    }
  }
}

TEST(MatchFinder, ThreeBytesAreFoundAtTheirLastPlace) {
  const Data data = {9, 1, 2, 3, 8, 1, 2, 3, 7, 1, 2, 3, 6, 0};
  tovmx::MatchFinder finder;
  for (std::size_t place = 0; place < 9; ++place) finder.Insert(data.data(), data.size(), place);
  FoundMatch match{2, 0};
  finder.Find(data.data(), data.size(), 9, kAllPlaces, 258, match);
  EXPECT_EQ(match.length, 3u);
  EXPECT_EQ(match.distance, 4u);
  FoundMatch nothing{3, 0};
  finder.Find(data.data(), data.size(), 9, kAllPlaces, 258, nothing);
  EXPECT_EQ(nothing.distance, 0u) << "no longer than what is there";
}

TEST(MatchFinder, NothingIsFoundFartherThanAStreamReaches) {
  for (const std::size_t between :
       {tovmx::kFarthestMatch - 1, tovmx::kFarthestMatch, tovmx::kFarthestMatch + 1}) {
    for (const std::size_t length : {3U, 20U}) {
      Data data(between + 100);
      Random random(5);
      for (std::uint8_t& byte : data) byte = static_cast<std::uint8_t>(random.Below(100));
      for (std::size_t i = 0; i < length; ++i)
        data[i] = data[between + i] = static_cast<std::uint8_t>(200 + i);
      data[length] = 150;
      const auto finder = std::make_unique<tovmx::MatchFinder>();
      for (std::size_t place = 0; place < between; ++place) finder->Insert(data.data(), data.size(), place);
      FoundMatch match{2, 0};
      finder->Find(data.data(), data.size(), between, kAllPlaces, 258, match);
      EXPECT_EQ(match.distance, between <= tovmx::kFarthestMatch ? between : 0) << length;
      EXPECT_EQ(match.length, between <= tovmx::kFarthestMatch ? length : 2) << length;
    }
  }
}

TEST(MatchFinder, LooksAtSoManyPlacesAndNotBeyondWhatIsEnough) {
  //                  the best                the second            the nearest
  const Data data = {1, 2, 3, 4, 5, 6,  7, 90, 1, 2, 3, 4, 5, 6, 91,
                     1, 2, 3, 4, 5, 92, 1, 2,  3, 4, 5, 6, 7, 8};
  const auto found = [&](int places, std::size_t enough) {
    const auto finder = std::make_unique<tovmx::MatchFinder>();
    for (std::size_t place = 0; place < 21; ++place) finder->Insert(data.data(), data.size(), place);
    FoundMatch match{2, 0};
    finder->Find(data.data(), data.size(), 21, places, enough, match);
    return match.length;
  };
  EXPECT_EQ(found(1, 258), 5u);
  EXPECT_EQ(found(2, 258), 6u);
  EXPECT_EQ(found(3, 258), 7u);
  EXPECT_EQ(found(kAllPlaces, 5), 5u);
  EXPECT_EQ(found(kAllPlaces, 6), 6u);
}

}  // namespace
