// SPDX-License-Identifier: MIT
// FontKind: the style and the region of a font family, told from its name.
//
// Names are all that is known of a family that is not installed, so both sides of a substitution are told
// by the same table. Thread-safety: pure functions.
#pragma once

#include <string>
#include <string_view>

namespace tovmx {

// The order means nothing but kPlain, which is the style of a name that says nothing.
enum class FontStyle { kPlain, kSerif, kSans, kMono, kKai, kFangSong };

// Which Chinese, Japanese or Korean readers a family is made for; kNone for the rest of the world.
enum class FontRegion { kNone, kSimplified, kTraditional, kJapanese, kKorean };

struct FontKind {
  FontStyle style = FontStyle::kPlain;
  FontRegion region = FontRegion::kNone;
};

// Lower case for ASCII letters, without spaces, hyphens and underscores: names that differ in these are one.
std::string FoldFamilyName(std::string_view utf8);

// `folded` as FoldFamilyName returns it.
FontKind ClassifyFamily(std::string_view folded);

// The family that fontconfig knows for a style, such as "serif".
const char* GenericFamily(FontStyle style);

// The language that a region's readers write, such as "zh-cn"; Simplified Chinese for kNone, since a
// character without a region of its own is most likely one of theirs.
const char* RegionLanguage(FontRegion region);

// How close `candidate` is to `wanted`; more is closer, and the style counts before the region.
int KindAffinity(const FontKind& wanted, const FontKind& candidate);

}  // namespace tovmx
