// SPDX-License-Identifier: MIT
#include <tovmx/string.h>
#include <tovmx/string_list.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <iterator>
#include <stdexcept>
#include <string>
#include <utility>

namespace {

TEST(CoreString, EmptyTextHasNoDataAndAnEmptyCString) {
  const CoreString empty;
  EXPECT_EQ(empty.GetData(), nullptr);
  EXPECT_STREQ(empty.c_str(), "");
  EXPECT_EQ(empty.GetLength(), 0);
}

TEST(CoreString, NullSourceGivesTheEmptyText) {
  EXPECT_TRUE(CoreString(nullptr).IsEmpty());
  EXPECT_TRUE(CoreWideString(nullptr, 5).IsEmpty());
}

TEST(CoreString, LengthKeepsNulCharacters) {
  const CoreString text("a\0b", 3);
  EXPECT_EQ(text.GetLength(), 3);
  EXPECT_EQ(std::memcmp(text.GetData(), "a\0b", 4), 0);
}

TEST(CoreString, LeftAndMidCountFromOneAndSplitAText) {
  const CoreString name("libfoo");
  EXPECT_STREQ(name.Left(3).c_str(), "lib");
  EXPECT_STREQ(name.Mid(4).c_str(), "foo");
}

TEST(CoreString, PiecesOutsideTheTextAreCut) {
  const CoreString name("abc");
  EXPECT_STREQ(name.Left(99).c_str(), "abc");
  EXPECT_STREQ(name.Left(0).c_str(), "");
  EXPECT_STREQ(name.Left(-1).c_str(), "");
  EXPECT_STREQ(name.Mid(0).c_str(), "abc");
  EXPECT_STREQ(name.Mid(INT_MIN).c_str(), "abc");
  EXPECT_STREQ(name.Mid(4).c_str(), "");
  EXPECT_STREQ(name.Mid(INT_MAX).c_str(), "");
  EXPECT_STREQ(name.Mid(2, 1).c_str(), "b");
  EXPECT_STREQ(name.Mid(2, INT_MAX).c_str(), "bc");
}

TEST(CoreString, ComparesBytesAsUnsigned) {
  EXPECT_EQ(CoreString("abc").Compare("abc"), 0);
  EXPECT_LT(CoreString("ab").Compare("abc"), 0);
  EXPECT_GT(CoreString("\xE5").Compare("z"), 0);
  EXPECT_EQ(CoreString().Compare(nullptr), 0);
  EXPECT_TRUE(CoreString("a\0b", 3) != CoreString("a\0c", 3));
}

TEST(CoreString, OrdersTextsByTheFirstDifferenceThenByLength) {
  const char* const sorted[] = {"", "a", "ab", "abc", "abd", "b", "ba", "\x7f", "\x80", "\xff"};
  for (std::size_t i = 0; i < std::size(sorted); ++i) {
    for (std::size_t j = 0; j < std::size(sorted); ++j) {
      const CoreString a(sorted[i]), b(sorted[j]);
      const auto sign = [](int order) { return order < 0 ? -1 : order > 0 ? 1 : 0; };
      const int expected = i < j ? -1 : i > j ? 1 : 0;
      EXPECT_EQ(sign(a.Compare(b)), expected) << sorted[i] << " and " << sorted[j];
      EXPECT_EQ(sign(a.Compare(sorted[j])), expected) << sorted[i] << " and " << sorted[j];
      EXPECT_EQ(a < b, i < j);
      EXPECT_EQ(a == b, i == j);
      EXPECT_EQ(a != b, i != j);
      const CoreWideString wideA(std::wstring(a.c_str(), a.c_str() + a.GetLength()).c_str());
      const CoreWideString wideB(std::wstring(b.c_str(), b.c_str() + b.GetLength()).c_str());
      EXPECT_EQ(wideA == wideB, i == j);
    }
  }
  EXPECT_GT(CoreString("a").Compare(nullptr), 0);
}

TEST(CoreString, EveryPieceOfAText) {
  const std::string whole = "0123456";
  const CoreString text(whole.c_str());
  for (int first = -2; first <= 9; ++first) {
    const std::size_t from = static_cast<std::size_t>(std::max(first, 1)) - 1;
    const std::string rest = from < whole.size() ? whole.substr(from) : "";
    EXPECT_STREQ(text.Mid(first).c_str(), rest.c_str()) << first;
    for (int count = -2; count <= 9; ++count) {
      const std::string piece = rest.substr(0, static_cast<std::size_t>(std::max(count, 0)));
      EXPECT_STREQ(text.Mid(first, count).c_str(), piece.c_str()) << first << ", " << count;
      EXPECT_EQ(text.Mid(first, count).GetLength(), static_cast<int>(piece.size()));
      EXPECT_EQ(text.Mid(first, count).GetData() == nullptr, piece.empty());
    }
  }
}

TEST(CoreString, ABufferHasRoomForItsTerminator) {
  for (const int capacity : {-1, 0, 1, 2, 15, 16, 1000}) {
    CoreString text;
    char* const buffer = text.GetBuffer(capacity);
    ASSERT_NE(buffer, nullptr) << capacity;
    EXPECT_EQ(*buffer, '\0');
    const auto size = static_cast<std::size_t>(std::max(capacity, 0));
    std::memset(buffer, 'x', size);
    text.ReleaseBuffer();
    EXPECT_EQ(std::string(text.c_str()), std::string(size, 'x')) << "without a terminator up to the end";
    EXPECT_EQ(text.GetLength(), static_cast<int>(size));
    EXPECT_EQ(text.GetBuffer(capacity), buffer) << "the room that is there";
  }
  CoreString none;
  none.ReleaseBuffer(5);
  EXPECT_EQ(none.GetLength(), 0);
  EXPECT_NE(none.GetBuffer(INT_MAX - 1), nullptr) << "2 GB that nobody touches";
}

TEST(CoreString, AppendingGrowsByTheTail) {
  CoreString text;
  std::string expected;
  for (int i = 0; i < 300; ++i) {
    const std::string piece(static_cast<std::size_t>(i % 7), static_cast<char>('a' + i % 26));
    text += CoreString(piece.c_str());
    expected += piece;
    ASSERT_EQ(text.GetLength(), static_cast<int>(expected.size()));
    ASSERT_STREQ(text.c_str(), expected.c_str());
  }
  CoreString empty;
  empty += CoreString();
  EXPECT_EQ(empty.GetData(), nullptr);
}

TEST(CoreString, BufferIsFilledInPlace) {
  CoreString text;
  std::memcpy(text.GetBuffer(10), "0123456789", 10);
  text.ReleaseBuffer(4);
  EXPECT_STREQ(text.c_str(), "0123");
}

TEST(CoreString, BufferKeepsTheTextAtItsFront) {
  CoreString text("ab");
  std::strcpy(text.GetBuffer(5) + 2, "cd");
  text.ReleaseBuffer();
  EXPECT_STREQ(text.c_str(), "abcd");
}

TEST(CoreString, ReleasePastTheCapacityCountsAsTheCapacity) {
  CoreString text;
  std::memset(text.GetBuffer(3), 'x', 3);
  text.ReleaseBuffer(1000);
  EXPECT_STREQ(text.c_str(), "xxx");
  EXPECT_EQ(text.GetLength(), 3);
  text.ReleaseBuffer(4);
  EXPECT_EQ(text.GetLength(), 3);
  text.ReleaseBuffer(3);
  EXPECT_STREQ(text.c_str(), "xxx");
  text.ReleaseBuffer(2);
  EXPECT_STREQ(text.c_str(), "xx");
}

TEST(CoreString, ReplaceCountsAndChangesEveryOccurrence) {
  CoreWideString text(L"a\\b\\c");
  EXPECT_EQ(text.Replace(L'\\', L'/'), 2);
  EXPECT_STREQ(text.c_str(), L"a/b/c");
  EXPECT_EQ(text.Replace(L'x', L'y'), 0);
  EXPECT_EQ(text.Replace(L'a', L'A'), 1);
  EXPECT_EQ(text.Replace(L'c', L'C'), 1);
  EXPECT_STREQ(text.c_str(), L"A/b/C");
}

TEST(CoreString, AppendingItselfDoublesTheText) {
  CoreString text("ab");
  text += text;
  EXPECT_STREQ(text.c_str(), "abab");
}

TEST(CoreString, CopiesAreIndependentAndMovedFromTextsStayUsable) {
  CoreString a("one");
  CoreString b = a;
  a.Replace('o', 'x');
  EXPECT_STREQ(b.c_str(), "one");
  const CoreString c = std::move(b);
  EXPECT_STREQ(c.c_str(), "one");
  b = "two";
  EXPECT_STREQ(b.c_str(), "two");
}

template <typename S>
void ExpectOrderAndDuplicates(const S& a, const S& b) {
  CoreStringList<S> names;
  EXPECT_TRUE(names.IsEmpty());
  for (const S& name : {b, a, b, S()}) names.Add(name);
  ASSERT_EQ(names.GetCount(), 4);
  EXPECT_EQ(names.GetAt(0), b);
  EXPECT_EQ(names.GetAt(1), a);
  EXPECT_EQ(names.GetAt(2), b);
  EXPECT_TRUE(names.GetAt(3).IsEmpty());
  EXPECT_EQ(std::distance(names.begin(), names.end()), 4);
  names.Clear();
  EXPECT_TRUE(names.IsEmpty());
  EXPECT_EQ(names.GetCount(), 0);
}

TEST(CoreString, ClearedItHasNoDataAndTakesTextAgain) {
  CoreString text("some text");
  text.Clear();
  EXPECT_TRUE(text.IsEmpty());
  EXPECT_EQ(text.GetData(), nullptr);
  text += CoreString("more");
  EXPECT_STREQ(text.c_str(), "more");
}

TEST(CoreString, AssignedToItselfItStays) {
  CoreString text("some text");
  const CoreString& same = text;
  text = same;
  EXPECT_STREQ(text.c_str(), "some text");
}

TEST(CoreString, ABufferThatNoMemoryHoldsIsRefusedAndTheTextStays) {
  CoreString text("some text");
  EXPECT_THROW(text.GetBuffer(INT_MAX), std::length_error);
  EXPECT_STREQ(text.c_str(), "some text");
}

TEST(CoreStringList, KeepsOrderAndDuplicatesInBothWidths) {
  ExpectOrderAndDuplicates<CoreString>("a", "b");
  ExpectOrderAndDuplicates<CoreWideString>(L"a", L"\x1f600");
}

}  // namespace
