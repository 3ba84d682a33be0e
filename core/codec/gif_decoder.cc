// SPDX-License-Identifier: MIT
// GIF, read by giflib record by record, with its pixels unpacked here. An animation is composed on its canvas
// as it is shown; a still picture that fills the canvas keeps its palette.
#include "codec/codecs.h"
#include "codec/format_decoder.h"
#include "codec/gif_lzw.h"
#include "codec/kept_frames.h"

#include <gif_lib.h>

#include <algorithm>
#include <cassert>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

namespace tovmx {

namespace {

class GifFile {
 public:
  // Both outlive the file, which notes a lack of memory in `reason`.
  GifFile(CoreInputStream& stream, DecodeReason& reason) : stream_(stream), reason_(reason) {
    int error = 0;
    gif_ = DGifOpen(
        this,
        [](GifFileType* gif, GifByteType* to, int size) {
          auto* file = static_cast<GifFile*>(gif->UserData);
          const std::size_t count = file->stream_.Read(to, static_cast<std::size_t>(size));
          file->ended_ = file->ended_ || count < static_cast<std::size_t>(size);
          return static_cast<int>(count);
        },
        &error);
    // A table of colors without memory is called a screen that is not there.
    if (error == D_GIF_ERR_NOT_ENOUGH_MEM || (error == D_GIF_ERR_NO_SCRN_DSCR && !ended_)) reason.OverLimit();
    firstRecord_ = stream.GetPosition();
  }
  ~GifFile() {
    int error = 0;
    if (gif_ != nullptr) DGifCloseFile(gif_, &error);
  }
  GifFile(const GifFile&) = delete;
  GifFile& operator=(const GifFile&) = delete;

  bool IsOpen() const { return gif_ != nullptr; }
  GifFileType* Get() const { return gif_; }

  // Goes back behind the head, and forgets the frames that were met: the library keeps the description of
  // each.
  bool Rewind() {
    GifFreeSavedImages(gif_);
    gif_->ImageCount = 0;
    gif_->Error = 0;
    return stream_.Seek(firstRecord_);
  }

  enum class Record { kFrame, kEnd, kBroken };

  // Goes to the next frame, reading its place, colors and control block.
  Record Next() {
    control_ = {DISPOSAL_UNSPECIFIED, false, 0, NO_TRANSPARENT_COLOR};
    GifRecordType type = UNDEFINED_RECORD_TYPE;
    while (DGifGetRecordType(gif_, &type) == GIF_OK) {
      if (type == TERMINATE_RECORD_TYPE) return Record::kEnd;
      if (type == IMAGE_DESC_RECORD_TYPE) return DGifGetImageDesc(gif_) == GIF_OK ? Record::kFrame : Broken();
      if (!ReadExtension()) return Broken();
    }
    return Broken();
  }

  // Passes over the pixels of the frame that Next() found.
  bool SkipPixels() { return GifLzw(gif_).Finish(); }

  const GifImageDesc& Frame() const { return gif_->Image; }
  const GraphicsControlBlock& Control() const { return control_; }
  const ColorMapObject* Colors() const {
    return gif_->Image.ColorMap != nullptr ? gif_->Image.ColorMap : gif_->SColorMap;
  }
  bool FrameFillsCanvas() const {
    const GifImageDesc& frame = gif_->Image;
    return frame.Left == 0 && frame.Top == 0 && frame.Width == gif_->SWidth && frame.Height == gif_->SHeight;
  }

 private:
  Record Broken() {
    if (gif_->Error == D_GIF_ERR_NOT_ENOUGH_MEM) reason_.OverLimit();
    return Record::kBroken;
  }

  bool ReadExtension() {
    int code = 0;
    GifByteType* block = nullptr;
    if (DGifGetExtension(gif_, &code, &block) != GIF_OK) return false;
    if (code == GRAPHICS_EXT_FUNC_CODE && block != nullptr && block[0] >= 4)
      DGifExtensionToGCB(block[0], block + 1, &control_);
    while (block != nullptr) {
      if (DGifGetExtensionNext(gif_, &block) != GIF_OK) return false;
    }
    return true;
  }

