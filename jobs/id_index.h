// SPDX-License-Identifier: MIT
// IdIndex: what is known of each id or other name, for any number of them in constant memory: the table is a
// file without a name in the folder for temporary files, 64 bytes a place, at most three quarters of them
// taken.
//
//   place   = fingerprint of the id, 16 bytes | line | hash of the job, 16 bytes | number | hash of its
//   output,
//             16 bytes
//   probing starts at the fingerprint modulo the number of places and goes up; an empty place is zeros
#pragma once

#include "folder.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace jobs {

class IdIndex {
 public:
  struct Entry {
    std::array<std::uint64_t, 2> fingerprint;      // of the id; never zeros
    std::uint64_t line;                            // 0 for none
    std::array<std::uint64_t, 2> jobHash;          // its first 16 bytes, zeros for none
    std::uint64_t number;                          // whatever the user counts
    std::array<std::uint64_t, 2> outputHash = {};  // as jobHash
  };

  // Throws Error when there is no room for temporary files, as every function here does.
  IdIndex();

  // The entry of the id; a new one is zeros beside its fingerprint.
  [[nodiscard]] Entry Find(const std::string& id) const;
  // Puts the entry in its place.
  void Store(const Entry& entry);

 private:
  std::uint64_t PlaceOf(const std::array<std::uint64_t, 2>& fingerprint, Entry& found) const;
  void Grow();

  OpenDescriptor file_;
  std::uint64_t places_ = 0;
  std::uint64_t taken_ = 0;
};

// The first 16 bytes of a hash that is written in hexadecimal digits, and back.
std::array<std::uint64_t, 2> PackHash(const std::string& digits);
std::string UnpackHash(const std::array<std::uint64_t, 2>& hash);

}  // namespace jobs
