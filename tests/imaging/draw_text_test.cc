// SPDX-License-Identifier: MIT
#include <tovkit/imaging.h>
#include <tovkit/json.h>
#include <tovmx/device.h>

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <thread>
#include <vector>

namespace {

using tovkit::DrawTextOnDevice;
using tovkit::Json;
using tovkit::JsonValue;
using tovkit::SharedPtr;

struct Record {
  std::string calls;
  std::wstring text;
  bool terminated = false;
  std::wstring family;
  std::wstring face;
  int source = -1;
  int weight = -1;
  bool italic = false;
  CoreMatrix place;
  std::uint32_t color = 1;
  float size = -1;
};

// Writes down exactly what reaches it.
class RecordingDevice final : public CoreDevice {
 public:
  bool DrawText(const wchar_t* characters, int count, const CoreFontLoader& fonts, const CoreMatrix& matrix,
                std::uint32_t argb, float pixelSize) override {
    record.calls += "DrawText ";
    record.text.assign(characters, static_cast<std::size_t>(count));
    record.terminated = characters[count] == 0;
    record.family = fonts.GetFamily().c_str();
    record.face = fonts.GetFace().c_str();
    record.source = fonts.GetSource();
    record.weight = fonts.GetWeight();
    record.italic = fonts.IsItalic();
    record.place = matrix;
    record.color = argb;
    record.size = pixelSize;
    return result;
  }
  bool EndText() override {
    record.calls += "EndText ";
    return result;
  }
  bool Flush() override {
    record.calls += "Flush ";
    return result;
  }