  CoreInputStream& stream_;
  DecodeReason& reason_;
  bool ended_ = false;
  GifFileType* gif_ = nullptr;
  std::uint64_t firstRecord_ = 0;  // where it lies in the stream
  GraphicsControlBlock control_{};
};

// Decodes the rows of the current frame and hands each to consume(row number, indices).
template <typename Consume>
bool ReadFrameRows(GifFile& file, DecodeReason& reason, Consume consume) {
  constexpr int kFirst[] = {0, 4, 2, 1};
  constexpr int kStep[] = {8, 8, 4, 2};
  const GifImageDesc frame = file.Frame();
  if (!reason.Fits(frame.Width, frame.Height, 8)) return false;
  const auto pixels = std::make_unique<GifLzw>(file.Get());
  std::vector<GifPixelType> row(static_cast<std::size_t>(frame.Width));
  const int passes = frame.Interlace ? 4 : 1;
  for (int pass = 0; pass < passes; ++pass) {
    const int step = frame.Interlace ? kStep[pass] : 1;
    for (int y = frame.Interlace ? kFirst[pass] : 0; y < frame.Height; y += step) {
      if (!pixels->Read(row.data(), row.size())) return false;
      consume(y, row);
    }
  }
  return pixels->Finish();
}

void CopyPalette(const GifFile& file, CoreDib& bitmap) {
  const ColorMapObject& map = *file.Colors();
  std::uint32_t entries[256];
  const int count = std::min(map.ColorCount, 256);
  for (int i = 0; i < count; ++i) {
    const GifColorType& color = map.Colors[i];
    entries[i] =
        color.Red | static_cast<unsigned>(color.Green) << 8 | static_cast<unsigned>(color.Blue) << 16;
  }
  bitmap.SetPalette(entries, count);
  if (file.Control().TransparentColor >= 0) bitmap.SetPaletteAlpha(file.Control().TransparentColor, 0);
}

// The part of the canvas that a frame covers.
struct Area {
  int left, top, right, bottom;
};

Area AreaOf(const GifImageDesc& frame, const CoreDib& canvas) {
  const auto clip = [](std::int64_t at, int most) {
    return static_cast<int>(std::clamp<std::int64_t>(at, 0, most));
  };
  return {clip(frame.Left, canvas.GetWidth()), clip(frame.Top, canvas.GetHeight()),
          clip(std::int64_t{frame.Left} + frame.Width, canvas.GetWidth()),
          clip(std::int64_t{frame.Top} + frame.Height, canvas.GetHeight())};
}

// Puts the current frame on the canvas; transparent pixels leave what is there.
bool DrawFrame(GifFile& file, CoreDib& canvas, DecodeReason& reason) {
  const ColorMapObject* map = file.Colors();
  if (map == nullptr) return false;
  const GifImageDesc frame = file.Frame();
  const Area area = AreaOf(frame, canvas);
  const int transparent = file.Control().TransparentColor;
  return ReadFrameRows(file, reason, [&](int y, const std::vector<GifPixelType>& row) {
    const int line = frame.Top + y;
    if (line < area.top || line >= area.bottom) return;
    std::uint8_t* out = canvas.GetRow(line) + static_cast<std::size_t>(area.left) * 4;
    for (int x = area.left; x < area.right; ++x, out += 4) {
      const int index = row[static_cast<std::size_t>(x - frame.Left)];
      if (index == transparent) continue;
      const GifColorType color = index < map->ColorCount ? map->Colors[index] : GifColorType{};
      out[0] = color.Blue, out[1] = color.Green, out[2] = color.Red, out[3] = 255;
    }
  });
}

// The background is what lies behind the picture: transparent, whatever color the file names.
void Clear(CoreDib& canvas, const Area& area) {
  for (int y = area.top; y < area.bottom && area.left < area.right; ++y)
    std::memset(canvas.GetRow(y) + static_cast<std::size_t>(area.left) * 4, 0,
                static_cast<std::size_t>(area.right - area.left) * 4);
}

// An animation that is being composed: the canvas as frame number Frame() left it, and the file behind that
// frame. The next frame goes on from here, so that a walk over all frames reads the file once.
class GifAnimation {
 public:
  // All outlive the animation, which notes in `reason` why it fails. Nobody else may move the file meanwhile.
  GifAnimation(CoreInputStream& stream, GifFile& file, DecodeReason& reason)
      : stream_(stream), file_(file), reason_(reason) {}

