// SPDX-License-Identifier: MIT
// The decoder is chosen by the content and kept: it has read the head, and frames go on from there.
#include "picture_reader.h"

#include "error.h"

#include <cassert>
#include <cstdint>

namespace jobs {

namespace {

// Why the decoder failed, in words.
std::string DescribeFailure(CoreImageFormat format, const CoreImageDecoder& decoder) {
  const std::string name = CoreImageFormatName(format);
  switch (CoreGetDecodeFailure(&decoder)) {
    case kCoreDecodeNotThisFormat:
      return "not a picture of the format " + name;
    case kCoreDecodeUnsupported:
      return name + " of a form that is not supported: " + CoreGetUnsupportedFeature(&decoder);
    case kCoreDecodeOverLimit:
      return name + " beyond the memory limit";
    default:
      return name + " that is broken";
  }
}

}  // namespace

PictureReader::PictureReader(const Input& input)
    : name_(input.name()),
      stream_(input.OpenStream()),
      format_(CoreDetectImageFormat(stream_.get())),
      decoder_(CoreCodecRegistry::Get().GetFactory().CreateDecoder(format_)) {
  if (decoder_ == nullptr) throw Error(ErrorKind::kInput, name_, "not a picture of a known format");
  if (decoder_->Open(stream_.get(), kCoreOpenReadAhead) == 0) FailToDecode();
}

void PictureReader::CheckFrame(int frame) const {
  if (frame <= info().frameCount) return;
  throw Error(ErrorKind::kInput, name_,
              "no frame " + std::to_string(frame) + ", the last is " + std::to_string(info().frameCount));
}

std::unique_ptr<CoreDib> PictureReader::ReadFrame(int frame) {
  assert(frame >= 1);
  std::unique_ptr<CoreDib> bitmap = decoder_->GetBitmap(frame - 1, 0, 0);
  if (bitmap == nullptr) FailToDecode();
  return bitmap;
}

int PictureReader::ReadOrientation(int frame) {
  // The decoder continues where it has stopped, so the position is put back.
  CoreInputStream& stream = *stream_.get();
  const std::uint64_t at = stream.GetPosition();
  stream.Seek(0);
  const int mark = CoreReadOrientation(&stream, frame - 1);
  stream.Seek(at);
  return mark;
}

void PictureReader::FailToDecode() const {
  const bool limited = CoreGetDecodeFailure(decoder_.get()) == kCoreDecodeOverLimit;
  throw Error(limited ? ErrorKind::kLimit : ErrorKind::kInput, name_, DescribeFailure(format_, *decoder_));
}

}  // namespace jobs
