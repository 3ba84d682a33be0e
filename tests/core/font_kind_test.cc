// SPDX-License-Identifier: MIT
#include "font/font_kind.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace {

using tovmx::FontKind;
using tovmx::FontRegion;
using tovmx::FontStyle;

constexpr FontStyle kStyles[] = {FontStyle::kPlain, FontStyle::kSerif, FontStyle::kSans,
                                 FontStyle::kMono,  FontStyle::kKai,   FontStyle::kFangSong};
constexpr FontRegion kRegions[] = {FontRegion::kNone, FontRegion::kSimplified, FontRegion::kTraditional,
                                   FontRegion::kJapanese, FontRegion::kKorean};

TEST(FontKind, NothingIsCloserThanTheSameAndStyleCountsBeforeRegion) {
  for (const FontStyle style : kStyles) {
    for (const FontRegion region : kRegions) {
      const FontKind wanted{style, region};
      for (const FontStyle other : kStyles) {
        for (const FontRegion elsewhere : kRegions) {
          const FontKind candidate{other, elsewhere};
          const int affinity = tovmx::KindAffinity(wanted, candidate);
          const bool same = other == style && elsewhere == region;
          const int best = tovmx::KindAffinity(wanted, wanted);
          EXPECT_TRUE(same ? affinity == best : affinity < best);
          const int inThatRegion = tovmx::KindAffinity(wanted, {style, elsewhere});
          EXPECT_TRUE(other == style || affinity < inThatRegion) << "a step of style outweighs every region";
        }
      }
    }
  }
}

// From the closest to the furthest; those in one text are equally close.
TEST(FontKind, EachStyleHasItsOrderOfReplacements) {
  const auto nameOf = [](FontStyle style) { return "PSsMKF"[static_cast<int>(style)]; };
  const struct {
    FontStyle wanted;
    const char* order;
  } rows[] = {{FontStyle::kFangSong, "F > S > K > PsM"}, {FontStyle::kKai, "K > F > S > PsM"},
              {FontStyle::kSerif, "S > F > K > P > sM"}, {FontStyle::kSans, "s > PM > SKF"},
              {FontStyle::kPlain, "P > M > SsKF"},       {FontStyle::kMono, "M > P > SsKF"}};
  for (const auto& row : rows) {
    std::string order;
    for (int affinity = tovmx::KindAffinity({row.wanted}, {row.wanted}); affinity >= 0; --affinity) {
      std::string equals;
      for (const FontStyle style : kStyles) {
        if (tovmx::KindAffinity({row.wanted}, {style}) == affinity) equals += nameOf(style);
      }
      if (!equals.empty()) order += (order.empty() ? "" : " > ") + equals;
    }
    EXPECT_EQ(order, row.order);
  }
}

// Ranks written out: the wanted region, one without a name, the simplified, any other.
TEST(FontKind, OfTwoCandidatesTheBetterStyleWinsAndOfEqualStylesTheBetterRegion) {
  // By FontStyle; equals stand together.
  const std::string orders[] = {"P M SsKF", "S F K P sM", "s PM SKF", "M P SsKF", "K F S PsM", "F S K PsM"};
  const auto styleRank = [&orders](FontStyle wanted, FontStyle style) {
    const std::string& order = orders[static_cast<int>(wanted)];
    const auto place = static_cast<std::ptrdiff_t>(order.find("PSsMKF"[static_cast<int>(style)]));
    return std::count(order.begin(), order.begin() + place, ' ');
  };
  const auto regionRank = [](FontRegion wanted, FontRegion region) {
    if (region == wanted) return 0;
    return region == FontRegion::kNone ? 1 : region == FontRegion::kSimplified ? 2 : 3;
  };
  for (const FontStyle style : kStyles) {
    for (const FontRegion region : kRegions) {
      const FontKind wanted{style, region};
      for (int pair = 0; pair < 900; ++pair) {
        const FontKind a{kStyles[pair % 6], kRegions[pair / 6 % 5]};
        const FontKind b{kStyles[pair / 30 % 6], kRegions[pair / 180]};
        const auto ranks = [&](const FontKind& kind) {
          return std::pair(styleRank(style, kind.style), regionRank(region, kind.region));
        };
        const bool isBetter = ranks(a) < ranks(b);
        ASSERT_EQ(tovmx::KindAffinity(wanted, a) > tovmx::KindAffinity(wanted, b), isBetter)
            << static_cast<int>(style) << ' ' << static_cast<int>(region) << ' ' << pair;
      }
    }
  }
}

TEST(FontKind, NamesTellStyleAndRegion) {
  const struct {
    const char* name;
    FontStyle style;
    FontRegion region;
  } rows[] = {{"SimSun", FontStyle::kSerif, FontRegion::kSimplified},
              {"Noto Sans CJK KR", FontStyle::kSans, FontRegion::kKorean},
              {"Noto_Serif-CJK JP", FontStyle::kSerif, FontRegion::kJapanese},
              {"MingLiU CN", FontStyle::kSerif, FontRegion::kSimplified},
              {"KR", FontStyle::kPlain, FontRegion::kNone},  // an ending of nothing
              {"", FontStyle::kPlain, FontRegion::kNone}};
  for (const auto& row : rows) {
    const FontKind kind = tovmx::ClassifyFamily(tovmx::FoldFamilyName(row.name));
    EXPECT_EQ(kind.style, row.style) << row.name;
    EXPECT_EQ(kind.region, row.region) << row.name;
  }
}

TEST(FontKind, EveryStyleAndRegionHasAFamilyAndALanguage) {
  const char* families[] = {"sans-serif", "serif", "sans-serif", "monospace", "serif", "serif"};
  const char* languages[] = {"zh-cn", "zh-cn", "zh-tw", "ja", "ko"};
  for (std::size_t i = 0; i < std::size(kStyles); ++i)
    EXPECT_STREQ(tovmx::GenericFamily(kStyles[i]), families[i]);
  for (std::size_t i = 0; i < std::size(kRegions); ++i)
    EXPECT_STREQ(tovmx::RegionLanguage(kRegions[i]), languages[i]);
}

}  // namespace
