#include "codec/jpeg2000_channels.h"

#include "codec/jpeg2000_box.h"

#include <utility>
#include <vector>

namespace tovmx {

namespace {

constexpr std::uint32_t kColors = 0x636f6c72;       // "colr"
constexpr std::uint32_t kPalette = 0x70636c72;      // "pclr"
constexpr std::uint32_t kPaletteMap = 0x636d6170;   // "cmap"
constexpr std::uint32_t kDefinitions = 0x63646566;  // "cdef"
constexpr unsigned kEnumerated = 1;
constexpr unsigned kProfile = 2;
constexpr std::uint32_t kCmyk = 12;

unsigned Get16(const std::uint8_t* p) { return static_cast<unsigned>(p[0]) << 8 | p[1]; }

// What one channel is, and of which color, counted from 1; 0 and 65535 stand for the whole picture and for
// none.
struct Definition {
  unsigned channel;
  unsigned kind;
  unsigned color;
};

class Boxes {
 public:
  explicit Boxes(CoreInputStream& stream) : stream_(stream) {}

  // Reads the boxes that follow one another from `at` up to `end`; the header box only from outside of it,
  // and others only once it was there.
  void Read(std::uint64_t at, std::uint64_t end, bool outside) {
    Jpeg2000Box box;
    while (at < end && NextJpeg2000Box(stream_, at, box)) {
      if (box.type == kJpeg2000CodeStream) return;
      if (outside && box.type == kJpeg2000Header) {
        Read(box.content, box.end, false);
        seenHeader_ = true;
      } else if (!outside || seenHeader_) {
        ReadOne(box);
      }
      at = box.end;
    }
  }

  Jpeg2000Channels ChannelsOf(std::uint32_t components) {
    Jpeg2000Channels channels;
    channels.count = mapped_ && paletteChannels_ != 0 ? paletteChannels_ : components;
    channels.cmyk = cmyk_;
    const std::vector<unsigned> kinds = Arrange(channels.count);
    for (std::size_t i = channels.Colors(); i < kinds.size(); ++i)
      channels.alphaTold = channels.alphaTold || IsJpeg2000Alpha(kinds[i]);
    return channels;
  }

 private:
  bool Get(const Jpeg2000Box& box, std::uint8_t* to, std::size_t size) {
    return stream_.Seek(box.content) && stream_.Read(to, size) == size;
  }

  void ReadOne(const Jpeg2000Box& box) {
    std::uint8_t head[7];
    if (box.type == kColors && !seenColors_ && Get(box, head, 3)) {
      // The method, precedence and approximation, then the number of the color space.
      seenColors_ = head[0] == kEnumerated || head[0] == kProfile;
      if (head[0] == kEnumerated && Get(box, head, 7)) cmyk_ = GetJpeg2000Number(head + 3) == kCmyk;
    } else if (box.type == kPalette && paletteChannels_ == 0 && Get(box, head, 3)) {
      paletteChannels_ = head[2];  // behind the number of entries
    } else if (box.type == kPaletteMap) {
      mapped_ = true;
    } else if (box.type == kDefinitions && definitions_.empty() && Get(box, head, 2)) {
      for (unsigned left = Get16(head); left != 0; --left) {
        std::uint8_t bytes[6];
        if (stream_.Read(bytes, sizeof bytes) != sizeof bytes) return;
        definitions_.push_back({Get16(bytes), Get16(bytes + 2), Get16(bytes + 4)});
      }
    }
  }

  // The kinds of the channels once each color has its place.
  std::vector<unsigned> Arrange(std::size_t count) {
    std::vector<unsigned> kinds(count, 0);
    for (std::size_t i = 0; i < definitions_.size(); ++i) {
      const Definition& now = definitions_[i];
      const unsigned place = now.color - 1;
      if (now.channel >= count) continue;
      const bool placed = now.color != 0 && now.color != 65535;
      if (placed && place >= count) continue;
      if (placed && now.channel != place && now.kind == 0) {
        std::swap(kinds[now.channel], kinds[place]);
        for (std::size_t j = i + 1; j < definitions_.size(); ++j) {
          unsigned& channel = definitions_[j].channel;
          if (channel == now.channel) {
            channel = place;
          } else if (channel == place) {
            channel = now.channel;
          }
        }
      }
      kinds[now.channel] = now.kind;
    }
    return kinds;
  }

  CoreInputStream& stream_;
  bool seenHeader_ = false;
  bool seenColors_ = false;
  bool cmyk_ = false;
  bool mapped_ = false;
  std::uint32_t paletteChannels_ = 0;
  std::vector<Definition> definitions_;
};

}  // namespace

Jpeg2000Channels ReadJpeg2000Channels(CoreInputStream& stream, std::uint64_t start,
                                      std::uint32_t components) {
  Boxes boxes(stream);
  boxes.Read(start, UINT64_MAX, true);
  return boxes.ChannelsOf(components);
}

}  // namespace tovmx
