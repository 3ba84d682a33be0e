// SPDX-License-Identifier: MIT
// A family is found by three names in turn: its own, a full or PostScript name, and then its kind. Fontconfig
// would answer every question itself, but it knows no kinds and takes far longer for each answer. Its fonts
// are listed once, and later questions are asked of tables.
#include "font/font_catalog.h"

#include "tovmx/text_codec.h"

#include <algorithm>

namespace tovmx {

namespace {

// Drawing that is the same everywhere: outlines only, no hinting, no color fringes, whatever the machine's
// own settings are.
constexpr char kRendering[] = R"(<?xml version="1.0"?><!DOCTYPE fontconfig SYSTEM "urn:fontconfig:fonts.dtd">
<fontconfig><match target="font">
<edit name="embeddedbitmap" mode="assign"><bool>false</bool></edit>
<edit name="antialias" mode="assign"><bool>true</bool></edit>
<edit name="hinting" mode="assign"><bool>false</bool></edit>
<edit name="hintstyle" mode="assign"><const>hintnone</const></edit>
<edit name="autohint" mode="assign"><bool>false</bool></edit>
<edit name="rgba" mode="assign"><const>none</const></edit>
</match></fontconfig>)";

// No installed name is longer; what lies beyond is not looked at.
constexpr int kMaxNameLength = 256;

std::string Utf8Of(const CoreWideString& text) {
  const int length = std::min(text.GetLength(), kMaxNameLength);
  return CoreTextCodec::Utf8Encode(text.GetData(), length).c_str();
}

const char* TextOf(const FcPattern* font, const char* object, int n) {
  FcChar8* text = nullptr;
  if (FcPatternGetString(font, object, n, &text) != FcResultMatch) return nullptr;
  return reinterpret_cast<const char*>(text);
}

// Pango reads a comma as the end of a name.
bool IsListable(std::string_view name) { return !name.empty() && name.find(',') == std::string_view::npos; }

unsigned RegionsOf(const FcPattern* font) {
  FcLangSet* languages = nullptr;
  if (FcPatternGetLangSet(font, FC_LANG, 0, &languages) != FcResultMatch) return 0;
  unsigned regions = 0;
  for (const FontRegion region :
       {FontRegion::kSimplified, FontRegion::kTraditional, FontRegion::kJapanese, FontRegion::kKorean}) {
    const auto* language = reinterpret_cast<const FcChar8*>(RegionLanguage(region));
    if (FcLangSetHasLang(languages, language) == FcLangEqual) regions |= 1U << static_cast<unsigned>(region);
  }
  return regions;
}

int FontconfigWeight(int weight) { return FcWeightFromOpenType(std::clamp(weight, 1, 1000)); }

}  // namespace

FontCatalog::FontCatalog(bool system, const std::vector<std::string>& files)
    : config_(system ? FcInitLoadConfigAndFonts() : FcInitLoadConfig()) {
  if (config_ == nullptr) return;
  FcConfigParseAndLoadFromMemory(config_.get(), reinterpret_cast<const FcChar8*>(kRendering), FcTrue);
  for (const std::string& file : files) {
    FcConfigAppFontAddFile(config_.get(), reinterpret_cast<const FcChar8*>(file.c_str()));
  }
  Index(FcConfigGetFonts(config_.get(), FcSetApplication));
  if (system) Index(FcConfigGetFonts(config_.get(), FcSetSystem));
}

void FontCatalog::Index(const FcFontSet* fonts) {
  if (fonts == nullptr) return;
  for (int i = 0; i < fonts->nfont; ++i) {
    const FcPattern* font = fonts->fonts[i];
    const char* name = TextOf(font, FC_FAMILY, 0);
    if (name == nullptr || !IsListable(name)) continue;
    const std::string folded = FoldFamilyName(name);
    const auto [known, added] = byName_.try_emplace(folded, families_.size());
    if (added) families_.push_back({name, ClassifyFamily(folded), RegionsOf(font)});
    const std::size_t index = known->second;
    for (int n = 1; const char* other = TextOf(font, FC_FAMILY, n); ++n) {
      byName_.try_emplace(FoldFamilyName(other), index);
    }
    for (const char* object : {FC_FULLNAME, FC_POSTSCRIPT_NAME}) {
      for (int n = 0; const char* other = TextOf(font, object, n); ++n) {
        byFullName_.try_emplace(FoldFamilyName(other), index);
      }
    }
  }
}

