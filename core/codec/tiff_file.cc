// SPDX-License-Identifier: MIT
// Streams behind the callbacks of libtiff. Reading works on the caller's stream in place, mapped where it can
// be; writing goes to a buffer, since libtiff goes back to fill in offsets. Messages are caught for each
// handle: the handlers of the process belong to the application.
#include "codec/tiff_file.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace tovmx {

namespace {

// 1 tells the library that the message is dealt with, so that its process-wide handlers are not called.
int Quiet(TIFF*, void*, const char*, const char*, va_list) { return 1; }

// The library has no codes for what went wrong, only texts.
int NoteLimit(TIFF*, void* reason, const char*, const char* format, va_list) {
  if (reason != nullptr && std::strstr(format, "beyond the %") != nullptr)
    static_cast<DecodeReason*>(reason)->OverLimit();
  return 1;
}

// What a compression may need for itself, however small the pixel limit.
constexpr std::uint64_t kWorkingBytes = std::uint64_t{16} << 20;

struct Options {
  explicit Options(DecodeReason* reason) : options(TIFFOpenOptionsAlloc()) {
    if (options == nullptr) return;
    TIFFOpenOptionsSetErrorHandlerExtR(options, NoteLimit, reason);
    TIFFOpenOptionsSetWarningHandlerExtR(options, Quiet, nullptr);
    const auto most = static_cast<std::uint64_t>(std::numeric_limits<tmsize_t>::max());
    const std::uint64_t limit = std::clamp(PixelLimit(), kWorkingBytes, most);
    TIFFOpenOptionsSetMaxSingleMemAlloc(options, static_cast<tmsize_t>(limit));
  }
  ~Options() {
    if (options != nullptr) TIFFOpenOptionsFree(options);
  }
  Options(const Options&) = delete;
  Options& operator=(const Options&) = delete;

  TIFFOpenOptions* options;
};

TiffSource& SourceOf(thandle_t handle) { return *static_cast<TiffSource*>(handle); }
SeekableBuffer& BufferOf(thandle_t handle) { return *static_cast<SeekableBuffer*>(handle); }

std::uint64_t SizeOf(const TiffSource& source) {
  const std::uint64_t size = source.stream->GetSize();
  return size > source.start ? size - source.start : 0;
}

constexpr toff_t kSeekFailed = std::numeric_limits<toff_t>::max();

tmsize_t ReadStream(thandle_t handle, void* to, tmsize_t size) {
  return static_cast<tmsize_t>(SourceOf(handle).stream->Read(to, static_cast<std::size_t>(size)));
}

toff_t SeekStream(thandle_t handle, toff_t offset, int whence) {
  const TiffSource& source = SourceOf(handle);
  std::uint64_t target = offset;  // wraps for a negative offset, as the sum below does
  if (whence == SEEK_CUR) target += source.stream->GetPosition() - source.start;
  if (whence == SEEK_END) target += SizeOf(source);
  if (target > kSeekFailed - 1 - source.start || !source.stream->Seek(source.start + target))
    return kSeekFailed;
  return target;
}

int MapStream(thandle_t handle, void** base, toff_t* size) {
  const TiffSource& source = SourceOf(handle);
  const std::uint8_t* view = source.stream->GetView();
  if (view == nullptr || SizeOf(source) == 0) return 0;
  *base = const_cast<std::uint8_t*>(view + source.start);
  *size = SizeOf(source);
  return 1;
}

toff_t SeekBuffer(thandle_t handle, toff_t offset, int whence) {
  SeekableBuffer& buffer = BufferOf(handle);
  if (whence == SEEK_CUR) offset += buffer.GetPosition();
  if (whence == SEEK_END) offset += buffer.GetSize();
  buffer.Seek(offset);
  return offset;
}

int CloseNothing(thandle_t) { return 0; }
int MapNothing(thandle_t, void**, toff_t*) { return 0; }
void UnmapNothing(thandle_t, void*, toff_t) {}

}  // namespace

TiffHandle OpenTiff(TiffSource& source) {
  const Options options(source.reason);
  if (options.options == nullptr) {
    source.reason->OverLimit();
    return nullptr;
  }
  return TiffHandle(TIFFClientOpenExt(
      "", "r", &source, ReadStream, [](thandle_t, void*, tmsize_t) -> tmsize_t { return 0; }, SeekStream,
      CloseNothing, [](thandle_t handle) -> toff_t { return SizeOf(SourceOf(handle)); }, MapStream,
      UnmapNothing, options.options));
}

TiffHandle CreateTiff(SeekableBuffer& buffer, bool big) {
  const Options options(nullptr);
  if (options.options == nullptr) return nullptr;
  return TiffHandle(TIFFClientOpenExt(
      "", big ? "w8" : "w", &buffer,
      [](thandle_t handle, void* to, tmsize_t size) {
        return static_cast<tmsize_t>(BufferOf(handle).Read(to, static_cast<std::size_t>(size)));
      },
      [](thandle_t handle, void* from, tmsize_t size) {
        return BufferOf(handle).Write(from, static_cast<std::size_t>(size)) ? size : tmsize_t{-1};
      },
      SeekBuffer, CloseNothing, [](thandle_t handle) -> toff_t { return BufferOf(handle).GetSize(); },
      MapNothing, UnmapNothing, options.options));
}

}  // namespace tovmx
