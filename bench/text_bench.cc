// SPDX-License-Identifier: MIT
// Text conversions, in bytes of UTF-8, and separators.
#include <tovkit/util.h>
#include <tovmx/text_codec.h>

#include <benchmark/benchmark.h>
#include <glib.h>
#include <iconv.h>

#include <QString>

#include <string>
#include <vector>

namespace {

constexpr std::size_t kSize = 65536;

std::string Repeated(const std::string& piece) {
  std::string text;
  while (text.size() + piece.size() <= kSize) text += piece;
  return text;
}

std::string Ascii() { return Repeated("The quick brown fox jumps over the lazy dog. "); }

// Chinese with digits, Latin words and punctuation, as a document has it.
std::string Mixed() {
  return Repeated(
      "\u5408\u540C\u7F16\u53F7\uFF1AHT-2023-0457\u3002\u7532\u65B9\uFF08\u4E70\u65B9\uFF09\u5E94\u4E8E"
      "2023\u5E7412\u670811\u65E5\u524D\u652F\u4ED8\u4EBA\u6C11\u5E01 58,000 \u5143\uFF0C\u5E76\u4EE5 PDF "
      "\u683C\u5F0F\u63D0\u4EA4\u76D6\u7AE0\u6587\u4EF6\u3002\n");
}

std::string Chinese() {
  return Repeated(
      "\u672C\u5408\u540C\u81EA\u53CC\u65B9\u7B7E\u5B57\u76D6\u7AE0\u4E4B\u65E5\u8D77\u751F\u6548\uFF0C"
      "\u4E00\u5F0F\u4E24\u4EFD\uFF0C\u5177\u6709\u540C\u7B49\u6CD5\u5F8B\u6548\u529B\u3002");
}

void CountBytes(benchmark::State& state, std::size_t size) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(size));
}

void ToWideTovkit(benchmark::State& state, const std::string& text) {
  for (auto _ : state) {
    const CoreWideString wide = CoreTextCodec::Utf8Decode(text.data(), static_cast<int>(text.size()));
    benchmark::DoNotOptimize(wide.GetData());
  }
  CountBytes(state, text.size());
}

void ToUtf8Tovkit(benchmark::State& state, const std::string& text) {
  const CoreWideString wide = CoreTextCodec::Utf8Decode(text.data(), static_cast<int>(text.size()));
  for (auto _ : state) {
    const CoreString bytes = CoreTextCodec::Utf8Encode(wide.GetData(), wide.GetLength());
    benchmark::DoNotOptimize(bytes.GetData());
  }
  CountBytes(state, text.size());
}

void RunIconv(benchmark::State& state, const char* to, const char* from, const char* input, std::size_t size,
              std::size_t room) {
  const iconv_t converter = iconv_open(to, from);
  for (auto _ : state) {
    std::vector<char> out(room);
    char* source = const_cast<char*>(input);
    char* target = out.data();
    std::size_t left = size;
    iconv(converter, &source, &left, &target, &room);
    benchmark::DoNotOptimize(out.data());
    room = out.size();
  }
  iconv_close(converter);
}

void ToWideIconv(benchmark::State& state, const std::string& text) {
  RunIconv(state, "WCHAR_T", "UTF-8", text.data(), text.size(), text.size() * 4);
  CountBytes(state, text.size());
}

void ToUtf8Iconv(benchmark::State& state, const std::string& text) {
  const CoreWideString wide = CoreTextCodec::Utf8Decode(text.data(), static_cast<int>(text.size()));
  RunIconv(state, "UTF-8", "WCHAR_T", reinterpret_cast<const char*>(wide.GetData()),
           static_cast<std::size_t>(wide.GetLength()) * sizeof(wchar_t), text.size());
  CountBytes(state, text.size());
}

void ToWideGlib(benchmark::State& state, const std::string& text) {
  for (auto _ : state) {
    gunichar* wide = g_utf8_to_ucs4(text.data(), static_cast<glong>(text.size()), nullptr, nullptr, nullptr);
    benchmark::DoNotOptimize(wide);
    g_free(wide);
  }
  CountBytes(state, text.size());
}

void ToUtf8Glib(benchmark::State& state, const std::string& text) {
  const CoreWideString wide = CoreTextCodec::Utf8Decode(text.data(), static_cast<int>(text.size()));
  for (auto _ : state) {
    gchar* bytes = g_ucs4_to_utf8(reinterpret_cast<const gunichar*>(wide.GetData()), wide.GetLength(),
                                  nullptr, nullptr, nullptr);
    benchmark::DoNotOptimize(bytes);
    g_free(bytes);
  }
  CountBytes(state, text.size());
}

// Qt's text is UTF-16: half the bytes of ours to write or read.
void ToWideQt(benchmark::State& state, const std::string& text) {
  for (auto _ : state)
    benchmark::DoNotOptimize(QString::fromUtf8(text.data(), static_cast<int>(text.size())).data());
  CountBytes(state, text.size());
}

void ToUtf8Qt(benchmark::State& state, const std::string& text) {
  const QString wide = QString::fromUtf8(text.data(), static_cast<int>(text.size()));
  for (auto _ : state) benchmark::DoNotOptimize(wide.toUtf8().data());
  CountBytes(state, text.size());
}

std::string Windows() { return Repeated("c:\\documents\\reports/2023\\summary.pdf;"); }

void SeparatorsTovkit(benchmark::State& state) {
  std::string text = Windows();
  for (auto _ : state) {
    tovkit::ReplaceSeparators(text, '/');
    benchmark::DoNotOptimize(text.data());
  }
  CountBytes(state, text.size());
}

void SeparatorsGlib(benchmark::State& state) {
  std::string text = Windows();
  for (auto _ : state) {
    g_strdelimit(text.data(), "\\/", '/');
    benchmark::DoNotOptimize(text.data());
  }
  CountBytes(state, text.size());
}

struct Text {
  const char* name;
  std::string content;
};

const bool kRegistered = [] {
  for (const Text& text : {Text{"ascii", Ascii()}, Text{"mixed", Mixed()}, Text{"chinese", Chinese()},
                           Text{"path", "/home/user/documents/report.pdf"}}) {
    const std::string wide = std::string("utf8_to_wide/") + text.name;
    const std::string utf8 = std::string("wide_to_utf8/") + text.name;
    benchmark::RegisterBenchmark((wide + "/tovkit").c_str(), ToWideTovkit, text.content);
    benchmark::RegisterBenchmark((wide + "/iconv").c_str(), ToWideIconv, text.content);
    benchmark::RegisterBenchmark((wide + "/glib").c_str(), ToWideGlib, text.content);
    benchmark::RegisterBenchmark((wide + "/qt").c_str(), ToWideQt, text.content);
    benchmark::RegisterBenchmark((utf8 + "/tovkit").c_str(), ToUtf8Tovkit, text.content);
    benchmark::RegisterBenchmark((utf8 + "/iconv").c_str(), ToUtf8Iconv, text.content);
    benchmark::RegisterBenchmark((utf8 + "/glib").c_str(), ToUtf8Glib, text.content);
    benchmark::RegisterBenchmark((utf8 + "/qt").c_str(), ToUtf8Qt, text.content);
  }
  benchmark::RegisterBenchmark("replace_separators/64KiB/tovkit", SeparatorsTovkit);
  benchmark::RegisterBenchmark("replace_separators/64KiB/glib", SeparatorsGlib);
  return true;
}();

}  // namespace
