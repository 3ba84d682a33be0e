// SPDX-License-Identifier: MIT
// A table of parts of names. Fontconfig knows the kind of a font only when the font is installed, and the
// one that is looked for is not.
#include "font/font_kind.h"

#include <algorithm>
#include <array>

namespace tovmx {

namespace {

using enum FontStyle;
using enum FontRegion;

struct NameRule {
  std::string_view part;
  FontStyle style;
  FontRegion region;
};

// The first rule whose part occurs in the folded name decides the style, and the first with a region decides
// the region. Families that carry their kind in no common word come before the words.
constexpr NameRule kRules[] = {
    // Simplified Chinese.
    {"fangsong", kFangSong, kSimplified},
    {"仿宋", kFangSong, kSimplified},
    {"simsun", kSerif, kSimplified},
    {"宋体", kSerif, kSimplified},
    {"stsong", kSerif, kSimplified},
    {"songti", kSerif, kSimplified},
    {"stzhongsong", kSerif, kSimplified},
    {"中宋", kSerif, kSimplified},
    {"simhei", kSans, kSimplified},
    {"黑体", kSans, kSimplified},
    {"stheiti", kSans, kSimplified},
    {"heiti", kSans, kSimplified},
    {"yahei", kSans, kSimplified},
    {"雅黑", kSans, kSimplified},
    {"dengxian", kSans, kSimplified},
    {"等线", kSans, kSimplified},
    {"pingfang", kSans, kSimplified},
    {"wenquanyi", kSans, kSimplified},
    {"simkai", kKai, kSimplified},
    {"kaiti", kKai, kSimplified},
    {"stkaiti", kKai, kSimplified},
    {"楷", kKai, kSimplified},
    {"ukai", kKai, kSimplified},
    {"隶书", kKai, kSimplified},
    // Traditional Chinese.
    {"mingliu", kSerif, kTraditional},
    {"明體", kSerif, kTraditional},
    {"jhenghei", kSans, kTraditional},
    {"正黑", kSans, kTraditional},
    {"dfkai", kKai, kTraditional},
    {"標楷", kKai, kTraditional},
    // Japanese.
    {"mincho", kSerif, kJapanese},
    {"明朝", kSerif, kJapanese},
    {"msgothic", kSans, kJapanese},
    {"mspgothic", kSans, kJapanese},
    {"yugothic", kSans, kJapanese},
    {"meiryo", kSans, kJapanese},
    {"ゴシック", kSans, kJapanese},
    {"ipagothic", kSans, kJapanese},
    // Korean.
    {"batang", kSerif, kKorean},
    {"바탕", kSerif, kKorean},
    {"myungjo", kSerif, kKorean},
    {"gulim", kSans, kKorean},
    {"dotum", kSans, kKorean},
    {"malgun", kSans, kKorean},
    {"nanumgothic", kSans, kKorean},
    // Regions that families put into their names.
    {"umingcn", kSerif, kSimplified},
    {"uming", kSerif, kTraditional},
    {"sungti", kSerif, kSimplified},
    // Latin families that say nothing of their kind.
    {"centurygothic", kSans, kNone},
    {"times", kSerif, kNone},
    {"georgia", kSerif, kNone},
    {"garamond", kSerif, kNone},
    {"palatino", kSerif, kNone},
    {"cambria", kSerif, kNone},
    {"bookman", kSerif, kNone},
    {"century", kSerif, kNone},
    {"courier", kMono, kNone},
    {"consolas", kMono, kNone},
    {"menlo", kMono, kNone},
    {"arial", kSans, kNone},
    {"helvetica", kSans, kNone},
    {"verdana", kSans, kNone},
    {"tahoma", kSans, kNone},
    {"calibri", kSans, kNone},
    {"segoe", kSans, kNone},
    // Words for a kind; "sans" before "serif", which it is often followed by.
    {"mono", kMono, kNone},
    {"typewriter", kMono, kNone},
    {"console", kMono, kNone},
    {"sans", kSans, kNone},
    {"gothic", kSans, kNone},
    {"hei", kSans, kNone},
    {"黑", kSans, kNone},
    {"serif", kSerif, kNone},
    {"roman", kSerif, kNone},
    {"ming", kSerif, kNone},
    {"song", kSerif, kNone},
    {"sung", kSerif, kNone},
    {"宋", kSerif, kNone},
    {"明", kSerif, kNone},
    {"kai", kKai, kNone},
};

struct RegionRule {
  std::string_view ending;
  FontRegion region;
};

constexpr RegionRule kRegionEndings[] = {
    {"cjksc", kSimplified}, {"hanssc", kSimplified}, {"sc", kSimplified},      {"cn", kSimplified},
    {"gb", kSimplified},    {"gb2312", kSimplified}, {"gb18030", kSimplified}, {"cjktc", kTraditional},
    {"tc", kTraditional},   {"tw", kTraditional},    {"hk", kTraditional},     {"big5", kTraditional},
    {"cjkjp", kJapanese},   {"jp", kJapanese},       {"cjkkr", kKorean},       {"kr", kKorean},
};

// How well the second style stands in for the first. A serif is nearer to the brush styles than any sans.
int StyleAffinity(FontStyle wanted, FontStyle candidate) {
  if (wanted == candidate) return 6;
  if (wanted == kFangSong) return candidate == kSerif ? 5 : candidate == kKai ? 4 : 1;
  if (wanted == kKai) return candidate == kFangSong ? 5 : candidate == kSerif ? 4 : 1;
  if (wanted == kSerif)
    return candidate == kFangSong ? 5 : candidate == kKai ? 3 : candidate == kPlain ? 2 : 1;
  return candidate == kPlain || candidate == kMono ? 2 : 1;
}

}  // namespace

std::string FoldFamilyName(std::string_view utf8) {
  std::string folded;
  folded.reserve(utf8.size());
  for (const char c : utf8) {
    if (c == ' ' || c == '-' || c == '_') continue;
    folded += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return folded;
}

FontKind ClassifyFamily(std::string_view folded) {
  FontKind kind;
  for (const NameRule& rule : kRules) {
    if (folded.find(rule.part) == std::string_view::npos) continue;
    if (kind.style == kPlain) kind.style = rule.style;
    if (kind.region == kNone) kind.region = rule.region;
    if (kind.region != kNone) break;
  }
  for (const RegionRule& rule : kRegionEndings) {
    // An ending overrules a word: "MingLiU CN" would be made for the readers of its ending.
    if (folded.ends_with(rule.ending) && folded.size() > rule.ending.size()) kind.region = rule.region;
  }
  return kind;
}

const char* GenericFamily(FontStyle style) {
  switch (style) {
    case kSerif:
    case kKai:
    case kFangSong:
      return "serif";
    case kMono:
      return "monospace";
    default:
      return "sans-serif";
  }
}

const char* RegionLanguage(FontRegion region) {
  switch (region) {
    case kTraditional:
      return "zh-tw";
    case kJapanese:
      return "ja";
    case kKorean:
      return "ko";
    default:
      return "zh-cn";
  }
}

int KindAffinity(const FontKind& wanted, const FontKind& candidate) {
  // A step of style outweighs every difference of region.
  const int region = wanted.region == candidate.region ? 3
                     : candidate.region == kNone       ? 2
                     : candidate.region == kSimplified ? 1
                                                       : 0;
  return 4 * StyleAffinity(wanted.style, candidate.style) + region;
}

}  // namespace tovmx
