// SPDX-License-Identifier: MIT
// Itemize, order, shape, collect: Pango's own steps below its layout. A layout would break the line, end
// paragraphs and take a time that grows with the square of the items.
#include "font/line_shaping.h"

#include "font/handles.h"
#include "font/line_text.h"

#include <pango/pangocairo.h>

#include <algorithm>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

namespace tovmx {

namespace {

void FreeItems(GList* items) {
  g_list_free_full(items, [](void* item) { pango_item_free(static_cast<PangoItem*>(item)); });
}

using ItemList = std::unique_ptr<GList, Release<FreeItems>>;

Box BoxOf(const PangoRectangle& r) {
  const auto pixels = [](double units) { return units / PANGO_SCALE; };
  return {pixels(r.x), pixels(r.y), pixels(double(r.x) + r.width), pixels(double(r.y) + r.height)};
}

bool IsPainted(PangoGlyph glyph) { return glyph != PANGO_GLYPH_EMPTY; }

// A character that no font holds shows the font's own box for missing glyphs.
unsigned long GlyphIndex(PangoGlyph glyph) { return (glyph & PANGO_GLYPH_UNKNOWN_FLAG) != 0 ? 0 : glyph; }

// Which bytes of the text belong to which glyphs, so that a page's text can be read back.
void AddClusters(GlyphRun& run, PangoItem* item, PangoGlyphString* glyphs, const char* lineText) {
  PangoGlyphItem glyphItem{};
  glyphItem.item = item;
  glyphItem.glyphs = glyphs;
  run.backward = (item->analysis.level & 1) != 0;
  PangoGlyphItemIter iter;
  for (gboolean more = pango_glyph_item_iter_init_start(&iter, &glyphItem, lineText); more != FALSE;
       more = pango_glyph_item_iter_next_cluster(&iter)) {
    int painted = 0;
    const int step = run.backward ? -1 : 1;
    for (int i = iter.start_glyph; i != iter.end_glyph; i += step) {
      painted += IsPainted(glyphs->glyphs[i].glyph) ? 1 : 0;
    }
    run.clusters.push_back({iter.end_index - iter.start_index, painted});
  }
}

// The font's face when some of its glyphs are pictures.
HbFacePtr PictureFace(PangoFont* font) {
  hb_face_t* face = hb_font_get_face(pango_font_get_hb_font(font));
  return HbFacePtr(ColorPictures::HasPictures(face) ? hb_face_reference(face) : nullptr);
}

// What the glyph paints, relative to its origin.
Box InkOf(PangoFont* font, PangoGlyph glyph, hb_face_t* pictureFace, ColorPictures& pictures) {
  if (pictureFace != nullptr) {
    const auto index = static_cast<hb_codepoint_t>(GlyphIndex(glyph));
    if (const Box* ink = pictures.InkOf(pictureFace, index)) return *ink;
  }
  PangoRectangle ink;
  pango_font_get_glyph_extents(font, glyph, &ink, nullptr);
  return BoxOf(ink);
}

// Appends the item's glyphs at `pen` and returns the pen's next place.
double AddRun(ShapedLine& line, PangoItem* item, PangoGlyphString* glyphs, const std::string& text,
              double pen, ColorPictures& pictures) {
  PangoFont* font = item->analysis.font;
  if (font == nullptr) return pen;
  cairo_scaled_font_t* scaled = pango_cairo_font_get_scaled_font(PANGO_CAIRO_FONT(font));
  if (scaled == nullptr || cairo_scaled_font_status(scaled) != CAIRO_STATUS_SUCCESS) {
    line.isWhole = false;
    return pen;
  }

  GlyphRun run;
  run.font.reset(cairo_scaled_font_reference(scaled));
  run.face.reset(PANGO_FONT(g_object_ref(font)));
  run.offset = static_cast<std::size_t>(item->offset);
  run.script = item->analysis.script;
  run.left = pen;
  run.text = text.substr(static_cast<std::size_t>(item->offset), static_cast<std::size_t>(item->length));
  run.pictures = PictureFace(font);
  run.glyphs.reserve(static_cast<std::size_t>(glyphs->num_glyphs));
  for (int i = 0; i < glyphs->num_glyphs; ++i) {
    const PangoGlyphInfo& info = glyphs->glyphs[i];
    const double x = pen + info.geometry.x_offset / double{PANGO_SCALE};
    const double y = info.geometry.y_offset / double{PANGO_SCALE};
    pen += info.geometry.width / double{PANGO_SCALE};
    if (!IsPainted(info.glyph)) continue;
    const Box ink = InkOf(font, info.glyph, run.pictures.get(), pictures);
    run.glyphs.push_back({GlyphIndex(info.glyph), x, y});
    run.reach.Add(ink);
    line.ink.Add(ink.Moved(x, y));
  }
  run.right = pen;
  AddClusters(run, item, glyphs, text.c_str());
  line.glyphCount += run.glyphs.size();
  line.runs.push_back(std::move(run));
  return pen;
}

// The line's height: that of the context's own font and of every font that was fallen back to.
void AddHeight(ShapedLine& line, PangoFont* font) {
  PangoRectangle logical;
  // An empty glyph has the font's ascent and descent and no width.
  pango_font_get_glyph_extents(font, PANGO_GLYPH_EMPTY, nullptr, &logical);
  const Box box = BoxOf(logical);
  line.logical.top = std::min(line.logical.top, box.top);
  line.logical.bottom = std::max(line.logical.bottom, box.bottom);
}

// From left to right (Unicode Bidirectional Algorithm, L2). Pango's own function takes a time that grows with
// the square of the number of items.
std::vector<PangoItem*> InVisualOrder(GList* items) {
  std::vector<PangoItem*> order;
  int highest = 0;
  for (; items != nullptr; items = items->next) {
    order.push_back(static_cast<PangoItem*>(items->data));
    highest = std::max<int>(highest, order.back()->analysis.level);
  }
  for (int level = highest; level > 0; --level) {
    const auto isBelow = [level](const PangoItem* item) { return item->analysis.level < level; };
    for (auto run = order.begin(); run != order.end();) {
      run = std::find_if_not(run, order.end(), isBelow);
      const auto end = std::find_if(run, order.end(), isBelow);
      std::reverse(run, end);
      run = end;
    }
  }
  return order;
}

// A weak direction yields to the first letter that has one (Unicode Bidirectional Algorithm, P2 and P3).
GList* Itemize(PangoContext* context, const std::string& text) {
  return pango_itemize_with_base_dir(context, PANGO_DIRECTION_WEAK_LTR, text.c_str(), 0,
                                     static_cast<int>(text.size()), nullptr, nullptr);
}

bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

}  // namespace

PlainItem::PlainItem(PangoContext* context) {
  std::string ascii(0x7F - 0x20, '\0');
  std::iota(ascii.begin(), ascii.end(), ' ');
  const ItemList items(Itemize(context, ascii));
  if (items == nullptr || items->next != nullptr) return;
  const auto* const item = static_cast<PangoItem*>(items->data);
  if (item->analysis.font != nullptr && item->analysis.level == 0)
    item_.reset(pango_item_copy(const_cast<PangoItem*>(item)));
}

PangoItem* PlainItem::For(const std::string& text) const {
  const auto isPrintable = [](char c) { return c >= ' ' && c <= '~'; };
  // Without a letter the line would have another script.
  if (item_ == nullptr || !std::all_of(text.begin(), text.end(), isPrintable) ||
      std::none_of(text.begin(), text.end(), IsLetter))
    return nullptr;
  PangoItem* const item = pango_item_copy(item_.get());
  item->length = item->num_chars = static_cast<int>(text.size());
  return item;
}

ShapedLine ShapeLine(PangoContext* context, std::wstring_view wide, const PlainItem* plain,
                     ColorPictures& pictures) {
  ShapedLine line;
  const std::string text = DrawableText(wide.data(), static_cast<int>(wide.size()));
  if (text.empty()) return line;
  const int length = static_cast<int>(text.size());
  PangoItem* const whole = plain != nullptr ? plain->For(text) : nullptr;
  const ItemList items(whole != nullptr ? g_list_prepend(nullptr, whole) : Itemize(context, text));
  const std::unique_ptr<PangoGlyphString, Release<pango_glyph_string_free>> glyphs(pango_glyph_string_new());
  double pen = 0;
  for (PangoItem* item : InVisualOrder(items.get())) {
    pango_shape_item(item, text.c_str(), length, nullptr, glyphs.get(), PANGO_SHAPE_NONE);
    pen = AddRun(line, item, glyphs.get(), text, pen, pictures);
    if (item->analysis.font != nullptr) AddHeight(line, item->analysis.font);
  }
  line.logical.right = pen;
  return line;
}

}  // namespace tovmx