  // The last frame drawn, -1 before the first.
  int Frame() const { return frame_; }
  CoreDib& Canvas() { return canvas_; }

  // False for a canvas beyond the limit.
  bool Start() {
    const int width = file_.Get()->SWidth;
    const int height = file_.Get()->SHeight;
    return reason_.Create(canvas_, width, height, 32);
  }

  // Draws frames up to number `frame`, which is beyond Frame(), and offers those before it to `kept`.
  bool DrawUpTo(int frame, KeptFrames& kept) {
    assert(frame > frame_);
    if (frame_ >= 0 && !stream_.Seek(position_)) return false;
    while (frame_ < frame) {
      if (frame_ >= 0) Dispose();
      if (file_.Next() != GifFile::Record::kFrame) return false;
      disposal_ = file_.Control().DisposalMode;
      area_ = AreaOf(file_.Frame(), canvas_);
      resumable_ = disposal_ != DISPOSE_PREVIOUS || Keep();
      if (!resumable_ && frame_ + 1 < frame) return reason_.OverLimit();
      if (!DrawFrame(file_, canvas_, reason_)) return false;
      ++frame_;
      kept.Keep(frame_, canvas_.GetBuffer());
    }
    position_ = stream_.GetPosition();
    return true;
  }

  // Whether a later frame can be drawn.
  bool CanGoOn() const { return resumable_; }

  // Whether the canvas can stay while the caller has a copy of it.
  bool LeavesRoomForACanvas() const {
    return FitsPixelLimit(canvas_.GetWidth(), canvas_.GetHeight(), 32,
                          canvas_.GetBufferSize() + kept_.GetBufferSize());
  }

 private:
  bool Keep() {
    if (kept_.GetBuffer() == nullptr &&
        !(LeavesRoomForACanvas() && kept_.Create(canvas_.GetWidth(), canvas_.GetHeight(), 32)))
      return false;
    std::memcpy(kept_.GetBuffer(), canvas_.GetBuffer(), canvas_.GetBufferSize());
    return true;
  }

  // Takes the last frame away as its control block says.
  void Dispose() {
    if (disposal_ == DISPOSE_PREVIOUS)
      std::memcpy(canvas_.GetBuffer(), kept_.GetBuffer(), canvas_.GetBufferSize());
    if (disposal_ == DISPOSE_BACKGROUND) Clear(canvas_, area_);
  }

  CoreInputStream& stream_;
  GifFile& file_;
  DecodeReason& reason_;
  CoreDib canvas_;
  CoreDib kept_;  // what a frame that is taken away again has covered
  int frame_ = -1;
  int disposal_ = DISPOSAL_UNSPECIFIED;
  bool resumable_ = false;  // false when what the last frame covers could not be kept
  Area area_{};
  std::uint64_t position_ = 0;  // in the stream, behind the last frame
};

class GifDecoder final : public FormatDecoder {
 public:
  GifDecoder() : FormatDecoder(kCoreImageGif) {}

 private:
  bool KeepsHead() const noexcept override { return true; }

