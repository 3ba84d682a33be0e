// SPDX-License-Identifier: MIT
// TIFF files put together tag by tag.
#pragma once

#include <algorithm>
#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace tiff {

constexpr int kWhiteIsZero = 0, kBlackIsZero = 1, kRgb = 2, kPalette = 3, kInks = 5;
constexpr int kUnspecified = 0, kPremultiplied = 1, kStraight = 2;

constexpr int kBitsTag = 258, kPhotometricTag = 262, kStripsTag = 273, kSamplesTag = 277, kRowsTag = 278,
              kStripBytesTag = 279, kPlanarTag = 284, kMapTag = 320, kTileWidthTag = 322,
              kTileHeightTag = 323, kTilesTag = 324, kTileBytesTag = 325, kExtraTag = 338,
              kXResolutionTag = 282, kYResolutionTag = 283, kUnitTag = 296, kFormatTag = 339;

using Numbers = std::vector<unsigned>;

inline void Put(std::string& bytes, std::size_t value, int count) {
  for (int i = 0; i < count; ++i, value >>= 8) bytes += static_cast<char>(value);
}

// A directory of numbers, which are 16 bits where they fit, and then the pixels; `places` lists the tags
// whose numbers are offsets into these.
inline std::string TiffOf(std::map<int, Numbers> tags, int places, const std::string& pixels) {
  const std::size_t directory = 8;
  std::size_t more = directory + 2 + 12 * tags.size() + 4;
  const auto isShort = [&](int tag) {
    return tag != places && tag != kXResolutionTag && tag != kYResolutionTag &&
           std::all_of(tags[tag].begin(), tags[tag].end(), [](unsigned number) { return number <= 0xffff; });
  };
  const auto sizeOf = [&](int tag) { return tags[tag].size() * (isShort(tag) ? 2 : 4); };
  std::size_t start = more;
  for (const auto& [tag, numbers] : tags) start += sizeOf(tag) > 4 ? sizeOf(tag) : 0;
  for (unsigned& place : tags[places]) place += static_cast<unsigned>(start);
  std::string bytes("II*\0\10\0\0\0", 8), values;
  Put(bytes, tags.size(), 2);
  for (const auto& [tag, numbers] : tags) {
    const bool fraction = tag == kXResolutionTag || tag == kYResolutionTag;
    Put(bytes, static_cast<std::size_t>(tag), 2);
    Put(bytes, fraction ? 5 : isShort(tag) ? 3 : 4, 2);
    Put(bytes, fraction ? 1 : numbers.size(), 4);
    std::string value;
    for (const unsigned number : numbers) Put(value, number, isShort(tag) ? 2 : 4);
    if (value.size() > 4) {
      Put(bytes, more, 4);
      more += value.size();
      values += value;
    } else {
      value.resize(4);
      bytes += value;
    }
  }
  Put(bytes, 0, 4);
  return bytes + values + pixels;
}

// One row of single samples whose bytes are given: whole numbers of gray, unless `tags` say otherwise.
inline std::string StoreRow(const std::string& bytes, unsigned width, unsigned bits,
                            std::map<int, Numbers> tags = {}) {
  tags.insert({{256, {width}},
               {257, {1}},
               {259, {1}},
               {kBitsTag, {bits}},
               {kPhotometricTag, {kBlackIsZero}},
               {kSamplesTag, {1}},
               {kRowsTag, {1}},
               {kStripsTag, {0}},
               {kStripBytesTag, {static_cast<unsigned>(bytes.size())}},
               {kFormatTag, {1}}});
  return TiffOf(tags, kStripsTag, bytes);
}

}  // namespace tiff
