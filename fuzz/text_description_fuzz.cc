// SPDX-License-Identifier: MIT
// A whole description, drawn on a small bitmap and on a page of each kind.
#include <tovkit/imaging.h>
#include <tovkit/json.h>
#include <tovmx/device.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

// The parser tells of broken texts on standard output.
const bool kQuiet = std::freopen("/dev/null", "w", stdout) != nullptr;

template <typename Device>
void DrawDocument(const tovkit::SharedPtr<const tovkit::JsonValue>& description) {
  CoreMemoryOutputStream stream;
  Device device(&stream, 100, 50);
  tovkit::DrawTextOnDevice(&device, description);
  if (!device.Finish()) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (!kQuiet) return 0;
  const std::string text(reinterpret_cast<const char*>(data), size);
  const auto root = tovkit::Json::Parse(text.c_str(), static_cast<unsigned>(text.size()), nullptr);
  if (!root) return 0;
  CoreDib page;
  page.Create(64, 32, 24);
  CoreBitmapDevice device(&page);
  tovkit::DrawTextOnDevice(&device, root);
  if (!device.IsGood()) std::abort();
  DrawDocument<CorePdfDevice>(root);
  DrawDocument<CoreSvgDevice>(root);
  return 0;
}
