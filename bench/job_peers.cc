// SPDX-License-Identifier: MIT
// usage: job_peers cairo|qt LINES WIDTH HEIGHT DPI OUT...
//
// Draws pages of text as a program does that is written for it, over Cairo with Pango and over Qt. LINES is a
// text file with a line of "x y size text" for each line of text, in points from the top left and points; an
// empty line ends a page. Each page goes to the next OUT, a PNG, PDF or SVG by its ending (Qt writes no SVG
// here). WIDTH and HEIGHT are in pixels at DPI dots an inch. Layouts and fonts are kept from line to line.
#include <cairo-pdf.h>
#include <cairo-svg.h>
#include <pango/pangocairo.h>

#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QPdfWriter>

#include <cstdio>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr char kFamily[] = "DejaVu Sans";

struct Line {
  double x = 0;
  double y = 0;
  double size = 0;
  std::string text;
};
using Page = std::vector<Line>;

struct Paper {
  int width = 0;
  int height = 0;
  double dpi = 0;
};

std::vector<Page> ReadPages(const char* file) {
  std::vector<Page> pages(1);
  std::ifstream in(file);
  for (std::string row; std::getline(in, row);) {
    if (row.empty()) {
      pages.emplace_back();
      continue;
    }
    std::istringstream fields(row);
    Line line;
    fields >> line.x >> line.y >> line.size >> std::ws;
    std::getline(fields, line.text);
    pages.back().push_back(line);
  }
  return pages;
}

bool EndsWith(std::string_view name, std::string_view ending) {
  return name.size() >= ending.size() && name.substr(name.size() - ending.size()) == ending;
}

cairo_surface_t* MakeSurface(const char* out, const Paper& paper) {
  const double points = 72 / paper.dpi;
  if (EndsWith(out, ".pdf"))
    return cairo_pdf_surface_create(out, paper.width * points, paper.height * points);
  if (EndsWith(out, ".svg"))
    return cairo_svg_surface_create(out, paper.width * points, paper.height * points);
  return cairo_image_surface_create(CAIRO_FORMAT_RGB24, paper.width, paper.height);
}

void DrawWithPango(cairo_t* cairo, const Page& page) {
  PangoLayout* layout = pango_cairo_create_layout(cairo);
  pango_cairo_context_set_resolution(pango_layout_get_context(layout), 72);
  PangoFontDescription* font = pango_font_description_new();
  pango_font_description_set_family(font, kFamily);
  for (const Line& line : page) {
    pango_font_description_set_absolute_size(font, line.size * PANGO_SCALE);
    pango_layout_set_font_description(layout, font);
    pango_layout_set_text(layout, line.text.c_str(), static_cast<int>(line.text.size()));
    cairo_move_to(cairo, line.x, line.y + line.size);
    pango_cairo_show_layout_line(cairo, pango_layout_get_line_readonly(layout, 0));
  }
  pango_font_description_free(font);
  g_object_unref(layout);
}

bool DrawByCairo(const Page& page, const Paper& paper, const char* out) {
  cairo_surface_t* surface = MakeSurface(out, paper);
  const bool document = cairo_surface_get_type(surface) != CAIRO_SURFACE_TYPE_IMAGE;
  cairo_t* cairo = cairo_create(surface);
  cairo_set_source_rgb(cairo, 1, 1, 1);
  cairo_paint(cairo);
  cairo_set_source_rgb(cairo, 0, 0, 0);
  if (!document) cairo_scale(cairo, paper.dpi / 72, paper.dpi / 72);
  DrawWithPango(cairo, page);
  cairo_destroy(cairo);
  if (document) cairo_surface_finish(surface);
  const bool written = document ? cairo_surface_status(surface) == CAIRO_STATUS_SUCCESS
                                : cairo_surface_write_to_png(surface, out) == CAIRO_STATUS_SUCCESS;
  cairo_surface_destroy(surface);
  return written;
}

void DrawWithPainter(QPainter& painter, const Page& page) {
  for (const Line& line : page) {
    QFont font(kFamily);
    font.setPixelSize(static_cast<int>(line.size));
    painter.setFont(font);
    painter.drawText(QPointF(line.x, line.y + line.size), QString::fromStdString(line.text));
  }
}

bool DrawByQt(const Page& page, const Paper& paper, const char* out) {
  if (EndsWith(out, ".pdf")) {
    QPdfWriter writer(out);
    writer.setResolution(72);
    writer.setPageSize(
        QPageSize(QSizeF(paper.width * 72 / paper.dpi, paper.height * 72 / paper.dpi), QPageSize::Point));
    writer.setPageMargins(QMarginsF());
    QPainter painter(&writer);
    DrawWithPainter(painter, page);
    return painter.end();
  }
  QImage picture(paper.width, paper.height, QImage::Format_RGB32);
  picture.fill(Qt::white);
  QPainter painter(&picture);
  painter.scale(paper.dpi / 72, paper.dpi / 72);
  DrawWithPainter(painter, page);
  return painter.end() && picture.save(out);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 7) return 2;
  const bool qt = std::string_view(argv[1]) == "qt";
  const std::vector<Page> pages = ReadPages(argv[2]);
  const Paper paper = {std::stoi(argv[3]), std::stoi(argv[4]), std::stod(argv[5])};
  if (pages.size() != static_cast<std::size_t>(argc - 6)) return 2;
  qputenv("QT_QPA_PLATFORM", "offscreen");
  int count = 1;
  std::optional<QGuiApplication> application;
  if (qt) application.emplace(count, argv);
  bool drawn = true;
  for (std::size_t i = 0; drawn && i < pages.size(); ++i)
    drawn = qt ? DrawByQt(pages[i], paper, argv[6 + i]) : DrawByCairo(pages[i], paper, argv[6 + i]);
  return drawn ? 0 : 1;
}
