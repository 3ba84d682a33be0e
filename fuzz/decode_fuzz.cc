// SPDX-License-Identifier: MIT
// One decoder over any bytes: whatever it returns has pixels of the depth that it told, whatever it refuses
// leaks nothing and says why, a frame is the same after those behind it as after those before, and a picture
// that is written again is read again. Each target is this file with a format of its own. Half of the
// mutations make one number of the file's structure odd and leave the rest whole.
//
// The number of bytes chooses the way in: memory or a stream that must be read, the file at the start of the
// stream or behind other bytes, a decoder that may leave the stream anywhere or must put it back.
#include "picture_fields.h"
#include "stream_without_view.h"

#include <tovmx/codec.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <random>
#include <vector>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t most);

namespace {

constexpr CoreImageFormat kFormat = TOVMX_FUZZ_FORMAT;
constexpr int kMostFrames = 3;
constexpr std::size_t kMostBefore = 7;  // bytes before the file
constexpr int kMostPixels = 1 << 12;    // of a picture that is written again

void Require(bool holds) {
  if (!holds) __builtin_trap();
}

// A reason, with words for it.
void RequireFailure(const CoreImageDecoder& decoder) {
  const CoreDecodeFailure failure = CoreGetDecodeFailure(&decoder);
  Require(failure != kCoreDecodeNoFailure && *CoreDecodeFailureName(failure) != '\0');
  Require((failure == kCoreDecodeUnsupported) == (*CoreGetUnsupportedFeature(&decoder) != '\0'));
}

// Reads every byte of the frame's pixels; 0 when there is no such frame.
std::uint64_t DigestOf(CoreImageDecoder& decoder, int frame) {
  const auto bitmap = decoder.GetBitmap(frame, 0, 0);
  if (bitmap == nullptr) {
    RequireFailure(decoder);
    return 0;
  }
  Require(CoreGetDecodeFailure(&decoder) == kCoreDecodeNoFailure);
  if (frame == 0) Require(bitmap->GetBitsPerPixel() == decoder.GetInfo().bitsPerPixel);
  std::uint64_t digest = bitmap->GetArgb(bitmap->GetWidth() - 1, bitmap->GetHeight() - 1) + 1;
  for (std::size_t at = 0; at < bitmap->GetBufferSize(); ++at) {
    digest = (digest ^ bitmap->GetBuffer()[at]) * 0x100000001B3;
  }
  return digest | 1;
}

std::uint32_t OddValue(std::uint32_t value, std::minstd_rand& random) {
  constexpr std::uint32_t kOdd[] = {0,       1,          2,          3,         4,      8,
                                    0x7F,    0x80,       0xFF,       0x7FFF,    0x8000, 0xFFFF,
                                    0x10000, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
  switch (random() % 5) {
    case 0:
      return value + 1;
    case 1:
      return value - 1;
    case 2:
      return value ^ 1u << random() % 32;
    case 3:
      return static_cast<std::uint32_t>(random());
    default:
      return kOdd[random() % std::size(kOdd)];
  }
}

// A frame that is written in the format comes back, as it was where nothing is lost.
void RequireThereAndBack(const CoreDib& frame) {
  const auto encoder = CoreCodecRegistry::Get().GetFactory().CreateEncoder(kFormat);
  if (encoder == nullptr || frame.GetWidth() > kMostPixels / frame.GetHeight()) return;
  CoreMemoryOutputStream out;
  Require(encoder->Encode(&frame, &out) == 1);
  CoreMemoryInputStream in(out.GetData(), out.GetSize());
  const auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(kFormat);
  Require(decoder->Open(&in, kCoreOpenReadAhead) == 1);
  const auto back = decoder->GetBitmap(0, 0, 0);
  Require(back != nullptr && back->GetWidth() == frame.GetWidth() && back->GetHeight() == frame.GetHeight());
  if (kFormat == kCoreImageJpeg) return;
  for (int y = 0; y < frame.GetHeight(); ++y) {
    for (int x = 0; x < frame.GetWidth(); ++x) Require(back->GetArgb(x, y) == frame.GetArgb(x, y));
  }
}

// `start` is where the stream's file begins; `choice` chooses what is done.
void ReadPicture(CoreInputStream& in, std::uint64_t start, std::size_t choice) {
  Require(in.Seek(start));
  CoreDetectImageFormat(&in);
  for (const int frame : {0, 3}) {
    const int mark = CoreReadOrientation(&in, frame);
    Require(mark >= 1 && mark <= 8 && in.GetPosition() == start);
  }
  const bool ahead = choice % 8 != 6;
  const auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(kFormat);
  if (decoder->Open(&in, ahead ? kCoreOpenReadAhead : 0) == 0) return RequireFailure(*decoder);
  const int frames = std::min(decoder->GetInfo().frameCount, kMostFrames);
  std::array<std::uint64_t, kMostFrames> digests = {};
  const auto digest = [&digests](int frame) -> std::uint64_t& {
    return digests[static_cast<std::size_t>(frame)];
  };
  for (int i = 0; i < frames; ++i) digest(i) = DigestOf(*decoder, i);
  for (int i = frames - 2; i >= 0; --i) Require(DigestOf(*decoder, i) == digest(i));
  Require(decoder->GetBitmap(decoder->GetInfo().frameCount, 0, 0) == nullptr);
  RequireFailure(*decoder);
  Require(CoreGetDecodeFailure(decoder.get()) == kCoreDecodeNotThere);
  Require(ahead || in.GetPosition() == start);
  if (choice % 16 == 0 && decoder->GetInfo().width < 4096) decoder->GetBitmap(0, 5, 0);
  if (choice % 8 != 1) return;
  if (const auto frame = decoder->GetBitmap(0, 0, 0)) RequireThereAndBack(*frame);
}

}  // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t most,
                                               unsigned seed) {
  std::minstd_rand random(seed);
  const std::vector<fuzz::Field> fields = fuzz::PictureFields(kFormat, data, size);
  if (fields.empty() || random() % 2 == 0) {
    size = LLVMFuzzerMutate(data, size, most);
  } else {
    const fuzz::Field& field = fields[random() % fields.size()];
    fuzz::PutField(data, field, OddValue(fuzz::GetField(data, field), random));
  }
  if (kFormat == kCoreImagePng && random() % 8 != 0) fuzz::PutPngChecksumsRight(data, size);
  return size;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  CoreCodecRegistry::Get().SetPixelLimit(std::uint64_t{4} << 20);
  const std::size_t before = size % 8 == 2 ? kMostBefore : 0;
  std::vector<std::uint8_t> bytes(before, 'x');
  bytes.insert(bytes.end(), data, data + size);
  if (size % 4 == 3) {
    StreamWithoutView in(bytes.data(), bytes.size());
    ReadPicture(in, before, size);
  } else {
    CoreMemoryInputStream in(bytes.data(), bytes.size());
    ReadPicture(in, before, size);
  }
  return 0;
}