const FontCatalog::Family* FontCatalog::Find(const CoreFontRequest& request) const {
  if (const auto found = byName_.find(FoldFamilyName(Utf8Of(request.family))); found != byName_.end()) {
    return &families_[found->second];
  }
  if (const auto found = byFullName_.find(FoldFamilyName(Utf8Of(request.face))); found != byFullName_.end()) {
    return &families_[found->second];
  }
  return nullptr;
}

// The family nearest in style among those with the characters of the wanted region, or of another region when
// there are none; null when there is nothing at all for those scripts.
const FontCatalog::Family* FontCatalog::ClosestFor(const FontKind& wanted) const {
  const auto fits = [&wanted](const Family& family) {
    const bool itsOwn = (family.regions >> static_cast<unsigned>(wanted.region) & 1U) != 0;
    return (itsOwn ? 1000 : 0) + KindAffinity(wanted, family.kind);
  };
  const Family* closest = nullptr;
  for (const Family& family : families_) {
    if (family.regions == 0) continue;
    if (closest == nullptr || fits(family) > fits(*closest) ||
        (fits(family) == fits(*closest) && family.name < closest->name)) {
      closest = &family;
    }
  }
  return closest;
}

// What fontconfig puts in the place of a family; it knows which families share their metrics.
const FontCatalog::Family* FontCatalog::MatchByFontconfig(const std::string& name,
                                                          const CoreFontRequest& request,
                                                          FontStyle style) const {
  const FcPatternPtr pattern(FcPatternCreate());
  if (!name.empty()) {
    FcPatternAddString(pattern.get(), FC_FAMILY, reinterpret_cast<const FcChar8*>(name.c_str()));
  }
  FcPatternAddString(pattern.get(), FC_FAMILY, reinterpret_cast<const FcChar8*>(GenericFamily(style)));
  FcPatternAddString(pattern.get(), FC_LANG, reinterpret_cast<const FcChar8*>("en"));
  FcPatternAddInteger(pattern.get(), FC_WEIGHT, FontconfigWeight(request.weight));
  FcPatternAddInteger(pattern.get(), FC_SLANT, request.italic ? FC_SLANT_ITALIC : FC_SLANT_ROMAN);
  FcConfigSubstitute(config_.get(), pattern.get(), FcMatchPattern);
  FcDefaultSubstitute(pattern.get());
  FcResult result = FcResultMatch;
  const FcPatternPtr match(FcFontMatch(config_.get(), pattern.get(), &result));
  if (match == nullptr) return nullptr;
  const char* family = TextOf(match.get(), FC_FAMILY, 0);
  const auto found = byName_.find(family == nullptr ? std::string() : FoldFamilyName(family));
  return found == byName_.end() ? nullptr : &families_[found->second];
}

std::vector<std::string> FontCatalog::Families() const {
  std::vector<std::string> names;
  for (const Family& family : families_) names.push_back(family.name);
  std::sort(names.begin(), names.end());
  return names;
}

FontChoice FontCatalog::Choose(const CoreFontRequest& request) const {
  if (families_.empty()) return {};
  FontChoice choice;
  const std::string name = Utf8Of(request.family);
  FontKind kind = ClassifyFamily(FoldFamilyName(name));
  const Family* chosen = Find(request);
  choice.substituted = chosen == nullptr && !name.empty();
  if (chosen != nullptr && kind.region == FontRegion::kNone) kind.region = chosen->kind.region;
  choice.language = RegionLanguage(kind.region);
  if (chosen == nullptr && kind.region != FontRegion::kNone) chosen = ClosestFor(kind);

  const Family* latin = MatchByFontconfig(chosen == nullptr ? name : std::string(), request, kind.style);
  if (chosen == nullptr) chosen = latin != nullptr ? latin : families_.data();
  if (kind.region == FontRegion::kNone) kind.region = FontRegion::kSimplified;
  const Family* chinese = ClosestFor(kind);

  choice.actualFamily = choice.families = chosen->name;
  for (const Family* next : {latin, chinese}) {
    if (next != nullptr && next != chosen) choice.families += "," + next->name;
  }
  return choice;
}

}  // namespace tovmx
