// SPDX-License-Identifier: MIT
// Memory that does not show itself, as a file is.
#pragma once

#include <tovmx/stream.h>

#include <cstddef>
#include <cstdint>

class StreamWithoutView final : public CoreInputStream {
 public:
  StreamWithoutView(const std::uint8_t* data, std::size_t size) : memory_(data, size) {}
  std::size_t Read(void* to, std::size_t size) override { return memory_.Read(to, size); }
  bool Seek(std::uint64_t position) override { return memory_.Seek(position); }
  std::uint64_t GetPosition() const override { return memory_.GetPosition(); }
  std::uint64_t GetSize() const override { return memory_.GetSize(); }

 private:
  CoreMemoryInputStream memory_;
};
