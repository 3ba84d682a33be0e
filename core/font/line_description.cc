// SPDX-License-Identifier: MIT
// CoreFontLoader::DescribeText: the shaped line, told in the characters that it was made of.
//
// Asking fontconfig for names and walking the text again takes longer than shaping, so what is told of a line
// of a few runs is kept with it, at kReferenceSize. Whoever asks for no runs, only for extents and what is
// missing, pays for neither.
#include "font/font_request.h"
#include "font/line_extents.h"
#include "font/line_text.h"
#include "font/text_shaper.h"

#include <glib.h>
#include <pango/pangofc-font.h>

#include <algorithm>
#include <cwchar>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tovmx {

namespace {

// The characters behind the bytes of a line's drawable text, which is walked when the first one is asked for.
class Characters {
 public:
  Characters(const wchar_t* characters, int count) : characters_(characters), count_(count) {}

  // The position of the character that the byte belongs to.
  int PositionOf(std::size_t byte) {
    if (sourceAt_.empty()) Walk();
    return sourceAt_[byte];
  }

 private:
  void Walk() {
    std::vector<int> sources;
    const std::string text = DrawableText(characters_, count_, &sources);
    sourceAt_.resize(text.size());
    std::size_t next = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
      if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80) ++next;
      sourceAt_[i] = sources[next - 1];
    }
  }

  const wchar_t* characters_;
  int count_;
  std::vector<int> sourceAt_;
};

const char* TextOf(const FcPattern* pattern, const char* object, int n) {
  FcChar8* text = nullptr;
  if (FcPatternGetString(pattern, object, n, &text) != FcResultMatch) return nullptr;
  return reinterpret_cast<const char*>(text);
}

// The English one of a font's names, else the first.
const char* NameOf(const FcPattern* pattern, const char* object, const char* language) {
  for (int n = 0; const char* name = TextOf(pattern, object, n); ++n) {
    const char* const ofName = TextOf(pattern, language, n);
    if (ofName != nullptr && std::string_view(ofName) == "en") return name;
  }
  const char* const first = TextOf(pattern, object, 0);
  return first == nullptr ? "" : first;
}

bool HasFamily(const FcPattern* pattern, const std::string& family) {
  for (int n = 0; const char* name = TextOf(pattern, FC_FAMILY, n); ++n) {
    if (family == name) return true;
  }
  return false;
}

void DescribeFont(PangoFont* font, const CoreFontRequest& request, const FontChoice& choice,
                  CoreTextRun& run) {
  if (!PANGO_IS_FC_FONT(font)) return;
  const FcPattern* pattern = pango_fc_font_get_pattern(PANGO_FC_FONT(font));
  run.family = NameOf(pattern, FC_FAMILY, FC_FAMILYLANG);
  run.style = NameOf(pattern, FC_STYLE, FC_STYLELANG);
  const char* const file = TextOf(pattern, FC_FILE, 0);
  run.file = file == nullptr ? "" : file;
  // The upper half counts the named instances of a variable font.
  if (FcPatternGetInteger(pattern, FC_INDEX, 0, &run.face) == FcResultMatch) run.face &= 0xFFFF;
  run.substituted =
      !request.family.IsEmpty() && (choice.substituted || !HasFamily(pattern, choice.actualFamily));
}

CoreString ScriptTag(int script) {
  const guint32 tag = g_unicode_script_to_iso15924(static_cast<GUnicodeScript>(script));
  char text[5] = {};
  for (int i = 0; i < 4; ++i) text[i] = static_cast<char>(tag >> (24 - 8 * i) & 0xFF);
  return tag == 0 ? CoreString("Zzzz") : CoreString(text);
}

CoreTextRun DescribeRun(const GlyphRun& run, Characters& characters) {
  CoreTextRun result;
  result.first = characters.PositionOf(run.offset);
  result.count = characters.PositionOf(run.offset + run.text.size() - 1) - result.first + 1;
  result.script = ScriptTag(run.script);
  result.rightToLeft = run.backward;
  return result;
}

bool HoldsGlyph(PangoFont* font, char32_t character) {
  hb_codepoint_t glyph = 0;
  return hb_font_get_nominal_glyph(pango_font_get_hb_font(font), character, &glyph) != 0;
}

