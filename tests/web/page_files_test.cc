// SPDX-License-Identifier: MIT
#include "page_files.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <regex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

// What the first group of a pattern matches, everywhere in a text.
std::vector<std::string> AllOf(std::string_view text, const char* pattern) {
  const std::regex regex(pattern);
  std::vector<std::string> found;
  for (std::cregex_iterator i(text.data(), text.data() + text.size(), regex), end; i != end; ++i) {
    found.push_back((*i)[1]);
  }
  return found;
}

bool EndsWith(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

// The one file whose path ends so.
const page::File& FileThatEnds(std::string_view end) {
  for (const page::File& file : page::Files()) {
    if (EndsWith(file.path, end)) return file;
  }
  throw std::runtime_error("no file " + std::string(end));
}

std::string SourceText(const std::string& name) {
  std::ifstream in(std::string(TOVKIT_SOURCE_DIR) + "/" + name, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

TEST(PageFilesTest, WhateverThePageAsksForIsThere) {
  const page::File* root = page::FindFile("/");
  ASSERT_NE(root, nullptr);
  const std::vector<std::string> asked = AllOf(root->bytes, R"re((?:src|href)="(assets/[^"]*)")re");
  EXPECT_GE(asked.size(), 10U);
  for (const std::string& path : asked) EXPECT_NE(page::FindFile("/" + path), nullptr) << path;
  EXPECT_EQ(root->bytes.find("@ASSETS@"), std::string_view::npos);
}

TEST(PageFilesTest, EveryModuleFindsThoseThatItImports) {
  int count = 0;
  for (const page::File& file : page::Files()) {
    if (!EndsWith(file.path, ".js") || file.path.find("codemirror") != std::string_view::npos) continue;
    const std::string folder(file.path.substr(0, file.path.rfind('/') + 1));
    for (const std::string& name : AllOf(file.bytes, R"re(from '\./([^']*)')re")) {
      EXPECT_NE(page::FindFile(folder + name), nullptr) << file.path << " imports " << name;
      ++count;
    }
  }
  EXPECT_GE(count, 20);
}

TEST(PageFilesTest, OnlyTheRootHasToBeAskedForAgain) {
  for (const page::File& file : page::Files()) {
    EXPECT_EQ(file.cacheControl, file.path == "/" ? "no-cache" : "public, max-age=31536000, immutable");
    EXPECT_TRUE(file.path == "/" || file.path.substr(0, 8) == "/assets/") << file.path;
    ASSERT_GE(file.etag.size(), 3U);
    EXPECT_EQ(file.etag.front(), '"');
    EXPECT_EQ(file.etag.back(), '"');
    EXPECT_FALSE(file.bytes.empty()) << file.path;
    EXPECT_EQ(page::FindFile(file.path), &file);
  }
}

TEST(PageFilesTest, ATextHasItsCharacterSet) {
  EXPECT_EQ(page::FindFile("/")->mediaType, "text/html; charset=utf-8");
  EXPECT_EQ(FileThatEnds("/app.js").mediaType, "text/javascript; charset=utf-8");
  EXPECT_EQ(FileThatEnds("/palette.css").mediaType, "text/css; charset=utf-8");
  EXPECT_EQ(FileThatEnds("/icon.svg").mediaType, "image/svg+xml");
  EXPECT_EQ(FileThatEnds("/line.schema.json").mediaType, "application/json");
}

TEST(PageFilesTest, FilesAreThoseOfTheSource) {
  EXPECT_EQ(FileThatEnds("/line.schema.json").bytes, SourceText("share/tovkit/line.schema.json"));
  EXPECT_EQ(FileThatEnds("/app.js").bytes, SourceText("service/http/web/page/app.js"));
  EXPECT_EQ(FileThatEnds("/licenses/tovkit.txt").bytes, SourceText("LICENSE"));
  EXPECT_NE(FileThatEnds("/licenses/codemirror.txt").bytes.find("Permission is hereby granted"),
            std::string_view::npos);
}

TEST(PageFilesTest, NothingOfThePageIsElsewhere) {
  for (const page::File& file : page::Files()) {
    if (file.path.find("codemirror") != std::string_view::npos || EndsWith(file.path, ".txt")) continue;
    // Names that look like addresses, and are asked by nobody.
    for (const std::string& address : AllOf(file.bytes, R"re((https?://[^"'\s]*))re")) {
      EXPECT_TRUE(address == "http://www.w3.org/2000/svg" ||
                  address == "https://json-schema.org/draft/2020-12/schema")
          << file.path << ": " << address;
    }
  }
}

TEST(PageFilesTest, OtherPathsHaveNoFile) {
  for (const char* path : {"", "index.html", "/index.html", "/assets/", "/assets/app.js", "/?", "//"}) {
    EXPECT_EQ(page::FindFile(path), nullptr) << path;
  }
}

}  // namespace
