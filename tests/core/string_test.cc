// SPDX-License-Identifier: MIT
#include <tovmx/string.h>
#include <tovmx/string_list.h>

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <iterator>
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
  EXPECT_GE(text.GetLength(), 3);
  text.ReleaseBuffer(3);
  EXPECT_STREQ(text.c_str(), "xxx");
}

TEST(CoreString, ReplaceCountsAndChangesEveryOccurrence) {
  CoreWideString text(L"a\\b\\c");
  EXPECT_EQ(text.Replace(L'\\', L'/'), 2);
  EXPECT_STREQ(text.c_str(), L"a/b/c");
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
