// SPDX-License-Identifier: MIT
// DescribeText of a whole description: agrees with what a device is given, is valid JSON and stays within its
// limit.
#include <tovkit/imaging.h>
#include <tovkit/json.h>
#include <tovmx/device.h>
#include <tovmx/font.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

// The parser tells of broken texts on standard output.
const bool kQuiet = std::freopen("/dev/null", "w", stdout) != nullptr;

constexpr std::uint32_t kLimit = 3;
constexpr float kLargestPixelSize = 100000;

void Require(bool holds) {
  if (!holds) std::abort();
}

class Witness final : public CoreDevice {
 public:
  bool DrawText(const wchar_t* characters, int count, const CoreFontLoader& fonts, const CoreMatrix& matrix,
                std::uint32_t /*argb*/, float pixelSize) override {
    place = matrix;
    // No device draws larger ems.
    if (pixelSize > kLargestPixelSize) return false;
    measured = fonts.MeasureText(characters, count, pixelSize, extents);
    return measured;
  }
  bool EndText() override { return true; }
  bool Flush() override { return true; }

  CoreTextExtents extents;
  CoreMatrix place;
  bool measured = false;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (!kQuiet) return 0;
  const std::string text(reinterpret_cast<const char*>(data), size);
  const auto root = tovkit::Json::Parse(text.c_str(), static_cast<unsigned>(text.size()), nullptr);
  if (!root) return 0;
  const auto report = tovkit::DescribeText(root, kLimit);
  const CoreString written = report->ToString();
  Require(tovkit::Json::Diagnose(written.c_str(), static_cast<std::size_t>(written.GetLength())).code == 0);
  Require(report->GetMember("warnings")->Size() <= kLimit);
  // The second time it is kept, the third time copied.
  for (int i = 0; i < 2; ++i) {
    Require(written.Compare(tovkit::DescribeText(root, kLimit)->ToString().c_str()) == 0);
  }

  Witness witness;
  tovkit::DrawTextOnDevice(&witness, root);
  Require(report->GetMemberBool("drawable", false) == witness.measured);
  if (!witness.measured) return 0;
  Require(report->GetMember("runs")->Size() <= kLimit);
  Require(report->GetMember("missing")->Size() <= kLimit);
  const auto logical = report->GetMember("logical");
  Require(logical->GetMemberDouble("right", -1) == double{witness.extents.logical.right} + witness.place.e);
  return 0;
}
