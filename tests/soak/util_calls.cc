// SPDX-License-Identifier: MIT
#include "every_call.h"

#include <tovkit/util.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <utility>

namespace soak {

namespace {

void CallTexts() {
  const char text[] = "Größe 世界";
  const std::wstring wide = tovkit::Utf8ToWide(text, -1);
  Require(tovkit::WideToUtf8(wide.c_str(), -1) == text, "WideToUtf8");
  const std::string local = tovkit::Utf8ToLocal("plain", -1);
  Require(tovkit::LocalToUtf8(local.c_str(), -1) == "plain", "LocalToUtf8");
  const std::wstring localWide = tovkit::LocalToWide(local.c_str(), -1);
  Require(tovkit::WideToLocal(localWide.c_str(), -1) == local, "WideToLocal");
  const CoreString coded = tovkit::Base64Encode(reinterpret_cast<const unsigned char*>(text), sizeof text);
  Require(tovkit::Base64Decode(coded.c_str(), coded.GetLength()).GetLength() == sizeof text, "Base64Decode");
}

void CallPaths() {
  char buffer[] = "a\\b\\c.txt";
  Require(std::strcmp(tovkit::ReplaceSeparators(buffer, '\\'), "a\\b\\c.txt") == 0, "ReplaceSeparators");
  Require(std::strcmp(tovkit::NormalizeSeparators(buffer), "a/b/c.txt") == 0, "NormalizeSeparators");
  std::string path = "d/e";
  tovkit::ReplaceSeparators(path, '\\');
  tovkit::NormalizeSeparators(path);
  Require(path == "d/e", "NormalizeSeparators");
  const char back[] = "a\\b";
  const char forward[] = "a/b";
  Require(tovkit::ReplaceSeparators(forward, '\\') == back, "ReplaceSeparators");
  Require(tovkit::NormalizeSeparators(back) == forward, "NormalizeSeparators");
  Require(tovkit::JoinPath("a/", "b", nullptr) == "a/b", "JoinPath");
  Require(!tovkit::MakeTimeName("scan", ".png").empty(), "MakeTimeName");
  Require(std::strcmp(tovkit::GetFileExtension("a/b.png", -1), ".png") == 0, "GetFileExtension");
  Require(std::strcmp(tovkit::GetFileNamePart("a/b.png", -1), "b.png") == 0, "GetFileNamePart");
  Require(tovkit::GetFileName("a/b.png", -1) == CoreString("b"), "GetFileName");
}

void CallFiles(const std::string& folder) {
  const std::string file = folder + "/new/file";
  const std::wstring wide = tovkit::Utf8ToWide(file.c_str(), -1);
  Require(tovkit::CreateFileWithParents(file.c_str()), "CreateFileWithParents");
  std::ofstream(file) << "text";
  const std::string copy = folder + "/copy";
  tovkit::CopyFile(file.c_str(), copy.c_str());
  tovkit::FileInfo info(copy.c_str(), -1);
  info = tovkit::FileInfo(wide.c_str(), -1);
  const tovkit::FileInfo moved(std::move(info));
  Require(moved.Exists() && moved.IsFile() && !moved.IsDirectory(), "FileInfo");
  Require(moved.IsReadable() && moved.IsWritable(), "FileInfo::IsReadable");
  Require(tovkit::CheckPath(file.c_str(), tovkit::PathIsFile) ==
              tovkit::CheckPath(wide.c_str(), tovkit::PathIsFile),
          "CheckPath");
  Require(tovkit::GetPathFlags(file.c_str()) == tovkit::GetPathFlags(wide.c_str()), "GetPathFlags");
  tovkit::TempFile temporary((folder + "/").c_str());
  temporary.setPrefix("a");
  temporary.setSuffix("b");
  temporary.setExtension("c");
  temporary.makePath();
  std::ofstream(temporary.path()) << "text";
  Require(!temporary.fileName().empty() && !tovkit::TempFile::tempDirectory().empty(), "TempFile");
  const tovkit::TempFile unused;
  for (const std::string& gone : {file, folder + "/new", copy})
    Require(std::remove(gone.c_str()) == 0, "CopyFile");
}

void CallLibraries() {
  tovkit::DynamicLibrary library("libm.so.6");
  Require(library.Load() && library.IsLoaded() && library.Resolve("cos") != nullptr, "DynamicLibrary::Load");
  Require(std::strlen(library.GetName()) > 0 && std::strlen(library.GetPath()) > 0,
          "DynamicLibrary::GetName");
  tovkit::DynamicLibrary moved(std::move(library));
  moved.Unload();
  moved = tovkit::DynamicLibrary("/no/folder", "here");
  Require(!moved.Load() && std::strlen(moved.GetError()) > 0, "DynamicLibrary::GetError");
}

}  // namespace

void CallUtil(const std::string& folder) {
  CallTexts();
  CallPaths();
  CallFiles(folder);
  CallLibraries();
  CoreArray<int> pages;
  tovkit::ParsePageNumbers("1,3-5", 10, pages, 0);
  Require(pages.GetSize() == 4, "ParsePageNumbers");
  tovkit::ParsePageIndices("odd", 10, pages, 0);
  Require(tovkit::GetExecutableDirectory().GetLength() > 0, "GetExecutableDirectory");
  tovkit::GetModuleDirectory("libtovkit");
  Require(std::strlen(tovkit::GetLibraryVersion()) > 0, "GetLibraryVersion");
}

}  // namespace soak