  Record record;
  bool result = true;
};

SharedPtr<JsonValue> Parse(const std::string& text) {
  SharedPtr<JsonValue> root = Json::Parse(text.c_str(), static_cast<unsigned int>(text.size()), nullptr);
  EXPECT_TRUE(root) << text;
  return root;
}

Record Drawn(const std::string& text) {
  RecordingDevice device;
  EXPECT_TRUE(DrawTextOnDevice(&device, Parse(text))) << text;
  EXPECT_EQ(device.record.calls, "DrawText EndText Flush ") << text;
  return device.record;
}

Record DrawnWithFont(const std::string& font) { return Drawn(R"({"Content": "ab", "Font": )" + font + "}"); }

CoreMatrix At(float x, float y) {
  CoreMatrix matrix;
  matrix.Translate(x, y);
  return matrix;
}

TEST(DrawTextOnDevice, ContentAloneTakesEveryDefault) {
  const Record device = Drawn(R"({"Content": "ab"})");
  EXPECT_EQ(device.text, L"ab");
  EXPECT_TRUE(device.terminated);
  EXPECT_EQ(device.family, L"SimSun");
  EXPECT_EQ(device.face, L"SimSun");
  EXPECT_EQ(device.source, 3);
  EXPECT_EQ(device.weight, 400);
  EXPECT_FALSE(device.italic);
  EXPECT_EQ(device.place, At(0, 26));
  EXPECT_EQ(device.color, 0xFF000000u);
  EXPECT_EQ(device.size, 26.0f / 72.0f * 96.0f);
  EXPECT_NEAR(device.size, 34.667f, 0.001f);
}

TEST(DrawTextOnDevice, AnEmptyFontTakesEveryDefaultToo) {
  for (const char* font : {"{}", "[]", "null", "5", "\"Arial\"", "true"}) {
    const Record device = DrawnWithFont(font);
    EXPECT_EQ(device.family, L"SimSun") << font;
    EXPECT_EQ(device.place, At(0, 26)) << font;
    EXPECT_EQ(device.weight, 400) << font;
    EXPECT_FALSE(device.italic) << font;
    EXPECT_EQ(device.color, 0xFF000000u) << font;
  }
}

TEST(DrawTextOnDevice, IsFalseForANullDeviceAnEmptyHandleAndAContentThatIsMissingEmptyOrNoString) {
  EXPECT_FALSE(DrawTextOnDevice(nullptr, Parse(R"({"Content": "ab"})")));
  RecordingDevice device;
  EXPECT_FALSE(DrawTextOnDevice(&device, SharedPtr<const JsonValue>()));
  for (const char* text :
       {"{}", R"({"Content": ""})", R"({"Content": 5})", R"({"Content": null})", R"({"content": "ab"})",
        R"({"Content": ["ab"]})", R"({"Content": "\u0000ab"})", "[]", R"(["Content"])"}) {
    EXPECT_FALSE(DrawTextOnDevice(&device, Parse(text))) << text;
  }
  EXPECT_EQ(device.record.calls, "");
}

TEST(DrawTextOnDevice, TheContentIsUtf8) {
  EXPECT_EQ(Drawn("{\"Content\": \"\xE5\xAE\x8B\xF0\x9F\x98\x80!\"}").text, L"\u5B8B\U0001F600!");
  EXPECT_EQ(Drawn(R"({"Content": "\u5b8b\n"})").text, L"\u5B8B\n");
  EXPECT_EQ(Drawn("{\"Content\": \"a\xFFz\"}").text, L"a\xDCFFz")
      << "bytes that are no UTF-8 arrive as they travel";
  EXPECT_EQ(Drawn(R"({"Content": "ab\u0000cd"})").text, L"ab") << "the text ends at its first NUL";
}

TEST(DrawTextOnDevice, SizesBelowOneAreTheDefault) {
  for (const char* size : {"0", "-5", "-2147483648", "2147483648", "12.0", "\"12\"", "null", "1e1"}) {
    const Record device = DrawnWithFont(std::string(R"({"FontSize": )") + size + "}");
    EXPECT_EQ(device.place, At(0, 26)) << size;
    EXPECT_EQ(device.size, 26.0f / 72.0f * 96.0f) << size;
  }
}

TEST(DrawTextOnDevice, TheSizeBecomesPixelsAndIsAddedToTheOffsetAsItIs) {
  const Record device =
      Drawn(R"({"Content": "ab", "Font": {"FontSize": 12}, "DeltaX": 3.5, "DeltaY": 100.25})");
  EXPECT_EQ(device.size, 16.0f);
  EXPECT_EQ(device.place, At(3.5f, 112.25f));
  EXPECT_EQ(DrawnWithFont(R"({"FontSize": 1})").place, At(0, 1));
  const Record huge = DrawnWithFont(R"({"FontSize": 2147483647})");
  EXPECT_EQ(huge.place, At(0, 2147483648.0f));
  EXPECT_EQ(huge.size, 2147483648.0f / 72.0f * 96.0f);
}

TEST(DrawTextOnDevice, OffsetsAreNumbersAndAValueOfAnotherKindCountsAsMissing) {
  EXPECT_EQ(Drawn(R"({"Content": "ab", "DeltaX": -7, "DeltaY": -30})").place, At(-7, -4));
  EXPECT_EQ(Drawn(R"({"Content": "ab", "DeltaX": "7", "DeltaY": true})").place, At(0, 26));
  EXPECT_EQ(Drawn(R"({"Content": "ab", "DeltaX": 1e39, "DeltaY": 3000000000})").place, At(0, 26));
  EXPECT_EQ(Drawn(R"({"Content": "ab", "Font": {"DeltaX": 7, "DeltaY": 7}})").place, At(0, 26));
  EXPECT_EQ(Drawn(R"({"Content": "ab", "DeltaY": 3.0e38})").place, At(0, 3.0e38f));
}

TEST(DrawTextOnDevice, TheFontNameIsFamilyAndFace) {
  const Record device = DrawnWithFont("{\"FontName\": \"\xE5\xAE\x8B\xE4\xBD\x93\"}");
  EXPECT_EQ(device.family, L"\u5B8B\u4F53");
  EXPECT_EQ(device.face, L"\u5B8B\u4F53");
  EXPECT_EQ(device.source, 3);
  EXPECT_EQ(DrawnWithFont(R"({"FontName": ""})").family, L"SimSun");
  EXPECT_EQ(DrawnWithFont(R"({"FontName": 5})").family, L"SimSun");
}

TEST(DrawTextOnDevice, BoldIsWeight700AndEverythingElse400) {
  EXPECT_EQ(DrawnWithFont(R"({"Bold": true})").weight, 700);
  for (const char* value : {"false", "1", "\"true\"", "null"}) {
    EXPECT_EQ(DrawnWithFont(std::string(R"({"Bold": )") + value + "}").weight, 400) << value;
  }
  EXPECT_EQ(DrawnWithFont("{}").weight, 400);
}

TEST(DrawTextOnDevice, ItalicIsHandedOn) {
  EXPECT_TRUE(DrawnWithFont(R"({"Italic": true})").italic);
  EXPECT_FALSE(DrawnWithFont(R"({"Italic": false})").italic);
  EXPECT_FALSE(DrawnWithFont(R"({"Italic": 1})").italic);
  EXPECT_FALSE(DrawnWithFont(R"({"italic": true})").italic);
}

TEST(DrawTextOnDevice, ColorsReachTheDeviceOpaqueWithRedAbove) {
  struct Case {
    const char* text;
    std::uint32_t argb;
  };
  const Case cases[] = {
      {"#FF0000", 0xFFFF0000},   {"#00FF00", 0xFF00FF00}, {"#0000FF", 0xFF0000FF}, {"#123456", 0xFF123456},
      {"#80", 0xFF808080},       {"255 0 0", 0xFFFF0000}, {"128", 0xFF808080},     {"red", 0xFF000000},
      {"", 0xFF000000},          {"#12345", 0xFF000000},  {"1 2", 0xFF000000},     {" ", 0xFF000000},
      {"#FF112233", 0xFF332211}, {"1 2 3 4", 0xFF040302}, {"#0g0000", 0xFFFFFFFF}, {"300 0 0", 0xFF2C0100},
      {"-1 0 0", 0xFFFFFFFF},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(DrawnWithFont(std::string(R"({"Color": ")") + c.text + "\"}").color, c.argb) << c.text;
  }
  EXPECT_EQ(DrawnWithFont(R"({"Color": 255})").color, 0xFF000000u);
}

TEST(DrawTextOnDevice, TheDeviceGetsItsCallsInOrderWhateverItMakesOfThem) {
  RecordingDevice device;
  device.result = false;
  EXPECT_TRUE(DrawTextOnDevice(&device, Parse(R"({"Content": "ab"})")));
  EXPECT_EQ(device.record.calls, "DrawText EndText Flush ");
}

TEST(DrawTextOnDevice, TheDescriptionStaysAsItWas) {
  const std::string text = R"({"Content":"ab","Font":{"Color":"#80"}})";
  const SharedPtr<JsonValue> root = Parse(text);
  RecordingDevice device;
  EXPECT_TRUE(DrawTextOnDevice(&device, root));
  EXPECT_EQ(root.UseCount(), 1);
  EXPECT_STREQ(root->ToString().c_str(), text.c_str());
}

struct Picture {
  CoreDib dib;
  Picture() {
    EXPECT_TRUE(dib.Create(400, 120, 32));
    std::memset(dib.GetBuffer(), 255, dib.GetBufferSize());
  }
  std::string Bytes() const { return {reinterpret_cast<const char*>(dib.GetBuffer()), dib.GetBufferSize()}; }
  bool HasInkIn(int left, int top, int right, int bottom) const {
    for (int y = top; y < bottom; ++y) {
      for (int x = left; x < right; ++x) {
        if (dib.GetArgb(x, y) != 0xFFFFFFFF) return true;
      }
    }
    return false;
  }
};

TEST(DrawTextOnDevice, DrawsOneLineOfTextOnTheBaselineThatTheObjectDescribes) {
  Picture picture;
  CoreBitmapDevice device(&picture.dib);
  ASSERT_TRUE(DrawTextOnDevice(
      &device, Parse(R"({"Content": "HHH \u5b8b", "Font": {"FontSize": 30}, "DeltaX": 50, "DeltaY": 40})")));
  EXPECT_TRUE(picture.HasInkIn(50, 45, 110, 72)) << "above the baseline at 70";
  EXPECT_FALSE(picture.HasInkIn(0, 0, 49, 120)) << "left of the offset";
  EXPECT_FALSE(picture.HasInkIn(0, 82, 400, 120)) << "below the descent";
  EXPECT_FALSE(picture.HasInkIn(0, 0, 400, 28)) << "above the ascent";
}

TEST(DrawTextOnDevice, TheSameDescriptionGivesTheSameBytesOnEveryThread) {
  const std::string text = R"({"Content": "Same \u5b8b\u4f53", "Font": {"Bold": true, "Color": "#336699"}})";
  std::vector<std::string> pictures(4);
  std::vector<std::thread> threads;
  for (std::string& bytes : pictures) {
    threads.emplace_back([&bytes, &text] {
      const SharedPtr<JsonValue> root = Parse(text);
      Picture picture;
      CoreBitmapDevice device(&picture.dib);
      for (int i = 0; i < 20; ++i) EXPECT_TRUE(DrawTextOnDevice(&device, root));
      bytes = picture.Bytes();
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const std::string& bytes : pictures) EXPECT_EQ(bytes, pictures[0]);
  EXPECT_NE(pictures[0], Picture().Bytes());
}

std::string Repeated(const std::string& piece, std::size_t size) {
  std::string text;
  while (text.size() < size) text += piece;
  return text;
}

TEST(DrawTextOnDevice, MegabytesOfAnythingAreHarmless) {
  const std::string pieces[] = {
      "x",
      R"(\u0001\u001b\n\t\u2028)",
      "\xED\xA0\x80",  // half a surrogate pair
      "\xFF",
      "a\xD7\x90\xD8\xA7\xE5\xAE\x8B\xF0\x9F\x98\x80\xCC\x81",  // a script a character
      "\xE2\x81\xA7\xE2\x81\xA8\xE2\x80\xAE",                   // isolates and overrides
  };
  Picture picture;
  CoreBitmapDevice device(&picture.dib);
  for (const std::string& piece : pieces) {
    for (const std::size_t size : {std::size_t{50'000}, std::size_t{1} << 20}) {
      const std::string text = Repeated(piece, size);
      EXPECT_TRUE(DrawTextOnDevice(&device, Parse("{\"Content\": \"" + text + "\"}")));
      EXPECT_TRUE(DrawTextOnDevice(&device, Parse(R"({"Content": "x", "Font": {"FontName": ")" + text +
                                                  R"(", "Color": ")" + text + "\"}}")));
    }
  }
  EXPECT_TRUE(device.IsGood());
}

TEST(DrawTextOnDevice, HugeSizesAndOffsetsAreHarmless) {
  Picture picture;
  CoreBitmapDevice device(&picture.dib);
  for (const char* size : {"1", "1000", "60000", "2147483647"}) {
    for (const char* offset : {"0", "-100000", "1e10", "3.4e38", "-3.4e38"}) {
      const std::string text = std::string(R"({"Content": "x\u5b8b", "Font": {"FontSize": )") + size +
                               R"(}, "DeltaX": )" + offset + R"(, "DeltaY": )" + offset + "}";
      EXPECT_TRUE(DrawTextOnDevice(&device, Parse(text))) << text;
    }
  }
  EXPECT_TRUE(device.IsGood());
}

}  // namespace
