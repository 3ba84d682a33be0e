// WebP, read by libwebp straight into the bitmap; animations are composed by libwebpdemux.
#include "codec/codecs.h"
#include "codec/pixel_limit.h"
#include "codec/read_rest.h"

#include <webp/decode.h>
#include <webp/demux.h>

#include <cstring>
#include <memory>
#include <vector>

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

class WebpDecoder final : public CoreImageDecoder {
 private:
  bool ReadInfo(CoreInputStream& stream, CoreImageInfo& info) override {
    std::vector<std::uint8_t> storage;
    const Bytes file = ReadFile(stream, storage);
    WebPBitstreamFeatures features;
    if (WebPGetFeatures(file.data, file.size, &features) != VP8_STATUS_OK) return false;
    info.width = features.width;
    info.height = features.height;
    info.bitsPerPixel = features.has_alpha != 0 || features.has_animation != 0 ? 32 : 24;
    info.fileBitsPerPixel = features.has_alpha != 0 ? 32 : 24;
    info.frameCount = 1;
    if (features.has_animation == 0) return true;

    const WebPData data{file.data, file.size};
    const std::unique_ptr<WebPDemuxer, DemuxerDeleter> demuxer(WebPDemux(&data));
    if (demuxer == nullptr) return false;
    info.frameCount = static_cast<int>(WebPDemuxGetI(demuxer.get(), WEBP_FF_FRAME_COUNT));
    return info.frameCount > 0;
  }

  bool ReadFrame(CoreInputStream& stream, int frame, CoreDib& bitmap) override {
    std::vector<std::uint8_t> storage;
    const Bytes file = ReadFile(stream, storage);
    WebPDecoderConfig config;
    if (WebPInitDecoderConfig(&config) == 0) return false;
    if (WebPGetFeatures(file.data, file.size, &config.input) != VP8_STATUS_OK) return false;
    if (config.input.has_animation != 0) return ReadAnimation(file, frame, bitmap);

    const bool alpha = config.input.has_alpha != 0;
    const int bits = alpha ? 32 : 24;
    if (!FitsPixelLimit(config.input.width, config.input.height, bits)) return false;
    if (!bitmap.Create(config.input.width, config.input.height, bits)) return false;
    config.output.colorspace = alpha ? MODE_BGRA : MODE_BGR;
    config.output.is_external_memory = 1;
    config.output.u.RGBA.rgba = bitmap.GetBuffer();
    config.output.u.RGBA.stride = bitmap.GetStride();
    config.output.u.RGBA.size = bitmap.GetBufferSize();
    const bool decoded = WebPDecode(file.data, file.size, &config) == VP8_STATUS_OK;
    WebPFreeDecBuffer(&config.output);
    return decoded;
  }

  // The library keeps two canvases of its own beside the bitmap.
  static bool ReadAnimation(const Bytes& file, int frame, CoreDib& bitmap) {
    WebPAnimDecoderOptions options;
    if (WebPAnimDecoderOptionsInit(&options) == 0) return false;
    options.color_mode = MODE_BGRA;
    const WebPData data{file.data, file.size};
    int width = 0;
    int height = 0;
    {
      const std::unique_ptr<WebPDemuxer, DemuxerDeleter> demuxer(WebPDemux(&data));
      if (demuxer == nullptr) return false;
      width = static_cast<int>(WebPDemuxGetI(demuxer.get(), WEBP_FF_CANVAS_WIDTH));
      height = static_cast<int>(WebPDemuxGetI(demuxer.get(), WEBP_FF_CANVAS_HEIGHT));
    }
    const std::uint64_t canvas = CoreDib::BytesNeeded(width, height, 32);
    if (!FitsPixelLimit(width, height, 32, 2 * canvas)) return false;
    const std::unique_ptr<WebPAnimDecoder, AnimationDeleter> animation(WebPAnimDecoderNew(&data, &options));
    if (animation == nullptr || !bitmap.Create(width, height, 32)) return false;
    std::uint8_t* pixels = nullptr;
    for (int i = 0; i <= frame; ++i) {
      int timestamp = 0;
      if (WebPAnimDecoderGetNext(animation.get(), &pixels, &timestamp) == 0) return false;
    }
    std::memcpy(bitmap.GetBuffer(), pixels, bitmap.GetBufferSize());
    return true;
  }
};

}  // namespace

std::unique_ptr<CoreImageDecoder> MakeWebpDecoder() { return std::make_unique<WebpDecoder>(); }
