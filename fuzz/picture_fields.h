// SPDX-License-Identifier: MIT
// PictureFields: where the numbers of a picture file's structure are, for a mutator that makes one of them
// odd and leaves the file whole.
#pragma once

#include <tovmx/codec.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace fuzz {

struct Field {
  std::size_t at = 0;
  std::size_t width = 0;  // 1, 2 or 4 bytes
  bool bigEndian = false;
};

// The fields of the structure as far as it can be followed; empty for what is no file of the format. Each
// lies within the bytes.
std::vector<Field> PictureFields(CoreImageFormat format, const std::uint8_t* data, std::size_t size);

// Writes the number, cut to the field's width.
void PutField(std::uint8_t* data, const Field& field, std::uint32_t value);
std::uint32_t GetField(const std::uint8_t* data, const Field& field);

// The checksum of each chunk of a PNG becomes that of its content.
void PutPngChecksumsRight(std::uint8_t* data, std::size_t size);

}  // namespace fuzz
