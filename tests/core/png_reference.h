// SPDX-License-Identifier: MIT
// What plain libpng makes of a file, in the forms of a CoreDib: the measure for any other way to read PNG.
#pragma once

#include <tovmx/dib.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

// Null for what libpng refuses, and for pictures of more than `mostBytes` of pixels.
std::unique_ptr<CoreDib> ReadByLibpng(const std::uint8_t* data, std::size_t size, std::uint64_t mostBytes);
