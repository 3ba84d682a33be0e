// SPDX-License-Identifier: MIT
// Uses a piece of each facility, the way a client of the installed package would. Says what failed, if
// anything.
#include <tovkit/tovkit.h>

#include <tovmx/codec.h>
#include <tovmx/device.h>
#include <tovmx/dib.h>
#include <tovmx/path.h>
#include <tovmx/stream.h>

#include <cstdio>
#include <cstring>

namespace {

int failures = 0;

void Expect(bool held, const char* what) {
  if (held) return;
  std::printf("failed: %s\n", what);
  ++failures;
}

void UseTextAndPaths() {
  Expect(std::strcmp(tovkit::GetLibraryVersion(), "5.0.23.1211.2158") == 0, "the version");
  Expect(tovkit::Utf8ToWide("\xc3\xa9t\xc3\xa9", -1) == L"\u00e9t\u00e9", "UTF-8 to wide");
  Expect(tovkit::JoinPath("out", "/page.png", nullptr) == "out/page.png", "joining a path");
  const unsigned char bytes[] = {'t', 'o', 'v'};
  Expect(tovkit::Base64Encode(bytes, 3) == CoreString("dG92"), "Base64");
  CoreArray<int> pages;
  tovkit::ParsePageNumbers("2-4", 10, pages, 0);
  Expect(pages.GetSize() == 3 && pages[0] == 1, "page ranges");
}

void HitAPath() {
  CorePath square;
  square.MoveTo(0, 0);
  square.LineTo(10, 0);
  square.LineTo(10, 10);
  square.LineTo(0, 10);
  square.Close();
  const bool inside = tovkit::HitTestPath({5, 4}, 1, square, 0, true, kCoreFillWinding);
  const bool outside = tovkit::HitTestPath({25, 4.5F}, 1, square, 0, true, kCoreFillWinding);
  Expect(inside && !outside, "hit testing");
}

void EncodeAPicture() {
  CoreDib picture;
  Expect(picture.Create(8, 8, 24), "a bitmap");
  Expect(tovkit::DeleteRectDib(&picture, {0, 0, 4, 4}), "blanking a rectangle");
  CoreMemoryOutputStream file;
  Expect(tovkit::ImageEncode(&picture, kCoreImagePng, &file) != 0, "writing PNG");
}

constexpr char kDescription[] =
    "{\"Content\": \"Hello\", \"Font\": {\"FontSize\": 18}, \"Box\": [0, 0, 120, 60]}";

void ReadAndWriteJson() {
  const auto root = tovkit::Json::Parse(kDescription, sizeof kDescription - 1, nullptr);
  CoreRect box;
  Expect(root && tovkit::Convert::JsonToRect(root->GetMember("Box"), box) && box.right == 120,
         "reading JSON");
  root->SetMemberBool("Seen", true);
  const CoreString written = tovkit::Json::Write(root, nullptr);
  Expect(std::strstr(written.c_str(), "\"Seen\":true") != nullptr, "writing JSON");
}

void DrawALine() {
  CoreDib picture;
  Expect(picture.Create(120, 60, 24), "a bitmap to draw on");
  std::memset(picture.GetBuffer(), 0xff, picture.GetBufferSize());
  CoreBitmapDevice device(&picture);
  const auto description = tovkit::Json::Parse(kDescription, sizeof kDescription - 1, nullptr);
  Expect(tovkit::DrawTextOnDevice(&device, description), "drawing a line of text");
  int dark = 0;
  for (int y = 0; y < 60; ++y) {
    for (int x = 0; x < 120; ++x) dark += (picture.GetArgb(x, y) & 0xff) < 0x80;
  }
  Expect(dark > 20, "ink on the bitmap");
}

void LockAMutex() {
  tovkit::Mutex mutex;
  const tovkit::MutexLocker locker(&mutex);
  Expect(true, "locking");
}

}  // namespace

int main() {
  UseTextAndPaths();
  HitAPath();
  EncodeAPicture();
  ReadAndWriteJson();
  DrawALine();
  LockAMutex();
  if (failures == 0) std::puts("the installed package works");
  return failures == 0 ? 0 : 1;
}
