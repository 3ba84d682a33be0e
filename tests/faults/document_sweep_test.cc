// SPDX-License-Identifier: MIT
// Documents and conversions.
#include "allocation_sweep.h"

#include <tovkit/convert.h>
#include <tovkit/json.h>

#include <cstdint>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <thread>

using tovkit::Convert;
using tovkit::Json;
using tovkit::JsonValue;
using tovkit::SharedPtr;

namespace {

using Handle = SharedPtr<JsonValue>;

constexpr char kDocument[] =
    "{\"Content\": \"a text that is longer than the short ones\", \"Font\": {\"FontSize\": 24, \"Bold\": "
    "true},"
    " \"Numbers\": [1, 2.5, -3, 4294967295, 1e300, \"12\", null], \"Nested\": [[[[{}]]], {\"deep\": {\"er\": "
    "[]}}]}";

Handle Document() { return Json::Parse(kDocument, sizeof kDocument - 1, nullptr); }

class DocumentSweep : public AllocationSweep {
 protected:
  // A change of a document: when it throws, the document is as it was.
  template <typename Change>
  void SweepChange(Change change) {
    const std::string before = Document()->ToString().c_str();
    Sweep(
        Document, [&change](Handle& root) { change(root); },
        [&](Handle& root, bool threw) {
          if (threw) {
            EXPECT_EQ(root->ToString().c_str(), before);
          }
          change(root);
          root->ToString();
        });
  }
};

TEST_F(DocumentSweep, JsonParseAndWrite) {
  SweepCall([] { Document(); });
  SweepCall([] { Json::Parse(nullptr, 0, nullptr); });
  const Handle root = Document();
  SweepCall([&] { root->ToString(); });
  SweepCall([&] { Json::Write(root, nullptr); });
  SweepCall([&] { root->Clone(); });
  SweepCall([&] { root->GetMemberNames(); });
  testing::internal::CaptureStdout();
  SweepCall([] { Json::Parse("[1, [2, {\"a\": tru", 18, nullptr); });
  SweepCall([] { Json::Parse("42", 2, nullptr); });
  testing::internal::GetCapturedStdout();
}

// More values, levels and text than the parser and the writer have room for before they ask for more.
TEST_F(DocumentSweep, ADocumentThatOutgrowsEveryFirstRoom) {
  std::string text =
      "{\"escaped \\u00e9 text\": \"" + std::string(200, 'x') + "\\n" + std::string(5000, 'y') + "\"";
  for (int i = 0; i < 300; ++i)
    text += ", \"member number " + std::to_string(i) + "\": " + std::to_string(i) + ".25";
  text +=
      ", \"rare\": 123456789012345678901.5e-300, \"long\": \"" + std::string(100000, 'z') + "\", \"deep\": ";
  text += std::string(200, '[') + std::string(200, ']') + "}";
  const auto parse = [&text] {
    return Json::Parse(text.data(), static_cast<unsigned>(text.size()), nullptr);
  };
  const Handle root = parse();
  const std::string written = root->ToString().c_str();
  SweepCall([&] { EXPECT_EQ(parse()->Size(), 304u); });
  SweepCall([&] { EXPECT_EQ(root->ToString().c_str(), written); });
  SweepCall([&] { EXPECT_EQ(root->Clone()->Size(), 304u); });
  EXPECT_GE(points_, 20);
  // In error at its very end, so that both parsers do their work.
  text.back() = ']';
  testing::internal::CaptureStdout();
  SweepCall([&] { EXPECT_FALSE(parse()); });
  testing::internal::GetCapturedStdout();
}

// The list of members is full, and too long to grow within a chunk of the pool.
TEST_F(DocumentSweep, AMemberThatFindsNoPlaceLeavesTheObjectAsItWas) {
  constexpr std::uint32_t kMembers = 1500;
  std::string text = "{\"0\": 0";
  for (std::uint32_t i = 1; i < kMembers; ++i) text += ", \"" + std::to_string(i) + "\": 0";
  text += "}";
  Sweep([&text] { return Json::Parse(text.data(), static_cast<unsigned>(text.size()), nullptr); },
        [](Handle& root) { root->SetMemberInt("new", 5); },
        [](Handle& root, bool threw) {
          EXPECT_EQ(root->Size(), threw ? kMembers : kMembers + 1);
          EXPECT_EQ(root->HasMember("new"), !threw);
          root->SetMemberInt("new", 6);
          EXPECT_EQ(root->Size(), kMembers + 1);
          EXPECT_EQ(root->GetMemberInt("new", 0), 6);
        });
  EXPECT_GE(points_, 2);
}

TEST_F(DocumentSweep, TheFirstReleaseOfAThreadNeedsNoMemory) {
  const Handle root = Document();
  long seen = -1;
  std::thread([&] {
    std::optional<Handle> member = root->GetMember("Font");
    const AllocationFaults faults = AllocationFaults::OfAny(1, LONG_MAX);
    member.reset();
    seen = faults.seen();
  }).join();
  EXPECT_EQ(seen, 0);
}

// In a thread of its own, which keeps no block yet.
TEST_F(DocumentSweep, WhenTheControlBlockCannotBeAllocatedTheObjectIsDeletedAndBadAllocIsThrown) {
  struct Counted {
    explicit Counted(int* count) : deleted(count) {}
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;
    virtual ~Counted() { ++*deleted; }
    int* deleted;
  };
  std::thread([] {
    int deleted = 0;
    auto* const object = new Counted(&deleted);
    long failed = 0;
    {
      const AllocationFaults faults = AllocationFaults::OfAny(1, 1);
      EXPECT_THROW(SharedPtr<Counted>{object}, std::bad_alloc);
      failed = faults.failed();
    }
    EXPECT_EQ(failed, 1);
    EXPECT_EQ(deleted, 1);
    const AllocationFaults faults = AllocationFaults::OfAny(1, 1);
    EXPECT_THROW(Handle(), std::bad_alloc) << "a null handle allocates its block too";
  }).join();
}

// The allocations of a diagnosis: each growth is one.
long DiagnosisAllocations(const std::string& text) {
  const AllocationFaults none = AllocationFaults::OfAny(LONG_MAX, 1);
  EXPECT_EQ(Json::Diagnose(text.data(), text.size()).code, tovkit::kJsonAccepted);
  return none.seen();
}

std::string Repeated(const std::string& piece, int count) {
  std::string text;
  for (int i = 0; i < count; ++i) text += piece;
  return text;
}

TEST(Diagnosis, MemoryGrowsWithTheDepthTheNamesOnTheWayDownAndTheLongestStringAndWithNothingElse) {
  const auto flat = [](int count) { return "[" + Repeated("1,2.5,\"a text\",{\"name\":[]},", count) + "0]"; };
  EXPECT_EQ(DiagnosisAllocations(flat(100)), DiagnosisAllocations(flat(100000)));
  const auto texts = [](int count, std::size_t size) {
    return "[" + Repeated("\"" + std::string(size, 'x') + "\",", count) + "0]";
  };
  EXPECT_EQ(DiagnosisAllocations(texts(2, 100000)), DiagnosisAllocations(texts(200, 100000)));
  EXPECT_LT(DiagnosisAllocations(texts(1, 100)), DiagnosisAllocations(texts(1, 1000000)));
  const auto deep = [](int depth) { return Repeated("[", depth) + Repeated("]", depth); };
  EXPECT_LT(DiagnosisAllocations(deep(10)), DiagnosisAllocations(deep(10000)));
  const auto named = [](int size) {
    return "{\"" + std::string(static_cast<std::size_t>(size), 'x') + "\":1}";
  };
  EXPECT_LT(DiagnosisAllocations(named(10)), DiagnosisAllocations(named(1000000)));
}

TEST_F(DocumentSweep, JsonReads) {
  const Handle root = Document();
  SweepCall([&] { root->GetMember("Font")->GetMemberInt("FontSize", 0); });
  SweepCall([&] { root->GetMember("none"); });
  SweepCall([&] { root->GetMember("Numbers")->GetAt(1); });
  Sweep(
      Document,
      [](Handle& object) {
        CoreString name;
        Handle value;
        while (object->FirstMember(name, value) && object->NextMember(name, value)) break;
      },
      [](Handle& object, bool) { EXPECT_EQ(object->Size(), 4u); });
}

TEST_F(DocumentSweep, JsonChanges) {
  const std::string longText(100000, 'x');
  SweepChange([&](Handle& root) { root->SetMemberString("Content", longText.c_str()); });
  SweepChange([](Handle& root) { root->SetMemberInt("a new member", 5); });
  SweepChange([](Handle& root) { root->SetMember("copy", Document()); });
  SweepChange([](Handle& root) { root->AddArrayMember("array"); });
  SweepChange([](Handle& root) { root->AddObjectMember("Font"); });
  SweepChange([](Handle& root) { root->RemoveMember("Font"); });
  SweepChange([](Handle& root) { root->Assign(Json::Parse("[1, \"two\", {}]", 14, nullptr)); });
  const auto numbers = [](Handle& root) { return root->GetMember("Numbers"); };
  SweepChange([&](Handle& root) { numbers(root)->InsertInt(0, 7); });
  SweepChange([&](Handle& root) { numbers(root)->InsertString(-1, longText.c_str()); });
  SweepChange([&](Handle& root) { numbers(root)->InsertObject(2); });
  SweepChange([&](Handle& root) { numbers(root)->InsertArray(2); });
  SweepChange([&](Handle& root) { numbers(root)->Insert(1, Document()); });
  SweepChange([&](Handle& root) { numbers(root)->SetAtString(0, longText.c_str()); });
  SweepChange([&](Handle& root) { numbers(root)->SetAt(0, Document()); });
  SweepChange([&](Handle& root) { numbers(root)->RemoveAt(0); });
}

TEST_F(DocumentSweep, ConvertScalarsAndColors) {
  const Handle root = Document();
  const SharedPtr<const JsonValue> content = root->GetMember("Content");
  const SharedPtr<const JsonValue> numbers = root->GetMember("Numbers");
  SweepCall([&] { Convert::ToText(content, 0); });
  SweepCall([&] { Convert::ToText(numbers->GetAt(1), 3); });
  SweepCall([&] { Convert::ToInt(content); });
  SweepCall([&] { Convert::ToDouble(content); });
  unsigned color = 5;
  SweepCall([&] { Convert::ToRGB(numbers, color); });
  SweepCall([&] { Convert::ToColor(numbers, CoreColorSpace{kCoreColorCmyk}, color); });
  SweepCall([&] { Convert::FromCMYK(1); });
  SweepCall([&] { Convert::FromColor(CoreColorSpace{kCoreColorGray}, 1); });
  SweepCall([&] { Convert::FromColor(CoreColorSpace{}, 1); });
}

TEST_F(DocumentSweep, ConvertRecordsAndPaths) {
  const SharedPtr<const JsonValue> numbers = Document()->GetMember("Numbers")->Clone();
  CoreMatrix matrix;
  CoreRect rect;
  SweepCall([&] { Convert::MatrixToJson(matrix); });
  SweepCall([&] { Convert::JsonToMatrix(numbers, matrix); });
  SweepCall([&] { Convert::RectToJson(rect); });
  SweepCall([&] { Convert::JsonToRect(numbers, rect); });
  CorePath path;
  for (int i = 0; i < 100; ++i) path.LineTo(static_cast<float>(i), 1);
  SweepCall([&] { Convert::PathToJson(path); });
}

TEST_F(DocumentSweep, ConvertSequences) {
  const SharedPtr<const JsonValue> numbers = Document()->GetMember("Numbers")->Clone();
  using Floats = std::unique_ptr<CoreArray<float>>;
  const auto isAppended = [](int size) { return size >= 1 && size <= 9; };
  Sweep([] { return std::make_unique<CoreArray<float>>(); },
        [&](Floats& array) { EXPECT_TRUE(Convert::JsonToArray(numbers, *array)); },
        [&](Floats& array, bool threw) {
          EXPECT_FALSE(threw);
          EXPECT_LE(array->GetSize(), 8) << "elements without memory are skipped";
          array->Add(1);
          EXPECT_TRUE(isAppended(array->GetSize()));
        });
  using Texts = std::unique_ptr<CoreStringList<CoreString>>;
  Sweep([] { return std::make_unique<CoreStringList<CoreString>>(); },
        [&](Texts& list) { Convert::JsonToStringList(numbers, *list); },
        [&](Texts& list, bool) {
          list->Add("one more");
          EXPECT_TRUE(isAppended(list->GetCount()));
        });
  SweepCall([&] {
    CoreStringList<CoreWideString> list;
    Convert::JsonToStringList(numbers, list);
  });
  CoreArray<int> integers;
  for (int i = 0; i < 1000; ++i) integers.Add(i);
  SweepCall([&] { Convert::ArrayToJson(integers); });
  CoreStringList<CoreWideString> wide;
  for (int i = 0; i < 20; ++i) wide.Add(L"\x5B8B\x4F53 and more");
  SweepCall([&] { Convert::StringListToJson(wide); });
}

}  // namespace