  bool ReadInfo(CoreInputStream& stream, CoreImageInfo& info) override {
    animation_.reset();
    kept_.Clear();
    file_ = std::make_unique<GifFile>(stream, Reason());
    GifFile& file = *file_;
    if (!file.IsOpen()) return false;
    bool keepsPalette = false;
    for (;;) {
      const GifFile::Record record = file.Next();
      if (record == GifFile::Record::kBroken) return false;
      if (record == GifFile::Record::kEnd) break;
      if (info.frameCount++ == 0) {
        const ColorMapObject* map = file.Colors();
        keepsPalette = file.FrameFillsCanvas() && map != nullptr;
        info.paletteSize = map == nullptr ? 0 : map->ColorCount;
        info.fileBitsPerPixel = map == nullptr ? 8 : map->BitsPerPixel;
      }
      if (!file.SkipPixels()) return false;
    }
    info.width = file.Get()->SWidth;
    info.height = file.Get()->SHeight;
    info.bitsPerPixel = keepsPalette && info.frameCount == 1 ? 8 : 32;
    return info.frameCount > 0;
  }

  bool ReadFrame(CoreInputStream& stream, int frame, CoreDib& bitmap) override {
    return GetInfo().bitsPerPixel == 8 ? ReadStill(bitmap) : ReadAnimation(stream, frame, bitmap);
  }

  bool ReadStill(CoreDib& bitmap) {
    GifFile& file = *file_;
    if (!file.Rewind()) return false;
    const int width = file.Get()->SWidth;
    const int height = file.Get()->SHeight;
    if (!Reason().Create(bitmap, width, height, 8)) return false;
    if (file.Next() != GifFile::Record::kFrame || !file.FrameFillsCanvas() || file.Colors() == nullptr)
      return false;
    CopyPalette(file, bitmap);
    return ReadFrameRows(file, Reason(), [&](int y, const std::vector<GifPixelType>& row) {
      std::memcpy(bitmap.GetRow(y), row.data(), row.size());
    });
  }

  // The canvas is kept, to be asked for again and for the frames that follow, if the limit leaves room for a
  // copy.
  bool ReadAnimation(CoreInputStream& stream, int frame, CoreDib& bitmap) {
    if (const CoreDib* kept = kept_.Find(frame)) return bitmap.CopyFrom(*kept) || Reason().OverLimit();
    std::unique_ptr<GifAnimation> animation = std::move(animation_);
    if (animation != nullptr && animation->Frame() > frame) {
      constexpr std::uint64_t kCanvases = 3;  // the bitmap, the canvas and what is covered on it
      kept_.KeepBefore(frame, GetInfo().width, GetInfo().height, kCanvases);
    }
    const int present = animation == nullptr ? -1 : animation->Frame();
    if (present > frame || present < 0 || (present < frame && !animation->CanGoOn())) {
      animation = std::make_unique<GifAnimation>(stream, *file_, Reason());
      if (!file_->Rewind() || !animation->Start()) return false;
    }
    if (animation->Frame() < frame && !animation->DrawUpTo(frame, kept_)) return false;
    if (GetInfo().frameCount == 1 || !animation->LeavesRoomForACanvas()) {
      bitmap = std::move(animation->Canvas());
      return true;
    }
    if (!bitmap.CopyFrom(animation->Canvas())) return Reason().OverLimit();
    animation_ = std::move(animation);
    return true;
  }

  std::unique_ptr<GifFile> file_;
  std::unique_ptr<GifAnimation> animation_;  // null when the next frame has to begin anew
  KeptFrames kept_;
};

}  // namespace

std::unique_ptr<CoreImageDecoder> MakeGifDecoder() { return std::make_unique<GifDecoder>(); }

#define TOVMX_TEXT_OF(x) #x
#define TOVMX_TEXT(x) TOVMX_TEXT_OF(x)

CoreString DescribeGifBackend() {
  return "giflib " TOVMX_TEXT(GIFLIB_MAJOR) "." TOVMX_TEXT(GIFLIB_MINOR) "." TOVMX_TEXT(GIFLIB_RELEASE);
}

}  // namespace tovmx
