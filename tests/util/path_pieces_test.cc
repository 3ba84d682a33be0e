// SPDX-License-Identifier: MIT
#include <tovkit/util.h>

#include <gtest/gtest.h>

#include <climits>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "every_text.h"
#include "scratch_dir.h"

namespace {

using tovkit::GetFileExtension;
using tovkit::GetFileName;
using tovkit::GetFileNamePart;

struct Pieces {
  const char* path;
  const char* extension;
  const char* namePart;
  const char* name;
};

TEST(PathPieces, ExtensionAndNamePartAndNameOfEveryForm) {
  const Pieces kTable[] = {
      {"archive.tar.gz", ".gz", "", "archive.tar"},
      {"noext", "", "", "noext"},
      {"a.b/c", ".b/c", "c", ""},
      {"dir/name.ext", ".ext", "name.ext", "name"},
      {"/name.ext", ".ext", "name.ext", "name"},
      {"name.tar.gz", ".gz", "", "name.tar"},
      {"name.", ".", "", "name"},
      {".profile", ".profile", "", ""},
      {"name", "", "", "name"},
      {"/name", "", "name", "name"},
      {"\\name", "", "name", "name"},
      {"dir/name", "", "name", ""},
      {"dir/", "", "", ""},
      {"/", "", "", ""},
      {"//name", "", "name", ""},
      {"", "", "", ""},
      {"abc", "", "", "abc"},
      {"c:\\x\\y.txt", ".txt", "y.txt", "y"},
      {"c:\\x/y\\z.txt", ".txt", "z.txt", "z"},
      {"dir/.profile", ".profile", ".profile", ""},
      {"dir/name.", ".", "name.", "name"},
      {"dir/.", ".", ".", ""},
      {"a.b/", ".b/", "", ""},
      {".", ".", "", ""},
      {"..", ".", "", "."},
      {"/.", ".", ".", ""},
      {"d/\xff\xfe.\xfd", ".\xfd", "\xff\xfe.\xfd", "\xff\xfe"},
      {"\xE5\xAE\x8B/\xE4\xBD\x93.ttf", ".ttf", "\xE4\xBD\x93.ttf", "\xE4\xBD\x93"},
  };
  for (const Pieces& row : kTable) {
    EXPECT_STREQ(GetFileExtension(row.path, -1), row.extension) << row.path;
    EXPECT_STREQ(GetFileNamePart(row.path, -1), row.namePart) << row.path;
    EXPECT_STREQ(GetFileName(row.path, -1).c_str(), row.name) << row.path;
  }
}

TEST(PathPieces, ResultsPointIntoThePath) {
  const char* path = "dir/a.txt";
  EXPECT_EQ(GetFileExtension(path, -1), path + 5);
  EXPECT_EQ(GetFileNamePart(path, -1), path + 4);
}

TEST(PathPieces, ABareNameReturnsTheStaticEmptyText) {
  EXPECT_STREQ(GetFileNamePart("dir/a.txt", -1), "a.txt");
  const std::string bare = "a.txt";
  const char* const empty = GetFileNamePart(bare.c_str(), -1);
  EXPECT_STREQ(empty, "");
  EXPECT_NE(empty, bare.c_str() + bare.size()) << "not the end of the path";
  EXPECT_EQ(GetFileNamePart("another", -1), empty) << "static";
}

TEST(PathPieces, WithoutAnExtensionTheResultIsAStaticEmptyText) {
  const std::string path = "dir/name";
  const char* const empty = GetFileExtension(path.c_str(), -1);
  EXPECT_STREQ(empty, "");
  EXPECT_NE(empty, path.c_str() + path.size()) << "not the end of the path";
  EXPECT_EQ(GetFileExtension("another", -1), empty) << "static";
}

TEST(PathPieces, AComponentWithoutAnExtensionIsGivenOnlyWhenNoDirectoryOtherThanTheRootStandsBeforeIt) {
  const char* const rows[][2] = {{"name", "name"}, {"/name", "name"}, {"\\name", "name"},
                                 {"dir/name", ""}, {"dir\\name", ""}, {"/dir/name", ""},
                                 {"//name", ""},   {"./name", ""},    {"dir/name.ext", "name"},
                                 {".profile", ""}, {"/.profile", ""}, {"name.tar.gz", "name.tar"},
                                 {"a.b/name", ""}, {"dir/", ""},      {"/", ""}};
  for (const auto& row : rows) EXPECT_STREQ(GetFileName(row[0], -1).c_str(), row[1]) << row[0];
}

// The same text is taken apart in the same way whatever the file system has under it.
TEST(PathPieces, WorkOnTheTextAloneAndTouchNoFile) {
  const ScratchDir scratch;
  namespace fs = std::filesystem;
  const std::string names[] = {"directory", "file", "link", "broken", "missing"};
  fs::create_directory(scratch.path() + "/directory");
  std::ofstream(scratch.path() + "/file") << "x";
  fs::create_symlink("file", scratch.path() + "/link");
  fs::create_symlink("nowhere", scratch.path() + "/broken");
  for (const std::string& name : names) {
    for (const char* const ending : {"", ".d", "/", "\\"}) {
      const std::string path = scratch.path() + "/" + name + ending;
      const std::string part = *ending == '.' || *ending == '\0' ? name + ending : "";
      EXPECT_STREQ(GetFileNamePart(path.c_str(), -1), part.c_str()) << path;
      EXPECT_STREQ(GetFileExtension(path.c_str(), -1), *ending == '.' ? ".d" : "") << path;
      EXPECT_STREQ(GetFileName(path.c_str(), -1).c_str(), *ending == '.' ? name.c_str() : "") << path;
    }
  }
}

TEST(PathPieces, NamePartOfATrailingSeparatorPointsAtTheTerminator) {
  const char* path = "dir/";
  EXPECT_EQ(GetFileNamePart(path, -1), path + 4);
}

TEST(PathPieces, LengthCutsTheSearchButNotTheResult) {
  const char* path = "a.b/c.d";
  EXPECT_EQ(GetFileExtension(path, 5), path + 1);
  EXPECT_EQ(GetFileNamePart(path, 3), std::string());
  EXPECT_EQ(GetFileNamePart(path, 4), path + 4);
  EXPECT_STREQ(GetFileName(path, 3).c_str(), "a");
  EXPECT_STREQ(GetFileName("name", 2).c_str(), "na");
  EXPECT_STREQ(GetFileName("/name", 3).c_str(), "na");
}

TEST(PathPieces, LengthZeroIsEmptyForPointersAndTheWholeTextForTheName) {
  EXPECT_STREQ(GetFileExtension("a.b", 0), "");
  EXPECT_STREQ(GetFileNamePart("a/b", 0), "");
  EXPECT_STREQ(GetFileName("abc", 0).c_str(), "abc");
  EXPECT_STREQ(GetFileName("dir/name.ext", 0).c_str(), "dir/name.ext");
}

TEST(PathPieces, AnyNegativeLengthMeansUpToTheTerminator) {
  EXPECT_STREQ(GetFileExtension("a.b", INT_MIN), ".b");
  EXPECT_STREQ(GetFileNamePart("a/b", -7), "b");
  EXPECT_STREQ(GetFileName("a/b.c", INT_MIN).c_str(), "b");
}

TEST(PathPieces, NullPathIsEmpty) {
  for (const int len : {-1, 0, 5}) {
    EXPECT_STREQ(GetFileExtension(nullptr, len), "");
    EXPECT_STREQ(GetFileNamePart(nullptr, len), "");
    EXPECT_TRUE(GetFileName(nullptr, len).IsEmpty());
  }
}

TEST(PathPieces, NulInsideAGivenLengthIsACharacter) {
  const CoreString name = GetFileName("d/a\0b.c", 7);
  ASSERT_EQ(name.GetLength(), 3);
  EXPECT_EQ(std::memcmp(name.c_str(), "a\0b", 3), 0);
}

TEST(PathPieces, MegabytePath) {
  const std::string letters(1 << 20, 'x');
  EXPECT_STREQ(GetFileExtension(letters.c_str(), -1), "");
  EXPECT_STREQ(GetFileNamePart(letters.c_str(), -1), "");
  EXPECT_EQ(GetFileName(letters.c_str(), -1).GetLength(), 1 << 20);
  const std::string deep = "d/" + letters + ".e";
  EXPECT_STREQ(GetFileExtension(deep.c_str(), -1), ".e");
  EXPECT_EQ(GetFileNamePart(deep.c_str(), -1), deep.c_str() + 2);
  EXPECT_EQ(GetFileName(deep.c_str(), -1).GetLength(), 1 << 20);
}

// A second implementation that walks by positions, as the rules are told.
struct ByPositions {
  static bool Separates(char c) { return c == '/' || c == '\\'; }

