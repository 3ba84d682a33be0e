// SPDX-License-Identifier: MIT
// Texts, documents and mutexes in forms of every kind, each beside the form that costs least.
#include "forms.h"

#include <tovkit/convert.h>
#include <tovkit/imaging.h>
#include <tovkit/json.h>
#include <tovkit/system.h>
#include <tovmx/text_codec.h>

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <memory>

namespace {

using bench::Form;
using bench::Work;
using tovkit::Convert;
using tovkit::Json;
using tovkit::JsonValue;
using tovkit::SharedPtr;

// ---- UTF-8: 64 KiB each

struct Piece {
  const char* name;
  const char* text;
};
constexpr Piece kPieces[] = {{"chinese", "\u4E2D\u6587\u5B57"},
                             {"accented_letters", "\u00E9\u00E0\u00FC"},
                             {"french", "d\u00E9j\u00E0 vu, l'\u00E9t\u00E9 "},
                             {"emoji", "\U0001F600\U0001F601"},
                             {"emoji_in_text", "nice \U0001F600 day "},
                             {"no_utf8", "\xFF\xFE\x80"},
                             {"a_bad_byte_in_19", "\u4E2D\u6587\u5B57\u4E2D\u6587\u5B57\xFF"},
                             {"latin1_letters", "d\xE9j\xE0 vu "}};

std::string Repeated(const char* piece) {
  std::string text;
  while (text.size() < 65536) text += piece;
  return text;
}

std::vector<Form> ToWide() {
  std::vector<Form> forms;
  for (const Piece& piece : kPieces) {
    forms.push_back({piece.name, [piece]() -> Work {
                       return [text = Repeated(piece.text)] {
                         benchmark::DoNotOptimize(
                             CoreTextCodec::Utf8Decode(text.data(), static_cast<int>(text.size())).GetData());
                       };
                     }});
  }
  return forms;
}

std::vector<Form> ToUtf8() {
  std::vector<Form> forms;
  for (const Piece& piece : kPieces) {
    forms.push_back({piece.name, [piece]() -> Work {
                       const std::string text = Repeated(piece.text);
                       return [wide = CoreTextCodec::Utf8Decode(text.data(), static_cast<int>(text.size()))] {
                         benchmark::DoNotOptimize(
                             CoreTextCodec::Utf8Encode(wide.GetData(), wide.GetLength()).GetData());
                       };
                     }});
  }
  return forms;
}

[[maybe_unused]] const bool kToWide = bench::RegisterForms("form_utf8_to_wide", ToWide());
[[maybe_unused]] const bool kToUtf8 = bench::RegisterForms("form_wide_to_utf8", ToUtf8());

// ---- Documents

SharedPtr<JsonValue> Parsed(const std::string& text) {
  return Json::Parse(text.data(), static_cast<std::uint32_t>(text.size()), nullptr);
}

// A member at a time, each in its turn.
Form GetMember(const char* name, int members) {
  return {name, [members]() -> Work {
            std::string text = "{";
            std::vector<std::string> keys;
            for (int i = 0; i < members; ++i) {
              keys.push_back("key" + std::to_string(i));
              text += (i == 0 ? "\"" : ",\"") + keys.back() + "\":1";
            }
            return [object = Parsed(text + "}"), keys, at = std::size_t{0}]() mutable {
              benchmark::DoNotOptimize(object->GetMemberInt(keys[at].c_str(), 0));
              at = at + 1 == keys.size() ? 0 : at + 1;
            };
          }};
}

[[maybe_unused]] const bool kMembers = bench::RegisterForms(
    "form_member_of",
    {GetMember("16", 16), GetMember("128", 128), GetMember("1000", 1000), GetMember("10000", 10000)});

// 4,000 elements, new each time.
Form Insert(const char* name, int index) {
  return {name, [index]() -> Work {
            return [index] {
              const SharedPtr<JsonValue> array = Parsed("[]");
              for (int i = 0; i < 4000; ++i) array->InsertInt(index, i);
            };
          }};
}

[[maybe_unused]] const bool kInsert =
    bench::RegisterForms("form_4000_elements", {Insert("at_the_end", -1), Insert("in_front", 0)});

[[maybe_unused]] const bool kPath = bench::RegisterForms(
    "form_20000_numbers_to_json", {{"array",
                                    []() -> Work {
                                      const auto numbers = std::make_shared<CoreArray<float>>();
                                      for (int i = 0; i < 20000; ++i) numbers->Add(static_cast<float>(i));
                                      return [numbers] { Convert::ArrayToJson(*numbers); };
                                    }},
                                   {"path", []() -> Work {
                                      const auto path = std::make_shared<CorePath>();
                                      for (int i = 0; i < 10000; ++i) path->LineTo(static_cast<float>(i), 1);
                                      return [path] { Convert::PathToJson(*path); };
                                    }}});

// ---- Rectangles

Form Erase(const char* name, int bits, int colors) {
  return {name, [bits, colors]() -> Work {
            const auto page = std::make_shared<CoreDib>();
            page->Create(1000, 1000, bits);
            std::vector<std::uint32_t> entries(static_cast<std::size_t>(colors));
            for (std::size_t i = 0; i < entries.size(); ++i)
              entries[i] = static_cast<std::uint32_t>(i) * 0x10101;
            page->SetPalette(entries.data(), colors);
            return [page] { tovkit::DeleteRectDib(page.get(), {10, 10, 30, 20}); };
          }};
}

[[maybe_unused]] const bool kErase = bench::RegisterForms(
    "form_erase_20_by_10", {Erase("24", 24, 0), Erase("8_gray", 8, 0), Erase("8_palette_with_white", 8, 256),
                            Erase("8_palette_without_white", 8, 255), Erase("1", 1, 0)});

// ---- Mutexes and processes

Form Watched(const char* name, std::size_t alive) {
  return {name, [alive]() -> Work {
            const auto others = std::make_shared<std::vector<std::unique_ptr<tovkit::WatchedMutex>>>();
            while (others->size() < alive)
              others->push_back(std::make_unique<tovkit::WatchedMutex>("other", 100));
            return [others] { const tovkit::WatchedMutex mutex("one", 100); };
          }};
}

[[maybe_unused]] const bool kWatched =
    bench::RegisterForms("form_watched_mutex_beside", {Watched("none", 0), Watched("30000", 30000)});

// The waiting child's line goes where nobody reads it.
Form StartProcess(const char* name, std::size_t gigabytes, int descriptors) {
  return {name, [gigabytes, descriptors]() -> Work {
            struct Burden {
              std::vector<int> opened;
              void* memory = nullptr;
              std::size_t size = 0;
              ~Burden() {
                for (const int fd : opened) close(fd);
                if (memory != nullptr) munmap(memory, size);
              }
            };
            const auto burden = std::make_shared<Burden>();
            for (int i = 0; i < descriptors; ++i) {
              const int fd = dup(STDERR_FILENO);
              if (fd != -1) burden->opened.push_back(fd);
            }
            if (gigabytes != 0) {
              burden->size = gigabytes << 30;
              burden->memory =
                  mmap(nullptr, burden->size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
              madvise(burden->memory, burden->size, MADV_NOHUGEPAGE);
              std::memset(burden->memory, 1, burden->size);
            }
            return [burden] {
              tovkit::Process process;
              process.start("/bin/true", 0, nullptr);
              process.wait(-1);
            };
          }};
}

[[maybe_unused]] const bool kProcess = bench::RegisterForms(
    "form_process_of_a_parent_with",
    {StartProcess("little", 0, 0), StartProcess("1_GiB", 1, 0), StartProcess("10000_descriptors", 0, 10000)},
    true);

Form Wait(const char* name, int limit) {
  return {name, [limit]() -> Work {
            return [limit] {
              tovkit::Process process;
              process.start("/bin/true", 0, nullptr);
              process.wait(limit);
            };
          }};
}

[[maybe_unused]] const bool kWait = bench::RegisterForms(
    "form_wait_for_a_process", {Wait("without_a_limit", -1), Wait("with_a_limit", 10000)}, true);

}  // namespace
