// SPDX-License-Identifier: MIT
// FontCatalog: the fonts of one source, as every thread sees them, and the choice of a family among them.
//
// A catalog never changes: registering a file makes a new one, and the generation tells a thread that its
// own caches are stale. Thread-safety: catalogs and the functions below may be used from any thread.
#pragma once

#include "font/font_kind.h"
#include "font/font_request.h"
#include "font/handles.h"

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace tovmx {

// The families to draw with, most wanted first, and the language of their readers.
struct FontChoice {
  std::string families;      // comma separated, as Pango takes them
  std::string actualFamily;  // the first of them; empty when there is no font at all
  bool substituted = false;
  const char* language = "";
};

class FontCatalog {
 public:
  // The fonts of the machine when `system` is set, and those of `files`.
  FontCatalog(bool system, const std::vector<std::string>& files);

  FcConfig* Config() const noexcept { return config_.get(); }
  bool IsEmpty() const noexcept { return families_.empty(); }
  FontChoice Choose(const CoreFontRequest& request) const;
  // The name of each family, sorted, UTF-8.
  std::vector<std::string> Families() const;

 private:
  struct Family {
    std::string name;
    FontKind kind;
    unsigned regions = 0;  // bit n: holds the characters of FontRegion n
  };

  void Index(const FcFontSet* fonts);
  const Family* Find(const CoreFontRequest& request) const;
  const Family* ClosestFor(const FontKind& wanted) const;
  const Family* MatchByFontconfig(const std::string& name, const CoreFontRequest& request,
                                  FontStyle style) const;

  FcConfigPtr config_;
  std::vector<Family> families_;
  std::unordered_map<std::string, std::size_t> byName_;      // every folded family name
  std::unordered_map<std::string, std::size_t> byFullName_;  // folded full and PostScript names
};

// See CoreShareFontConfiguration.
void ShareFontConfiguration();

// The catalog of a source mask at this moment; sources outside the mask's bits count as none.
std::shared_ptr<const FontCatalog> CatalogFor(int source);

// Grows by one with every change of the application's fonts.
std::uint64_t FontGeneration() noexcept;

[[nodiscard]] bool RegisterApplicationFont(const std::string& path);
void UnregisterApplicationFonts();

}  // namespace tovmx