  static const char* Extension(const char* path, int len) {
    for (int i = len - 1; i >= 0; --i) {
      if (path[i] == '.') return path + i;
    }
    return "";
  }

  static const char* NamePart(const char* path, int len) {
    if (len == 0) return "";
    if (Separates(path[len - 1])) return path + len;
    for (int i = len - 2; i >= 0; --i) {
      if (Separates(path[i])) return path + i + 1;
    }
    return "";
  }

  static std::string Name(const char* path, int len) {
    if (len == 0) return path;
    int sep = len - 1;
    while (sep > 0 && !Separates(path[sep])) --sep;
    const bool separated = Separates(path[sep]);
    int dot = len - 1;
    while (dot > sep && path[dot] != '.') --dot;
    if (path[dot] == '.')
      return separated ? std::string(path + sep + 1, path + dot) : std::string(path, path + dot);
    if (!separated) return std::string(path, path + len);
    return sep == 0 ? std::string(path + 1, path + len) : "";
  }
};

TEST(PathPieces, EveryShortPathAgreesWithTheSecondImplementation) {
  const auto same = [](const char* a, const char* b) { return a == b || (*a == '\0' && *b == '\0'); };
  int wrong = 0;
  ForEveryText("a./\\", 7, [&](const std::string& text) {
    const char* path = text.c_str();
    for (int len = 0; len <= static_cast<int>(text.size()); ++len) {
      const bool right = same(GetFileExtension(path, len), ByPositions::Extension(path, len)) &&
                         same(GetFileNamePart(path, len), ByPositions::NamePart(path, len)) &&
                         ByPositions::Name(path, len) == GetFileName(path, len).c_str();
      if (!right && ++wrong < 10) ADD_FAILURE() << '"' << text << "\", " << len;
    }
  });
  EXPECT_EQ(wrong, 0);
}

}  // namespace
