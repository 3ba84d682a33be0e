// SPDX-License-Identifier: MIT
// Text, Base64, paths, a temporary file and page selections.
#include <tovkit/util.h>

#include <cstdio>

using namespace tovkit;

int main() {
  // Text is UTF-8; wide text has one element for each character.
  const std::wstring wide = Utf8ToWide("页 1", -1);
  std::printf("%zu characters, %s\n", wide.size(), WideToUtf8(wide.c_str(), -1).c_str());

  const CoreString coded = Base64Encode(reinterpret_cast<const unsigned char*>("tovkit"), 6);
  std::printf("%s is %s\n", coded.c_str(), Base64Decode(coded.c_str(), -1).c_str());

  // Both separators count, and results have '/'. JoinPath ends with a null pointer.
  const std::string path = NormalizeSeparators(JoinPath("out\\", "scan.tar.gz", nullptr).c_str());
  std::printf("%s: name %s, stem %s, extension %s\n", path.c_str(), GetFileNamePart(path.c_str(), -1),
              GetFileName(path.c_str(), -1).c_str(), GetFileExtension(path.c_str(), -1));

  // The file goes away with the object.
  std::string kept;
  {
    TempFile page;
    page.setPrefix("page");
    page.setExtension("txt");
    page.makePath();
    kept = page.path();
    CreateFileWithParents(page.path());
    std::printf("a file: %s\n", FileInfo(page.path(), -1).IsFile() ? "yes" : "no");
  }
  std::printf("still there: %s\n", FileInfo(kept.c_str(), -1).Exists() ? "yes" : "no");

  // People count pages from 1, the indices from 0.
  CoreArray<int> pages;
  ParsePageNumbers("1,3-5,9", 10, pages, 0);
  for (int i = 0; i < pages.GetSize(); ++i) std::printf("%s%d", i == 0 ? "pages at " : " ", pages[i]);
  std::printf("\n");
  return 0;
}
