// SPDX-License-Identifier: MIT
// Lines of text a second: DrawTextOnDevice beside the same line drawn by hand with Pango and Cairo, fonts
// warm.
//
// "pango" keeps everything that can be kept between lines, the layout included, and only gives it the text
// again, as a loop over changing lines would. "pango_still" never even does that: it paints one finished
// layout over and over, which is the least that Pango and Cairo can do.
//
// "describe" is DescribeText beside the measurement of the same description: its members are read, and the
// font loader is asked for the extents.
#include <tovkit/imaging.h>
#include <tovkit/json.h>
#include <tovmx/device.h>
#include <tovmx/font.h>
#include <tovmx/text_codec.h>

#include <benchmark/benchmark.h>
#include <pango/pangocairo.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr int kWidth = 600;
constexpr int kHeight = 60;
constexpr int kLines = 256;  // different lines, for the rows that change the text

struct Text {
  const char* name;
  const char* content;
  const char* family;  // what SimSun becomes, for the rows that do without the library
};
constexpr Text kTexts[] = {
    {"latin", "The quick brown fox", "AR PL UMing CN"},
    {"chinese", "\u5FEB\u901F\u7684\u68D5\u8272\u72D0\u72F8", "AR PL UMing CN"},
    {"mixed", "Hello, \u4E16\u754C! \u7528\u6587\u5B57\u753B\u4E00\u884C", "AR PL UMing CN"},
};

std::string Numbered(const Text& text, int line) { return text.content + std::to_string(line); }

tovkit::SharedPtr<tovkit::JsonValue> Description(const std::string& content) {
  const std::string json = R"({"Content": ")" + content +
                           R"(", "Font": {"FontSize": 24, "Color": "#336699"}, "DeltaX": 10, "DeltaY": 10})";
  return tovkit::Json::Parse(json.c_str(), static_cast<unsigned>(json.size()), nullptr);
}

CoreDib WhitePage() {
  CoreDib page;
  page.Create(kWidth, kHeight, 32);
  std::memset(page.GetBuffer(), 255, page.GetBufferSize());
  return page;
}

void Tovkit(benchmark::State& state, const Text& text, bool changing) {
  std::vector<tovkit::SharedPtr<tovkit::JsonValue>> lines;
  for (int i = 0; i < (changing ? kLines : 1); ++i) lines.push_back(Description(Numbered(text, i)));
  CoreDib page = WhitePage();
  CoreBitmapDevice device(&page);
  std::size_t next = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(tovkit::DrawTextOnDevice(&device, lines[next++ % lines.size()]));
  }
  state.SetItemsProcessed(state.iterations());
}

// One line by hand, on a page of the same kind.
class ByHand {
 public:
  explicit ByHand(const Text& text) : page_(WhitePage()) {
    surface_ = cairo_image_surface_create_for_data(page_.GetBuffer(), CAIRO_FORMAT_ARGB32, kWidth, kHeight,
                                                   page_.GetStride());
    cairo_ = cairo_create(surface_);
    layout_ = pango_cairo_create_layout(cairo_);
    cairo_font_options_t* options = cairo_font_options_create();
    cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
    cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
    pango_cairo_context_set_font_options(pango_layout_get_context(layout_), options);
    cairo_font_options_destroy(options);
    PangoFontDescription* font = pango_font_description_new();
    pango_font_description_set_family(font, text.family);
    pango_font_description_set_absolute_size(font, 24.0 / 72 * 96 * PANGO_SCALE);
    pango_layout_set_font_description(layout_, font);
    pango_font_description_free(font);
  }
  ~ByHand() {
    g_object_unref(layout_);
    cairo_destroy(cairo_);
    cairo_surface_destroy(surface_);
  }
  ByHand(const ByHand&) = delete;
  ByHand& operator=(const ByHand&) = delete;

  void SetText(const std::string& text) {
    // Once emptied, since a layout that gets the text it has does nothing.
    pango_layout_set_text(layout_, "", 0);
    pango_layout_set_text(layout_, text.c_str(), static_cast<int>(text.size()));
  }

  void Draw() {
    cairo_set_source_rgb(cairo_, 0.2, 0.4, 0.6);
    cairo_move_to(cairo_, 10, 34);
    pango_cairo_show_layout_line(cairo_, pango_layout_get_line_readonly(layout_, 0));
    cairo_surface_flush(surface_);
  }

 private:
  CoreDib page_;
  cairo_surface_t* surface_;
  cairo_t* cairo_;
  PangoLayout* layout_;
};

