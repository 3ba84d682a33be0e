// SPDX-License-Identifier: MIT
// The file is read and written by position, not mapped: mapped pages would count as memory of the process.
// 128 bits of SHA-256 stand for an id, so two ids practically never share an entry.
#include "id_index.h"

#include "error.h"
#include "retried.h"
#include "sha256.h"

#include <fcntl.h>
#include <unistd.h>

#include <cassert>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <vector>

namespace jobs {

namespace {

constexpr std::uint64_t kFirstPlaces = 4096;

[[noreturn]] void Fail() {
  throw Error(ErrorKind::kOutput, "temporary file", std::string("cannot be used: ") + std::strerror(errno));
}

OpenDescriptor OpenNameless(std::uint64_t places) {
  std::error_code error;
  std::string name = std::filesystem::temp_directory_path(error).string();
  int fd = base::Retried([&] { return open(name.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600); });
  if (fd < 0) {
    name += "/tovkit-ids-XXXXXX";
    fd = mkostemp(name.data(), O_CLOEXEC);
    if (fd >= 0) unlink(name.c_str());
  }
  const auto bytes = static_cast<off_t>(places * sizeof(IdIndex::Entry));
  if (fd < 0 || base::Retried([=] { return ftruncate(fd, bytes); }) != 0) Fail();
  return OpenDescriptor(fd);
}

void ReadPlace(int fd, std::uint64_t place, IdIndex::Entry& entry) {
  const auto at = static_cast<off_t>(place * sizeof entry);
  if (base::Retried([&] { return pread(fd, &entry, sizeof entry, at); }) != sizeof entry) Fail();
}

void WritePlace(int fd, std::uint64_t place, const IdIndex::Entry& entry) {
  const auto at = static_cast<off_t>(place * sizeof entry);
  if (base::Retried([&] { return pwrite(fd, &entry, sizeof entry, at); }) != sizeof entry) Fail();
}

bool IsTaken(const IdIndex::Entry& entry) { return (entry.fingerprint[0] | entry.fingerprint[1]) != 0; }

}  // namespace

std::array<std::uint64_t, 2> PackHash(const std::string& digits) {
  std::array<std::uint64_t, 2> hash = {};
  for (std::size_t i = 0; i < 2 && digits.size() >= 32; ++i) {
    std::from_chars(digits.data() + 16 * i, digits.data() + 16 * i + 16, hash[i], 16);
  }
  return hash;
}

std::string UnpackHash(const std::array<std::uint64_t, 2>& hash) {
  char digits[33];
  std::snprintf(digits, sizeof digits, "%016jx%016jx", static_cast<std::uintmax_t>(hash[0]),
                static_cast<std::uintmax_t>(hash[1]));
  return digits;
}

IdIndex::IdIndex() : file_(OpenNameless(kFirstPlaces)), places_(kFirstPlaces) {}

// The place of the fingerprint, or the empty place where it belongs.
std::uint64_t IdIndex::PlaceOf(const std::array<std::uint64_t, 2>& fingerprint, Entry& found) const {
  assert(taken_ < places_);  // so the walk ends at an empty place
  std::uint64_t place = fingerprint[0] % places_;
  for (;; place = (place + 1) % places_) {
    ReadPlace(file_.get(), place, found);
    if (!IsTaken(found) || found.fingerprint == fingerprint) return place;
  }
}

IdIndex::Entry IdIndex::Find(const std::string& id) const {
  const std::array<std::uint64_t, 2> fingerprint = PackHash(Sha256(id));
  Entry entry;
  PlaceOf(fingerprint, entry);
  entry.fingerprint = fingerprint;
  return entry;
}

void IdIndex::Store(const Entry& entry) {
  Entry before;
  const std::uint64_t place = PlaceOf(entry.fingerprint, before);
  WritePlace(file_.get(), place, entry);
  if (!IsTaken(before) && ++taken_ * 4 > places_ * 3) Grow();
}

void IdIndex::Grow() {
  const OpenDescriptor old = std::exchange(file_, OpenNameless(4 * places_));
  const std::uint64_t count = std::exchange(places_, 4 * places_);
  std::vector<Entry> entries(kFirstPlaces);
  for (std::uint64_t from = 0; from < count; from += entries.size()) {
    const std::size_t bytes = entries.size() * sizeof(Entry);
    const auto at = static_cast<off_t>(from * sizeof(Entry));
    if (base::Retried([&] { return pread(old.get(), entries.data(), bytes, at); }) !=
        static_cast<ssize_t>(bytes)) {
      Fail();
    }
    for (const Entry& entry : entries) {
      Entry empty;
      if (IsTaken(entry)) WritePlace(file_.get(), PlaceOf(entry.fingerprint, empty), entry);
    }
  }
}

}  // namespace jobs