// What has no glyph of its own in most fonts and needs none: joiners, marks of direction, variation
// selectors.
bool IsInvisible(gunichar c) {
  return g_unichar_type(c) == G_UNICODE_FORMAT || (c >= 0xFE00 && c <= 0xFE0F) ||
         (c >= 0xE0100 && c <= 0xE01EF);
}

// The characters of a cluster that shows a box: those that the font lacks, else its first.
void AddMissing(const GlyphRun& run, std::size_t from, std::size_t length, Characters& characters,
                std::vector<CoreMissingCharacter>& missing) {
  const std::size_t before = missing.size();
  const char* const text = run.text.c_str();
  const auto add = [&](const char* at) {
    const int position = characters.PositionOf(run.offset + static_cast<std::size_t>(at - text));
    missing.push_back({position, static_cast<char32_t>(g_utf8_get_char(at))});
  };
  for (const char* at = text + from; at < text + from + length; at = g_utf8_next_char(at)) {
    const gunichar c = g_utf8_get_char(at);
    if (!HoldsGlyph(run.face.get(), c) && !IsInvisible(c)) add(at);
  }
  if (missing.size() == before) add(text + from);
}

// Glyph 0 is a font's box. Clusters stand in the order of reading, glyphs from left to right.
void FindMissing(const GlyphRun& run, Characters& characters, std::vector<CoreMissingCharacter>& missing) {
  std::size_t from = 0;
  std::size_t glyph = 0;
  for (const cairo_text_cluster_t& cluster : run.clusters) {
    bool isBox = false;
    for (int i = 0; i < cluster.num_glyphs; ++i, ++glyph) {
      isBox |= run.glyphs[run.backward ? run.glyphs.size() - 1 - glyph : glyph].index == 0;
    }
    const auto length = static_cast<std::size_t>(cluster.num_bytes);
    if (isBox) AddMissing(run, from, length, characters, missing);
    from += length;
  }
}

// What is kept of a line, and of the others as much as is asked for.
constexpr int kMostKeptRuns = 16;

// Everything but the places, which depend on the size.
CoreTextDescription Tell(const ShapedLine& line, const CoreFontRequest& request, const FontChoice& choice,
                         Characters& characters, int maxRuns) {
  CoreTextDescription told;
  told.runCount = static_cast<int>(line.runs.size());
  for (const GlyphRun& run : line.runs) {
    if (static_cast<int>(told.runs.size()) < maxRuns) {
      told.runs.push_back(DescribeRun(run, characters));
      DescribeFont(run.face.get(), request, choice, told.runs.back());
    }
    FindMissing(run, characters, told.missing);
  }
  const auto isBefore = [](const CoreMissingCharacter& a, const CoreMissingCharacter& b) {
    return a.position < b.position;
  };
  std::sort(told.missing.begin(), told.missing.end(), isBefore);
  return told;
}

}  // namespace

}  // namespace tovmx

bool CoreFontLoader::DescribeText(const wchar_t* characters, int count, float pixelSize, int maxRuns,
                                  CoreTextDescription& description) const {
  // A copy, and before the line, which lives until the shaper is asked again.
  const tovmx::FontChoice choice = tovmx::TextShaper::ForThisThread().Resolve(*request_);
  const tovmx::ShapedLine* line =
      tovmx::TextShaper::ForThisThread().Shape(*request_, characters, count, pixelSize);
  if (line == nullptr) return false;

  const auto tell = [&](int most) {
    const int length = count < 0 ? static_cast<int>(std::wcslen(characters)) : count;
    tovmx::Characters sources(characters, length);
    return tovmx::Tell(*line, *request_, choice, sources, most);
  };
  if (maxRuns > 0 && line->runs.size() <= tovmx::kMostKeptRuns && !line->told) {
    line->told = std::make_unique<const CoreTextDescription>(tell(tovmx::kMostKeptRuns));
  }
  const bool isKept = line->told != nullptr;
  CoreTextDescription found = isKept ? *line->told : tell(maxRuns);
  found.extents = tovmx::ExtentsOf(*line, pixelSize);
  const double scale = double{pixelSize} / tovmx::kReferenceSize;
  found.runs.resize(std::min(found.runs.size(), static_cast<std::size_t>(std::max(maxRuns, 0))));
  for (std::size_t i = 0; i < found.runs.size(); ++i) {
    found.runs[i].left = static_cast<float>(line->runs[i].left * scale);
    found.runs[i].right = static_cast<float>(line->runs[i].right * scale);
  }
  description = std::move(found);
  return true;
}
