// SPDX-License-Identifier: MIT
// The file functions where the local encoding is not UTF-8: paths are given in UTF-8, and the names on disk
// are the local bytes.
#include <tovkit/util.h>

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "in_locale.h"
#include "scratch_dir.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* kGbk = "zh_CN.GBK";

constexpr const char* kSong = "\xE5\xAE\x8B";  // U+5B8B
constexpr const char* kSongGbk = "\xCB\xCE";
constexpr const char* kTi = "\xE4\xBD\x93";  // U+4F53
constexpr const char* kTiGbk = "\xCC\xE5";
constexpr const char* kCheng = "\xE4\xB9\x97";  // U+4E57, whose second byte in GBK looks like a backslash
constexpr const char* kChengGbk = "\x81\x5C";

void Write(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

std::string Read(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

bool IsFile(const std::string& path) { return tovkit::FileInfo(path.c_str(), -1).IsFile(); }

TEST(LocalText, IsInTheCodesetOfTheEnvironmentsLcCtype) {
  EXPECT_IN("", [] {
    setenv("LC_CTYPE", kGbk, 1);
    HOLDS(tovkit::LocalToWide(kSongGbk, -1) == L"\u5B8B");
    HOLDS(tovkit::WideToLocal(L"\u5B8B", -1) == kSongGbk);
  });
}

TEST(LocalText, IsUtf8InTheCAndPosixLocales) {
  for (const char* const locale : {"C", "POSIX"}) {
    EXPECT_IN(locale, [] {
      HOLDS(tovkit::LocalToWide(kSong, -1) == L"\u5B8B");
      HOLDS(tovkit::WideToLocal(L"\u5B8B", -1) == kSong);
    }) << locale;
  }
}

// What comes from the system, and what the system takes.
TEST(LocalText, AsUtf8AndUtf8AsLocalText) {
  EXPECT_IN(kGbk, [] {
    HOLDS(tovkit::LocalToUtf8(kSongGbk, -1) == kSong);
    HOLDS(tovkit::Utf8ToLocal(kSong, -1) == kSongGbk);
    HOLDS(tovkit::LocalToUtf8(kChengGbk, 2) == kCheng);
    HOLDS(tovkit::Utf8ToLocal(kCheng, 3) == kChengGbk);
    HOLDS(tovkit::Utf8ToWide(kSong, -1) == L"\u5B8B" && tovkit::WideToUtf8(L"\u5B8B", -1) == kSong);
  });
}

TEST(LocalText, ACharacterThatTheTargetEncodingLacksBecomesAQuestionMark) {
  EXPECT_IN(kGbk, [] {
    HOLDS(tovkit::WideToLocal(L"a\U0001F600\u5B8B", -1) == std::string("a?") + kSongGbk);
    HOLDS(tovkit::Utf8ToLocal("a\xF0\x9F\x98\x80z", -1) == "a?z");
  });
  EXPECT_IN("C", [] {
    HOLDS(tovkit::WideToLocal(std::wstring{0xD800, L'a', 0x110000}.c_str(), -1) == "?a?");
    HOLDS(tovkit::WideToUtf8(std::wstring{0xD800, L'a', 0x110000}.c_str(), -1) == "?a?");
  });
}

TEST(LocalNames, FileStatusIsThatOfTheLocalName) {
  EXPECT_IN(kGbk, [] {
    const ScratchDir scratch;
    const std::string directory = scratch.path() + "/";
    for (const auto& [utf8, local] : {std::pair(kSong, kSongGbk), std::pair(kCheng, kChengGbk)}) {
      const std::string path = directory + utf8;
      const std::wstring wide = tovkit::Utf8ToWide(path.c_str(), -1);
      HOLDS(!IsFile(path) && tovkit::GetPathFlags(wide.c_str()) == 0);
      Write(directory + local, "x");
      HOLDS(IsFile(path) && tovkit::FileInfo(wide.c_str(), -1).IsFile());
      HOLDS(tovkit::CheckPath(path.c_str(), tovkit::PathIsFile) == tovkit::PathIsFile);
      HOLDS(tovkit::CheckPath(wide.c_str(), tovkit::PathIsFile) == tovkit::PathIsFile);
      HOLDS((tovkit::GetPathFlags(path.c_str()) & tovkit::PathIsFile) == tovkit::PathIsFile);
    }
    fs::create_directory(directory + kTiGbk);
    Write(directory + kTiGbk + "/f", "x");
    HOLDS(IsFile(directory + kTi + "\\f"));
  });
}

TEST(LocalNames, FilesAreCopiedUnderTheirLocalNames) {
  EXPECT_IN(kGbk, [] {
    const ScratchDir scratch;
    const std::string directory = scratch.path() + "/";
    Write(directory + kSongGbk, "content");
    tovkit::CopyFile((directory + kSong).c_str(), (directory + kCheng).c_str());
    HOLDS(Read(directory + kChengGbk) == "content");
  });
}

TEST(LocalNames, FilesAndParentsAreMadeUnderTheirLocalNames) {
  EXPECT_IN(kGbk, [] {
    const ScratchDir scratch;
    const std::string directory = scratch.path() + "/";
    HOLDS(tovkit::CreateFileWithParents((directory + kSong + "\\" + kTi).c_str()));
    HOLDS(fs::is_regular_file(directory + kSongGbk + "/" + kTiGbk));
    // Separators are replaced in the local text, where this letter holds the byte of one.
    HOLDS(tovkit::CreateFileWithParents((directory + kCheng + "z").c_str()));
    HOLDS(fs::is_regular_file(directory + "\x81/z"));
  });
}

TEST(LocalNames, LibrariesHaveLocalPathsAndNames) {
  EXPECT_IN(kGbk, [] {
    const ScratchDir scratch;
    const std::string local = scratch.path() + "/" + kSongGbk;
    const std::string utf8 = scratch.path() + "/" + kSong;
    fs::create_directory(local);
    const std::string file = local + "/lib" + kTiGbk + ".so";
    fs::copy_file(TOVKIT_TEST_PLUGIN_DIR "/libtovkit_test_plugin.so", file);

    tovkit::DynamicLibrary byName(utf8.c_str(), kTi);
    HOLDS(byName.GetPath() == file && std::string(byName.GetName()) == kTiGbk);
    HOLDS(byName.Load() && byName.Resolve("PluginAnswer") != nullptr);
    HOLDS(byName.Resolve("none") == nullptr);
    HOLDS(byName.GetError() == "\"none\" not found in library \"" + std::string(kTiGbk) + "\"");
    HOLDS(tovkit::GetModuleDirectory(("lib" + std::string(kTiGbk)).c_str()) == (utf8 + "/").c_str());

    tovkit::DynamicLibrary byPath((utf8 + "/lib" + kTi + ".so").c_str());
    HOLDS(byPath.GetPath() == file && std::string(byPath.GetName()) == kTiGbk);
    HOLDS(byPath.Load());
  });
}

// Kept: both work on the local bytes.
TEST(LocalNames, ALetterThatEndsLikeASeparatorIsOneToTheLibrary) {
  EXPECT_IN(kGbk, [] {
    const tovkit::DynamicLibrary byName(kCheng, "x");
    HOLDS(byName.GetPath() == std::string(kChengGbk) + "libx.so");
    const tovkit::DynamicLibrary byPath((std::string(kCheng) + "x.so").c_str());
    HOLDS(std::string(byPath.GetName()) == "x");
  });
}

TEST(LocalNames, TemporaryNamesAreNotConverted) {
  EXPECT_IN(kGbk, [] {
    tovkit::TempFile file(kSong);
    file.setPrefix(kTiGbk);
    file.makePath();
    HOLDS(std::string(file.path()).rfind(std::string(kSong) + kTiGbk + "_", 0) == 0);
  });
}

// Names that another locale wrote: no text here, or another.
TEST(LocalNames, ANameThatIsNoLocalTextIsFoundByItsUtf8) {
  for (const char* const locale : {"zh_CN.GBK", "zh_CN.GB2312", "ko_KR.EUC-KR", "de_DE.ISO-8859-1", "C"}) {
    EXPECT_IN(locale, [] {
      const ScratchDir scratch;
      for (const char* const name :
           {"\xE5\x90\x8D", "\xC9\xA9", "\xFF\xFE", "\xE5\xAE", "\x80", "\xF0\x9F\x98\x80"}) {
        const std::string local = scratch.path() + "/" + name;
        Write(local, name);
        const std::string path = tovkit::LocalToUtf8(local.c_str(), -1);
        HOLDS(IsFile(path));
        const std::string copy = path + ".copy";
        tovkit::CopyFile(path.c_str(), copy.c_str());
        HOLDS(Read(local + ".copy") == name);
      }
    }) << locale;
  }
}

TEST(LocalNames, Base64KnowsTheAlphabetWhateverLocaleTheProcessSets) {
  for (const char* const level : {"scalar", "avx2", "avx512"}) {
    setenv("TOVKIT_SIMD", level, 1);
    EXPECT_IN("de_DE.ISO-8859-1", [] {
      HOLDS(std::setlocale(LC_ALL, "") != nullptr);
      HOLDS(tovkit::Base64Decode("Zm9v\xE9YmFy", -1) == "foo");
      HOLDS(tovkit::Base64Decode("Zm9vYmFyZm9vYmFyZm9vYmFyZm9vYmFy\xE9YmFyZm9vYmFyZm9vYmFyZm9vYmFy", -1) ==
            "foobarfoobarfoobarfoobar");
    });
  }
  unsetenv("TOVKIT_SIMD");
}

}  // namespace
