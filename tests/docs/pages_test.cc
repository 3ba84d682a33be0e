// SPDX-License-Identifier: MIT
// The pages of the repository: their links lead somewhere, the files that they repeat are repeated to the
// letter, and the commands that they show exist.
#include <gtest/gtest.h>
#include <tovkit/util.h>

#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

const fs::path kTop = TOVKIT_SOURCE_DIR;

std::string Read(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

std::vector<fs::path> Pages() {
  std::vector<fs::path> pages;
  for (const char* folder : {".", "docs", "core"}) {
    for (const auto& entry : fs::directory_iterator(kTop / folder)) {
      if (entry.path().extension() == ".md") pages.push_back(entry.path());
    }
  }
  for (const auto& entry : fs::directory_iterator(kTop / "docs" / "guide")) pages.push_back(entry.path());
  return pages;
}

// The page without its fenced blocks, where brackets are no links.
std::string Prose(const std::string& page) {
  std::string prose;
  bool fenced = false;
  for (const std::string& line : Lines(page)) {
    if (line.rfind("```", 0) == 0) fenced = !fenced;
    if (!fenced) prose += line + "\n";
  }
  return prose;
}

// What a heading is linked by: letters in lower case, digits, hyphens for spaces.
std::set<std::string> Anchors(const std::string& page) {
  std::set<std::string> anchors;
  for (const std::string& line : Lines(Prose(page))) {
    const std::size_t start = line.find_first_not_of('#');
    if (start == 0 || start == std::string::npos || line[start] != ' ') continue;
    std::string anchor;
    for (const char c : line.substr(start + 1)) {
      if (std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_') {
        anchor += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
      } else if (c == ' ' || c == '-') {
        anchor += '-';
      }
    }
    anchors.insert(anchor);
  }
  return anchors;
}

TEST(Pages, EveryRelativeLinkLeadsSomewhere) {
  const std::regex link(R"(\]\(([^)\s]+)\))");
  int links = 0;
  for (const fs::path& page : Pages()) {
    const std::string prose = Prose(Read(page));
    for (std::sregex_iterator it(prose.begin(), prose.end(), link), end; it != end; ++it) {
      const std::string target = (*it)[1];
      if (target.find("://") != std::string::npos) continue;
      ++links;
      const std::size_t hash = target.find('#');
      const fs::path file = hash == 0 ? page : page.parent_path() / target.substr(0, hash);
      EXPECT_TRUE(fs::exists(file)) << page << " links to " << target;
      if (hash != std::string::npos && fs::is_regular_file(file)) {
        EXPECT_EQ(Anchors(Read(file)).count(target.substr(hash + 1)), 1u) << page << " links to " << target;
      }
    }
  }
  EXPECT_GT(links, 20);
}

// But for the line of its license.
TEST(Pages, ABlockBelowTheNameOfAFileHoldsThatFile) {
  const std::regex name("<!-- ([A-Za-z0-9_./@-]+) -->");
  int blocks = 0;
  for (const fs::path& page : Pages()) {
    const std::vector<std::string> lines = Lines(Read(page));
    for (std::size_t i = 0; i + 1 < lines.size(); ++i) {
      std::smatch match;
      if (!std::regex_match(lines[i], match, name)) continue;
      ASSERT_EQ(lines[i + 1].rfind("```", 0), 0u) << page << " has no block below " << lines[i];
      std::string block;
      for (i += 2; i < lines.size() && lines[i] != "```"; ++i) block += lines[i] + "\n";
      std::string file;
      for (const std::string& line : Lines(Read(kTop / match[1].str()))) {
        if (line.find("SPDX-") == std::string::npos) file += line + "\n";
      }
      EXPECT_EQ(block, file) << page << ": run scripts/docs";
      ++blocks;
    }
  }
  EXPECT_GE(blocks, 15);
}

// CMakeLists.txt is its home; what cannot be made from it is compared.
TEST(Pages, TheVersionIsTheSameWhereverItIsWritten) {
  const std::string version = tovkit::GetLibraryVersion();
  EXPECT_NE(Read(kTop / "CMakeLists.txt").find("set(TOVKIT_VERSION_TEXT \"" + version + "\")"),
            std::string::npos);
  EXPECT_EQ(Read(kTop / "packaging/debian/changelog").rfind("tovkit (" + version + "-", 0), 0u);
  const std::string changes = Read(kTop / "CHANGELOG.md");
  EXPECT_EQ(changes.find("\n## "), changes.find("\n## " + version)) << "the newest section of the changelog";

  const std::regex written("[0-9]+(?:\\.[0-9]+){4}");
  int places = 0;
  std::vector<fs::path> files = Pages();
  files.push_back(kTop / "include/tovkit/util.h");
  files.push_back(kTop / "examples/command_tour.out");
  for (const fs::path& file : files) {
    if (file.filename() == "CHANGELOG.md") continue;  // which names older ones
    const std::string text = Read(file);
    for (std::sregex_iterator at(text.begin(), text.end(), written), end; at != end; ++at, ++places) {
      EXPECT_EQ(at->str(), version) << file;
    }
  }
  EXPECT_GE(places, 4);
}

TEST(Pages, EveryCommandThatIsShownExists) {
  const std::regex shown("(?:^|`|\\| |\\$ )tovkit ([a-z][a-z0-9]*)\\b(?! is| and)");
  std::set<std::string> subcommands;
  for (const fs::path& page : Pages()) {
    if (page.filename() == "CHANGELOG.md") continue;
    for (const std::string& line : Lines(Read(page))) {
      std::smatch match;
      if (std::regex_search(line, match, shown)) subcommands.insert(match[1]);
    }
  }
  EXPECT_GE(subcommands.size(), 8u);
  for (const std::string& subcommand : subcommands) {
    const std::string help = std::string(TOVKIT_COMMAND) + " " + subcommand + " --help >/dev/null";
    EXPECT_EQ(std::system(help.c_str()), 0) << "tovkit " << subcommand;
  }
}

}  // namespace