void Pango(benchmark::State& state, const Text& text, bool changing) {
  ByHand hand(text);
  std::vector<std::string> lines;
  for (int i = 0; i < (changing ? kLines : 1); ++i) lines.push_back(Numbered(text, i));
  std::size_t next = 0;
  for (auto _ : state) {
    hand.SetText(lines[next++ % lines.size()]);
    hand.Draw();
  }
  state.SetItemsProcessed(state.iterations());
}

void PangoStill(benchmark::State& state, const Text& text) {
  ByHand hand(text);
  hand.SetText(Numbered(text, 0));
  for (auto _ : state) hand.Draw();
  state.SetItemsProcessed(state.iterations());
}

// Every line is new, so that nothing shaped before helps.
void TovkitNew(benchmark::State& state, const Text& text) {
  CoreDib page = WhitePage();
  CoreBitmapDevice device(&page);
  int number = 0;
  for (auto _ : state) {
    state.PauseTiming();
    const auto line = Description(Numbered(text, number++));
    state.ResumeTiming();
    benchmark::DoNotOptimize(tovkit::DrawTextOnDevice(&device, line));
  }
  state.SetItemsProcessed(state.iterations());
}

void PangoNew(benchmark::State& state, const Text& text) {
  ByHand hand(text);
  int number = 0;
  for (auto _ : state) {
    state.PauseTiming();
    const std::string line = Numbered(text, number++);
    state.ResumeTiming();
    hand.SetText(line);
    hand.Draw();
  }
  state.SetItemsProcessed(state.iterations());
}

// What a program does that only wants to know how much room a description's line takes.
bool Measure(const tovkit::JsonValue& description, CoreTextExtents& extents) {
  const char* const content = description.GetMemberString("Content", "");
  const CoreWideString text = CoreTextCodec::Utf8Decode(content, -1);
  const auto font = description.GetMember("Font");
  const CoreWideString family = CoreTextCodec::Utf8Decode(font->GetMemberString("FontName", "SimSun"), -1);
  CoreFontLoader fonts(nullptr);
  fonts.LoadFont(family.c_str(), family.c_str(), kCoreFontAny, font->GetMemberBool("Bold", false) ? 700 : 400,
                 font->GetMemberBool("Italic", false));
  const float size = static_cast<float>(font->GetMemberInt("FontSize", 26)) / 72.0f * 96.0f;
  return fonts.MeasureText(text.c_str(), text.GetLength(), size, extents);
}

void Measured(const tovkit::SharedPtr<tovkit::JsonValue>& description) {
  CoreTextExtents extents;
  benchmark::DoNotOptimize(Measure(*description, extents));
}

void Described(const tovkit::SharedPtr<tovkit::JsonValue>& description) {
  benchmark::DoNotOptimize(tovkit::DescribeText(description).Get());
}

using Look = void (*)(const tovkit::SharedPtr<tovkit::JsonValue>&);

void LookAtKept(benchmark::State& state, const Text& text, Look look) {
  const auto line = Description(Numbered(text, 0));
  for (auto _ : state) look(line);
  state.SetItemsProcessed(state.iterations());
}

// The two rows of a case run in one process: their numbers must not meet, or one would find the other's
// lines.
void LookAtNew(benchmark::State& state, const Text& text, Look look) {
  static int number = 0;
  for (auto _ : state) {
    state.PauseTiming();
    const auto line = Description(Numbered(text, number++));
    state.ResumeTiming();
    look(line);
  }
  state.SetItemsProcessed(state.iterations());
}

const int kRegistered = [] {
  for (const Text& text : kTexts) {
    const std::string base = std::string("draw/") + text.name;
    benchmark::RegisterBenchmark((base + "/tovkit").c_str(), Tovkit, text, false);
    benchmark::RegisterBenchmark((base + "/pango").c_str(), Pango, text, false);
    benchmark::RegisterBenchmark((base + "/pango_still").c_str(), PangoStill, text);
    benchmark::RegisterBenchmark((base + "_256_lines/tovkit").c_str(), Tovkit, text, true);
    benchmark::RegisterBenchmark((base + "_256_lines/pango").c_str(), Pango, text, true);
    benchmark::RegisterBenchmark((base + "_new_lines/tovkit").c_str(), TovkitNew, text);
    benchmark::RegisterBenchmark((base + "_new_lines/pango").c_str(), PangoNew, text);
    const std::string describe = std::string("draw/describe_") + text.name;
    benchmark::RegisterBenchmark((describe + "/tovkit").c_str(), LookAtKept, text, Described);
    benchmark::RegisterBenchmark((describe + "/measuring").c_str(), LookAtKept, text, Measured);
    benchmark::RegisterBenchmark((describe + "_new_lines/tovkit").c_str(), LookAtNew, text, Described);
    benchmark::RegisterBenchmark((describe + "_new_lines/measuring").c_str(), LookAtNew, text, Measured);
  }
  return 0;
}();

}  // namespace
