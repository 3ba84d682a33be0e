// SPDX-License-Identifier: MIT
// Three caches, from the widest to the narrowest: fonts of a source, typefaces of a request, lines.
//
//     lines_    most recently used first       byHash_    hash of request and text -> place in lines_
//
// Of two lines with one hash the later one stays: a hash of 64 bits makes that too rare for chains. When
// the generation of the application's fonts has moved on, all three are dropped.
#include "font/text_shaper.h"

#include <pango/pangocairo.h>
#include <pango/pangofc-fontmap.h>

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cwchar>
#include <functional>
#include <utility>

namespace tovmx {

namespace {

constexpr std::size_t kMaxTypefaces = 64;
constexpr std::size_t kMaxLines = 512;
constexpr std::size_t kMaxKeptSize = 1 << 16;  // glyphs, or characters where those are more

std::size_t Mix(std::size_t hash, std::size_t value) { return (hash ^ value) * 0x9E3779B97F4A7C15u; }

std::wstring_view ViewOf(const CoreWideString& text) {
  return {text.c_str(), static_cast<std::size_t>(text.GetLength())};
}

std::size_t HashOf(const CoreFontRequest& request) {
  const std::hash<std::wstring_view> hash;
  // Each is mixed by itself: family and face are often one name, whose hashes would cancel each other out.
  std::size_t mixed = Mix(Mix(0, hash(ViewOf(request.family))), hash(ViewOf(request.face)));
  mixed = Mix(mixed, static_cast<std::size_t>(request.weight));
  return Mix(mixed, static_cast<std::size_t>(request.source) * 2 + (request.italic ? 1 : 0));
}

}  // namespace

TextShaper& TextShaper::ForThisThread() {
  thread_local TextShaper shaper;
  return shaper;
}

// Forgets everything when the application's fonts changed since the last call.
void TextShaper::DropStale() {
  const std::uint64_t now = FontGeneration();
  if (now == generation_) return;
  generation_ = now;
  ForgetAll();
}

void TextShaper::ForgetAll() {
  byHash_.clear();
  lines_.clear();
  keptSize_ = 0;
  passing_ = {};
  typefaces_.clear();
  sources_ = {};
  pictures_.Clear();
}

TextShaper::Source& TextShaper::SourceFor(int mask) {
  Source& source = sources_[static_cast<std::size_t>(mask & kCoreFontAny)];
  if (source.catalog != nullptr) return source;
  source.catalog = CatalogFor(mask);
  if (source.catalog->IsEmpty()) return source;

  source.map.reset(pango_cairo_font_map_new_for_font_type(CAIRO_FONT_TYPE_FT));
  pango_fc_font_map_set_config(PANGO_FC_FONT_MAP(source.map.get()), source.catalog->Config());
  source.context.reset(pango_font_map_create_context(source.map.get()));
  const CairoFontOptionsPtr options(cairo_font_options_create());
  cairo_font_options_set_hint_style(options.get(), CAIRO_HINT_STYLE_NONE);
  cairo_font_options_set_hint_metrics(options.get(), CAIRO_HINT_METRICS_OFF);
  cairo_font_options_set_antialias(options.get(), CAIRO_ANTIALIAS_GRAY);
  pango_cairo_context_set_font_options(source.context.get(), options.get());
  pango_context_set_round_glyph_positions(source.context.get(), FALSE);
  return source;
}

TextShaper::Typeface& TextShaper::TypefaceFor(const CoreFontRequest& request) {
  const std::size_t hash = HashOf(request);
  const auto known = typefaces_.find(hash);
  if (known != typefaces_.end() && known->second.request == request) return known->second;
  if (typefaces_.size() >= kMaxTypefaces) typefaces_.clear();

  Typeface& face = typefaces_[hash];
  face.request = request;
  face.choice = SourceFor(request.source).catalog->Choose(request);
  face.description.reset(pango_font_description_new());
  pango_font_description_set_family(face.description.get(), face.choice.families.c_str());
  pango_font_description_set_weight(face.description.get(),
                                    static_cast<PangoWeight>(std::clamp(request.weight, 1, 1000)));
  pango_font_description_set_style(face.description.get(),
                                   request.italic ? PANGO_STYLE_ITALIC : PANGO_STYLE_NORMAL);
  pango_font_description_set_absolute_size(face.description.get(), kReferenceSize * PANGO_SCALE);
  return face;
}

bool TextShaper::HasFonts(int source) {
  DropStale();
  return !SourceFor(source).catalog->IsEmpty();
}

const FontChoice& TextShaper::Resolve(const CoreFontRequest& request) {
  DropStale();
  return TypefaceFor(request).choice;
}

ShapedLine TextShaper::ShapeNow(const CoreFontRequest& request, std::wstring_view text) {
  Typeface& face = TypefaceFor(request);
  PangoContext* context = SourceFor(request.source).context.get();
  pango_context_set_font_description(context, face.description.get());
  pango_context_set_language(context, pango_language_from_string(face.choice.language));
  if (face.isUsed && face.plain == nullptr) face.plain = std::make_unique<PlainItem>(context);
  face.isUsed = true;
  return ShapeLine(context, text, face.plain.get(), pictures_);
}

std::size_t TextShaper::SizeOf(const Line& line) {
  return std::max(line.shaped.glyphCount, line.text.size());
}

const ShapedLine* TextShaper::Keep(Line line) {
  if (line.text.size() > kMaxKeptSize) {
    passing_ = std::move(line);
    return &passing_.shaped;
  }
  if (const auto rival = byHash_.find(line.hash); rival != byHash_.end()) {
    keptSize_ -= SizeOf(*rival->second);
    lines_.erase(rival->second);
    byHash_.erase(rival);
  }
  keptSize_ += SizeOf(line);
  lines_.push_front(std::move(line));
  byHash_[lines_.front().hash] = lines_.begin();
  while (lines_.size() > 1 && (lines_.size() > kMaxLines || keptSize_ > kMaxKeptSize)) {
    keptSize_ -= SizeOf(lines_.back());
    byHash_.erase(lines_.back().hash);
    lines_.pop_back();
  }
  assert(byHash_.size() == lines_.size());
  return &lines_.front().shaped;
}

const ShapedLine* TextShaper::Shape(const CoreFontRequest& request, const wchar_t* characters, int count,
                                    float pixelSize) {
  if (characters == nullptr || !std::isfinite(pixelSize) || pixelSize <= 0) return nullptr;
  const std::size_t length =
      count < 0 ? wcsnlen(characters, kMaxLineLength + 1) : static_cast<std::size_t>(count);
  if (length > kMaxLineLength) return nullptr;
  DropStale();
  const std::wstring_view text(characters, length);
  const std::size_t hash = Mix(HashOf(request), std::hash<std::wstring_view>()(text));
  const auto isWanted = [&](const Line& line) {
    return line.hash == hash && line.text == text && line.request == request;
  };
  if (const auto known = byHash_.find(hash); known != byHash_.end() && isWanted(*known->second)) {
    lines_.splice(lines_.begin(), lines_, known->second);
    return &known->second->shaped;
  }
  if (text.size() > kMaxKeptSize && isWanted(passing_)) return &passing_.shaped;
  if (SourceFor(request.source).catalog->IsEmpty()) return nullptr;
  ShapedLine shaped = ShapeNow(request, text);
  if (!shaped.isWhole) {
    // Pango remembers a font that it could not open, and the next call may find it again.
    shaped = {};
    ForgetAll();
    return nullptr;
  }
  return Keep({hash, request, std::wstring(text), std::move(shaped)});
}

}  // namespace tovmx
