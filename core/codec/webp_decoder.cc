// SPDX-License-Identifier: MIT
// WebP, read by libwebp straight into the bitmap; animations are composed by libwebpdemux.
#include "codec/codecs.h"
#include "codec/format_decoder.h"
#include "codec/kept_frames.h"
#include "io/read_rest.h"

#include <webp/decode.h>
#include <webp/demux.h>

#include <cassert>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

namespace tovmx {

namespace {

struct DemuxerDeleter {
  void operator()(WebPDemuxer* demuxer) const { WebPDemuxDelete(demuxer); }
};
struct AnimationDeleter {
  void operator()(WebPAnimDecoder* animation) const { WebPAnimDecoderDelete(animation); }
};

// The whole file: the length that its head states, and no byte less.
Bytes ReadFile(CoreInputStream& stream, std::vector<std::uint8_t>& storage) {
  constexpr std::size_t kHead = 12;
  const std::uint64_t start = stream.GetPosition();
  std::uint8_t head[kHead];
  if (stream.Read(head, kHead) != kHead || !stream.Seek(start)) return {};
  const std::uint64_t size = 8 + (std::uint64_t{head[4]} | std::uint64_t{head[5]} << 8 |
                                  std::uint64_t{head[6]} << 16 | std::uint64_t{head[7]} << 24);
  const Bytes file = ReadRest(stream, size, storage);
  return file.size == size ? file : Bytes{};
}

// Notes which failure a status stands for; true when it is none.
bool Check(VP8StatusCode status, DecodeReason& reason) {
  if (status == VP8_STATUS_OUT_OF_MEMORY) return reason.OverLimit();
  if (status == VP8_STATUS_UNSUPPORTED_FEATURE) return reason.Unsupported("WebP of a newer kind");
  return status == VP8_STATUS_OK;
}

// An animation that is being composed. The next frame goes on from here, so that a walk over all frames
// decodes each once.
class WebpAnimation {
 public:
  // `file` must outlive the animation.
  WebpAnimation(const Bytes& file, int width, int height)
      : data_{file.data, file.size}, width_(width), height_(height) {}

  // The last frame drawn, -1 before the first.
  int Frame() const { return frame_; }

  // False for a broken file, and for a canvas beyond the limit: the library keeps two of its own beside the
  // bitmap.
  bool Start(DecodeReason& reason) {
    WebPAnimDecoderOptions options;
    if (WebPAnimDecoderOptionsInit(&options) == 0) return false;
    options.color_mode = MODE_BGRA;
    if (!reason.Fits(width_, height_, 32, 2 * CoreDib::BytesNeeded(width_, height_, 32))) return false;
    library_.reset(WebPAnimDecoderNew(&data_, &options));
    return library_ != nullptr || reason.OverLimit();
  }

  // Draws frames up to number `frame`, which is not before Frame(), offers those before it to `kept`, and
  // copies the canvas.
  bool Draw(int frame, CoreDib& bitmap, KeptFrames& kept, DecodeReason& reason) {
    assert(frame >= frame_);
    if (!bitmap.Create(width_, height_, 32)) return reason.OverLimit();
    while (frame_ < frame) {
      int timestamp = 0;
      if (WebPAnimDecoderGetNext(library_.get(), &canvas_, &timestamp) == 0) return false;
      kept.Keep(++frame_, canvas_);
    }
    std::memcpy(bitmap.GetBuffer(), canvas_, bitmap.GetBufferSize());
    return true;
  }

 private:
  WebPData data_;
  int width_;
  int height_;
  std::unique_ptr<WebPAnimDecoder, AnimationDeleter> library_;
  std::uint8_t* canvas_ = nullptr;  // the library's, as the last frame left it
  int frame_ = -1;
};

class WebpDecoder final : public FormatDecoder {
 public:
  WebpDecoder() : FormatDecoder(kCoreImageWebp) {}

 private:
  bool KeepsHead() const noexcept override { return true; }

  bool ReadInfo(CoreInputStream& stream, CoreImageInfo& info) override {
    animation_.reset();
    kept_.Clear();
    file_ = {};
    file_ = ReadFile(stream, storage_);
    WebPBitstreamFeatures& features = features_;
    if (!Check(WebPGetFeatures(file_.data, file_.size, &features), Reason())) return false;
    info.width = features.width;
    info.height = features.height;
    info.bitsPerPixel = features.has_alpha != 0 || features.has_animation != 0 ? 32 : 24;
    info.fileBitsPerPixel = features.has_alpha != 0 ? 32 : 24;
    info.frameCount = 1;
    if (features.has_animation == 0) return true;

    const WebPData data{file_.data, file_.size};
    const std::unique_ptr<WebPDemuxer, DemuxerDeleter> demuxer(WebPDemux(&data));
    if (demuxer == nullptr) return false;
    info.frameCount = static_cast<int>(WebPDemuxGetI(demuxer.get(), WEBP_FF_FRAME_COUNT));
    return true;
  }

  bool ReadFrame(CoreInputStream&, int frame, CoreDib& bitmap) override {
    return features_.has_animation != 0 ? ReadAnimation(frame, bitmap) : ReadStill(bitmap);
  }

  bool ReadStill(CoreDib& bitmap) {
    WebPDecoderConfig config;
    if (WebPInitDecoderConfig(&config) == 0) return false;
    config.input = features_;
    const bool alpha = config.input.has_alpha != 0;
    const int bits = alpha ? 32 : 24;
    if (!Reason().Create(bitmap, config.input.width, config.input.height, bits)) return false;
    config.output.colorspace = alpha ? MODE_BGRA : MODE_BGR;
    config.output.is_external_memory = 1;
    config.output.u.RGBA.rgba = bitmap.GetBuffer();
    config.output.u.RGBA.stride = bitmap.GetStride();
    config.output.u.RGBA.size = bitmap.GetBufferSize();
    const bool decoded = Check(WebPDecode(file_.data, file_.size, &config), Reason());
    WebPFreeDecBuffer(&config.output);
    return decoded;
  }

  bool ReadAnimation(int frame, CoreDib& bitmap) {
    if (const CoreDib* kept = kept_.Find(frame)) return bitmap.CopyFrom(*kept) || Reason().OverLimit();
    std::unique_ptr<WebpAnimation> animation = std::move(animation_);
    if (animation != nullptr && animation->Frame() > frame) {
      constexpr std::uint64_t kCanvases = 3;  // the bitmap and two of the library
      kept_.KeepBefore(frame, features_.width, features_.height, kCanvases);
      animation.reset();
    }
    if (animation == nullptr) {
      animation = std::make_unique<WebpAnimation>(file_, features_.width, features_.height);
      if (!animation->Start(Reason())) return false;
    }
    if (!animation->Draw(frame, bitmap, kept_, Reason())) return false;
    if (GetInfo().frameCount > 1) animation_ = std::move(animation);
    return true;
  }

  // The library wants a file as a whole, so it is kept as long as its picture is open.
  std::vector<std::uint8_t> storage_;
  Bytes file_;
  WebPBitstreamFeatures features_{};
  std::unique_ptr<WebpAnimation> animation_;  // null when the next frame has to begin anew
  KeptFrames kept_;
};

}  // namespace

std::unique_ptr<CoreImageDecoder> MakeWebpDecoder() { return std::make_unique<WebpDecoder>(); }

}  // namespace tovmx
