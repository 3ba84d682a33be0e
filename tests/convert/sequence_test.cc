// SPDX-License-Identifier: MIT
#include "allocation_faults.h"
#include "parsed.h"

#include <tovkit/convert.h>

#include <gtest/gtest.h>

#include <atomic>
#include <limits>
#include <string>
#include <thread>
#include <vector>

using tovkit::Convert;
using tovkit::JsonValue;
using tovkit::SharedPtr;

namespace {

using Handle = SharedPtr<const JsonValue>;

template <typename T>
CoreArray<T> ArrayOf(const std::vector<T>& values) {
  CoreArray<T> array;
  for (const T& value : values) array.Add(value);
  return array;
}

template <typename T>
std::vector<T> ElementsOf(const CoreArray<T>& array) {
  return std::vector<T>(array.GetData(), array.GetData() + array.GetSize());
}

// What reading `json` appends to an array that holds 9.
template <typename T>
std::vector<T> Appended(const std::string& json) {
  CoreArray<T> array = ArrayOf<T>({9});
  EXPECT_TRUE(Convert::JsonToArray(Parsed(json).root(), array));
  std::vector<T> elements = ElementsOf(array);
  EXPECT_EQ(elements.front(), 9) << "the destination is not cleared";
  elements.erase(elements.begin());
  return elements;
}

std::vector<std::string> TextsOf(const CoreStringList<CoreString>& list) {
  std::vector<std::string> texts;
  for (const CoreString& text : list) texts.emplace_back(text.c_str());
  return texts;
}

TEST(ConvertArrayToJson, EveryElementType) {
  EXPECT_EQ(TextOf(Convert::ArrayToJson(ArrayOf<int>({1, -2, std::numeric_limits<int>::min()}))),
            "[1,-2,-2147483648]");
  EXPECT_EQ(TextOf(Convert::ArrayToJson(ArrayOf<float>({1.5f, -2.0f, 0.1f}))),
            "[1.5,-2.0,0.10000000149011612]");
  EXPECT_EQ(TextOf(Convert::ArrayToJson(ArrayOf<unsigned char>({0, 255}))), "[0,255]");
  EXPECT_EQ(TextOf(Convert::ArrayToJson(ArrayOf<unsigned short>({0, 65535}))), "[0,65535]");
  EXPECT_EQ(TextOf(Convert::ArrayToJson(ArrayOf<unsigned int>({0, 4294967295u}))), "[0,4294967295]");
}

TEST(ConvertArrayToJson, EmptyArraysGiveEmptyArrays) {
  EXPECT_EQ(TextOf(Convert::ArrayToJson(CoreArray<int>())), "[]");
  EXPECT_EQ(TextOf(Convert::ArrayToJson(CoreArray<float>())), "[]");
  EXPECT_EQ(TextOf(Convert::ArrayToJson(CoreArray<unsigned char>())), "[]");
  EXPECT_EQ(TextOf(Convert::ArrayToJson(CoreArray<unsigned short>())), "[]");
  EXPECT_EQ(TextOf(Convert::ArrayToJson(CoreArray<unsigned int>())), "[]");
  EXPECT_EQ(TextOf(Convert::StringListToJson(CoreStringList<CoreString>())), "[]");
  EXPECT_EQ(TextOf(Convert::StringListToJson(CoreStringList<CoreWideString>())), "[]");
}

TEST(ConvertJsonToArray, AppendsOneElementMoreThanThereAre) {
  using Bytes = std::vector<unsigned char>;
  EXPECT_EQ(Appended<unsigned char>("[1, 2, 300]"), (Bytes{1, 2, 44, 0}));
  EXPECT_EQ(Appended<unsigned char>("[]"), (Bytes{0}));
  EXPECT_EQ(Appended<unsigned short>("[]"), (std::vector<unsigned short>{0}));
  EXPECT_EQ(Appended<unsigned int>("[]"), (std::vector<unsigned int>{0}));
  EXPECT_EQ(Appended<float>("[]"), (std::vector<float>{0}));
  EXPECT_EQ(Appended<float>("[1, 2]"), (std::vector<float>{1, 2, 0}));
}

TEST(ConvertJsonToArray, UnsignedArraysKeepTheLowBitsOf32BitIntegers) {
  const std::string json = "[-1, 4294967295, 65536, 65535, 256, 2147483648, -2147483648]";
  EXPECT_EQ(Appended<unsigned char>(json), (std::vector<unsigned char>{255, 255, 0, 255, 0, 0, 0, 0}));
  EXPECT_EQ(Appended<unsigned short>(json),
            (std::vector<unsigned short>{65535, 65535, 0, 65535, 256, 0, 0, 0}));
  EXPECT_EQ(Appended<unsigned int>(json), (std::vector<unsigned int>{4294967295u, 4294967295u, 65536, 65535,
                                                                     256, 2147483648u, 2147483648u, 0}));
}

TEST(ConvertJsonToArray, EveryByteAndEveryShort) {
  std::string json = "[";
  for (int i = 0; i < 70000; ++i) json += std::to_string(i) + ",";
  json.back() = ']';
  const auto bytes = Appended<unsigned char>(json);
  const auto shorts = Appended<unsigned short>(json);
  ASSERT_EQ(bytes.size(), 70001u);
  ASSERT_EQ(shorts.size(), 70001u);
  for (int i = 0; i < 70000; ++i) {
    ASSERT_EQ(bytes[static_cast<std::size_t>(i)], i % 256);
    ASSERT_EQ(shorts[static_cast<std::size_t>(i)], i % 65536);
  }
}

TEST(ConvertJsonToArray, OtherKindsAreZeroInUnsignedArrays) {
  const std::string json = "[1.0, \"7\", true, null, [7], {}, 4294967296, -2147483649]";
  EXPECT_EQ(Appended<unsigned char>(json), std::vector<unsigned char>(9, 0));
  EXPECT_EQ(Appended<unsigned short>(json), std::vector<unsigned short>(9, 0));
  EXPECT_EQ(Appended<unsigned int>(json), std::vector<unsigned int>(9, 0));
}

TEST(ConvertJsonToArray, FloatArraysTakeWhatGetFloatTakes) {
  EXPECT_EQ(Appended<float>("[1, -2, 2.5, 1e300, 3000000000, \"7\", true, null, [7], 16777217]"),
            (std::vector<float>{1, -2, 2.5f, 0, 0, 0, 0, 0, 0, 16777216, 0}));
}

TEST(ConvertJsonToArray, WhatIsNoArrayGivesFalseAndLeavesTheDestination) {
  const Parsed values("[{\"a\": 1}, {}, \"[1]\", 1, 1.5, true, null]");
  CoreArray<float> floats = ArrayOf<float>({9});
  CoreArray<unsigned char> bytes = ArrayOf<unsigned char>({9});
  CoreArray<unsigned short> shorts = ArrayOf<unsigned short>({9});
  CoreArray<unsigned int> words = ArrayOf<unsigned int>({9});
  CoreStringList<CoreString> texts;
  CoreStringList<CoreWideString> wideTexts;
  for (int i = 0; i < 8; ++i) {
    const Handle value = i < 7 ? values[i] : Handle();
    EXPECT_FALSE(Convert::JsonToArray(value, floats)) << i;
    EXPECT_FALSE(Convert::JsonToArray(value, bytes)) << i;
    EXPECT_FALSE(Convert::JsonToArray(value, shorts)) << i;
    EXPECT_FALSE(Convert::JsonToArray(value, words)) << i;
    EXPECT_FALSE(Convert::JsonToStringList(value, texts)) << i;
    EXPECT_FALSE(Convert::JsonToStringList(value, wideTexts)) << i;
  }
  EXPECT_EQ(floats.GetSize() + bytes.GetSize() + shorts.GetSize() + words.GetSize(), 4);
  EXPECT_TRUE(texts.IsEmpty() && wideTexts.IsEmpty());
}

TEST(ConvertJsonToArray, ThereAndBackAddsOneZero) {
  const CoreArray<unsigned int> source = ArrayOf<unsigned int>({5, 0, 4294967295u});
  CoreArray<unsigned int> back;
  EXPECT_TRUE(Convert::JsonToArray(Convert::ArrayToJson(source), back));
  EXPECT_EQ(ElementsOf(back), (std::vector<unsigned int>{5, 0, 4294967295u, 0}));
}

TEST(ConvertJsonToArray, GrowsTheDestinationByItsOwnSteps) {
  std::string json = "[";
  for (int i = 0; i < 20000; ++i) json += "1,";
  json.back() = ']';
  CoreArray<unsigned char> converted;
  EXPECT_TRUE(Convert::JsonToArray(Parsed(json).root(), converted));
  CoreArray<unsigned char> added;
  for (int i = 0; i <= 20000; ++i) added.Add(1);
  EXPECT_EQ(converted.GetSize(), 20001);
  EXPECT_EQ(converted.GetCapacity(), added.GetCapacity());
}

// The array is full at 4 elements; the first attempt to grow fails and its element is missing.
TEST(ConvertJsonToArray, ElementThatFindsNoMemoryIsSkipped) {
  const Parsed parsed("[1, 2, 3, 4, 5, 6, 7]");
  CoreArray<unsigned char> array;
  {
    const AllocationFaults faults = AllocationFaults::OfRealloc(2, 1);
    EXPECT_TRUE(Convert::JsonToArray(parsed.root(), array));
  }
  EXPECT_EQ(ElementsOf(array), (std::vector<unsigned char>{1, 2, 3, 4, 6, 7, 0}));
}

TEST(ConvertJsonToArray, WithoutAnyMemoryNothingIsAppended) {
  const Parsed parsed("[1, 2, 3]");
  CoreArray<float> array;
  {
    const AllocationFaults faults = AllocationFaults::OfRealloc(1, 1000000);
    EXPECT_TRUE(Convert::JsonToArray(parsed.root(), array));
  }
  EXPECT_EQ(array.GetSize(), 0);
}

// The list grows at 1, 2 and 4 texts; short texts and long ones alike.
TEST(ConvertStringList, TextThatFindsNoPlaceInTheListIsSkipped) {
  const Parsed parsed("[\"a\", \"b\", \"c\"]");
  CoreStringList<CoreString> list;
  {
    const AllocationFaults faults = AllocationFaults::OfNew(2, 1);
    EXPECT_TRUE(Convert::JsonToStringList(parsed.root(), list));
  }
  EXPECT_EQ(TextsOf(list), (std::vector<std::string>{"a", "c", ""}));
}

TEST(ConvertStringList, AppendsOneEmptyTextMore) {
  CoreStringList<CoreString> list;
  EXPECT_TRUE(Convert::JsonToStringList(Parsed("[\"a\"]").root(), list));
  EXPECT_EQ(TextsOf(list), (std::vector<std::string>{"a", ""}));
  EXPECT_TRUE(Convert::JsonToStringList(Parsed("[]").root(), list));
  EXPECT_EQ(TextsOf(list), (std::vector<std::string>{"a", "", ""})) << "the list is not cleared";
}

TEST(ConvertStringList, OtherKindsAreEmptyTexts) {
  CoreStringList<CoreString> list;
  EXPECT_TRUE(Convert::JsonToStringList(
      Parsed("[1, 2.5, true, null, [\"x\"], {\"a\":\"x\"}, \"last\"]").root(), list));
  EXPECT_EQ(TextsOf(list), (std::vector<std::string>{"", "", "", "", "", "", "last", ""}));
}

TEST(ConvertStringList, TextsEndAtTheirFirstNul) {
  CoreStringList<CoreString> list;
  EXPECT_TRUE(Convert::JsonToStringList(Parsed("[\"cut\\u0000off\"]").root(), list));
  EXPECT_EQ(TextsOf(list), (std::vector<std::string>{"cut", ""}));
  CoreStringList<CoreString> source;
  source.Add(CoreString("cut\0off", 7));
  EXPECT_EQ(TextOf(Convert::StringListToJson(source)), "[\"cut\"]");
}

TEST(ConvertStringList, WideTextsEndAtTheirFirstNul) {
  CoreStringList<CoreWideString> list;
  EXPECT_TRUE(Convert::JsonToStringList(Parsed("[\"cut\\u0000off\"]").root(), list));
  EXPECT_EQ(list.GetAt(0), CoreWideString(L"cut"));
  CoreStringList<CoreWideString> source;
  source.Add(CoreWideString(L"cut\0off", 7));
  EXPECT_EQ(TextOf(Convert::StringListToJson(source)), "[\"cut\"]");
}

// Another thread that appends all the while is let in before or after, never in between: a move of the
// elements under the conversion would be seen, by sanitizers at the latest.
TEST(ConvertArrayToJson, TheSourceIsLockedMeanwhile) {
  CoreArray<int> array;
  for (int i = 0; i < 1000; ++i) array.Add(i);
  std::atomic<bool> stop{false};
  std::thread other([&] {
    while (!stop) {
      for (int i = 1000; i < 3000; ++i) array.Add(i);
      array.SetSize(1000);
    }
  });
  for (int round = 0; round < 200; ++round) {
    const SharedPtr<JsonValue> json = Convert::ArrayToJson(array);
    const int size = static_cast<int>(json->Size());
    ASSERT_GE(size, 1000);
    for (int i = 0; i < size; ++i) ASSERT_EQ(json->GetAtInt(static_cast<std::uint32_t>(i), -1), i);
  }
  stop = true;
  other.join();
}

TEST(ConvertStringList, AbsentTextsAreEmptyTexts) {
  CoreStringList<CoreString> narrow;
  narrow.Add(CoreString());
  EXPECT_EQ(TextOf(Convert::StringListToJson(narrow)), "[\"\"]");
  CoreStringList<CoreWideString> wide;
  wide.Add(CoreWideString());
  EXPECT_EQ(TextOf(Convert::StringListToJson(wide)), "[\"\"]");
}

TEST(ConvertStringList, WideTextsAreEncodedAsUtf8) {
  CoreStringList<CoreWideString> list;
  EXPECT_TRUE(
      Convert::JsonToStringList(Parsed("[\"\xE5\xAE\x8B\", \"\xF0\x9F\x96\x8B\", \"a\"]").root(), list));
  ASSERT_EQ(list.GetCount(), 4);
  EXPECT_EQ(list.GetAt(0), CoreWideString(L"\x5B8B"));
  EXPECT_EQ(list.GetAt(1), CoreWideString(L"\x1F58B"));
  EXPECT_EQ(list.GetAt(2), CoreWideString(L"a"));
  EXPECT_EQ(list.GetAt(3), CoreWideString());
  EXPECT_EQ(TextOf(Convert::StringListToJson(list)), "[\"\xE5\xAE\x8B\",\"\xF0\x9F\x96\x8B\",\"a\",\"\"]");
}

TEST(ConvertStringList, BytesThatAreNoUtf8SurviveTheWideForm) {
  const std::string bytes = "[\"a\xFFz\"]";
  CoreStringList<CoreWideString> list;
  EXPECT_TRUE(Convert::JsonToStringList(Parsed(bytes).root(), list));
  CoreStringList<CoreWideString> first;
  first.Add(list.GetAt(0));
  EXPECT_EQ(TextOf(Convert::StringListToJson(first)), bytes);
}

TEST(ConvertPath, WritesEveryRecordAsAPairWithoutItsKind) {
  CorePath path;
  EXPECT_EQ(TextOf(Convert::PathToJson(path)), "[]");
  path.MoveTo(1, 2);
  EXPECT_EQ(TextOf(Convert::PathToJson(path)), "[[1.0,2.0]]");
  path.LineTo(3.5f, -4);
  path.QuadTo(5, 6, 7, 8);
  path.ArcTo(10, 11, 0.5f, 1, 1, 12, 13);
  path.Close();
  EXPECT_EQ(TextOf(Convert::PathToJson(path)),
            "[[1.0,2.0],[3.5,-4.0],[5.0,6.0],[7.0,8.0],[10.0,11.0],[0.5,1.0],[1.0,0.0],[12.0,13.0]]");
}

TEST(ConvertPath, LongPathsKeepTheirOrder) {
  CorePath path;
  for (int i = 0; i < 5000; ++i) path.LineTo(static_cast<float>(i), static_cast<float>(-i));
  const SharedPtr<JsonValue> json = Convert::PathToJson(path);
  ASSERT_EQ(json->Size(), 5000u);
  for (int i = 0; i < 5000; ++i) {
    const auto pair = json->GetAt(i);
    ASSERT_EQ(pair->Size(), 2u);
    ASSERT_EQ(pair->GetAtFloat(0, 0), static_cast<float>(i));
    ASSERT_EQ(pair->GetAtFloat(1, 0), static_cast<float>(-i));
  }
}

}  // namespace
