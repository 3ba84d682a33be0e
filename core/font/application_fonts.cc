// SPDX-License-Identifier: MIT
// The files that the application registered, and the catalogs made of them and of the machine's fonts.
#include "font/font_catalog.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <filesystem>
#include <mutex>

namespace tovmx {

namespace {

struct Shelf {
  std::mutex mutex;
  std::vector<std::string> files;
  // One catalog for each source mask from 1 to 3, made when it is first asked for.
  std::array<std::shared_ptr<const FontCatalog>, 4> catalogs;
  bool sharesNext = false;  // the configuration of the next catalog of the machine's fonts
};

std::atomic<std::uint64_t> generation{1};

// Never destroyed: threads may still draw while the process ends.
Shelf& TheShelf() {
  static Shelf& shelf = *new Shelf;
  return shelf;
}

void FilesChanged(Shelf& shelf) {
  shelf.catalogs[kCoreFontApplication].reset();
  shelf.catalogs[kCoreFontAny].reset();
  generation.fetch_add(1, std::memory_order_release);
}

bool HoldsFont(const std::string& path) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error)) return false;  // opening a pipe would wait
  const FcFontSetPtr found(FcFontSetCreate());
  constexpr auto kEveryFace = static_cast<unsigned>(-1);
  int count = 0;
  return FcFreeTypeQueryAll(reinterpret_cast<const FcChar8*>(path.c_str()), kEveryFace, nullptr, &count,
                            found.get()) > 0;
}

}  // namespace

std::uint64_t FontGeneration() noexcept { return generation.load(std::memory_order_acquire); }

std::shared_ptr<const FontCatalog> CatalogFor(int source) {
  Shelf& shelf = TheShelf();
  const std::lock_guard guard(shelf.mutex);
  int mask = source & kCoreFontAny;
  // Without files, both sources are the machine's fonts, which are read once.
  if (mask == kCoreFontAny && shelf.files.empty()) mask = kCoreFontSystem;
  auto& catalog = shelf.catalogs[static_cast<std::size_t>(mask)];
  if (catalog == nullptr) {
    const bool application = (mask & kCoreFontApplication) != 0;
    catalog = std::make_shared<const FontCatalog>((mask & kCoreFontSystem) != 0,
                                                  application ? shelf.files : std::vector<std::string>());
    if (shelf.sharesNext && (mask & kCoreFontSystem) != 0 && catalog->Config() != nullptr) {
      FcConfigSetCurrent(catalog->Config());
      shelf.sharesNext = false;
    }
  }
  return catalog;
}

bool RegisterApplicationFont(const std::string& path) {
  Shelf& shelf = TheShelf();
  const std::lock_guard guard(shelf.mutex);
  if (std::find(shelf.files.begin(), shelf.files.end(), path) != shelf.files.end()) return true;
  if (!HoldsFont(path)) return false;
  shelf.files.push_back(path);
  FilesChanged(shelf);
  return true;
}

void UnregisterApplicationFonts() {
  Shelf& shelf = TheShelf();
  const std::lock_guard guard(shelf.mutex);
  shelf.files.clear();
  FilesChanged(shelf);
}

// A catalog that was made before stays as it is, and Pango has read its own configuration by then.
void ShareFontConfiguration() {
  static std::atomic<bool> called{false};
  if (called.exchange(true)) return;
  Shelf& shelf = TheShelf();
  const std::lock_guard guard(shelf.mutex);
  shelf.sharesNext = true;
}

}  // namespace tovmx

void CoreShareFontConfiguration() noexcept { tovmx::ShareFontConfiguration(); }

std::uint64_t CoreFontGeneration() noexcept { return tovmx::FontGeneration(); }
