// SPDX-License-Identifier: MIT
// A loader holds a request and no font; whatever is asked of it goes to the thread's TextShaper, which
// caches. So loaders are cheap to copy, and a font file that is registered later counts for all of them.
#include "font/font_request.h"
#include "font/line_extents.h"
#include "font/text_shaper.h"
#include "tovmx/text_codec.h"

#include <cwchar>

CoreFontLoader::CoreFontLoader(void* /*owner*/) : request_(std::make_unique<CoreFontRequest>()) {}
CoreFontLoader::CoreFontLoader(const CoreFontLoader& other)
    : request_(std::make_unique<CoreFontRequest>(*other.request_)) {}
CoreFontLoader& CoreFontLoader::operator=(const CoreFontLoader& other) {
  *request_ = *other.request_;
  return *this;
}
CoreFontLoader::~CoreFontLoader() = default;

bool CoreFontLoader::LoadFont(const wchar_t* family, const wchar_t* face, int source, int weight,
                              bool italic) {
  request_->family = family;
  request_->face = face;
  request_->source = source;
  request_->weight = weight;
  request_->italic = italic;
  return tovmx::TextShaper::ForThisThread().HasFonts(source);
}

const CoreWideString& CoreFontLoader::GetFamily() const noexcept { return request_->family; }
const CoreWideString& CoreFontLoader::GetFace() const noexcept { return request_->face; }
int CoreFontLoader::GetSource() const noexcept { return request_->source; }
int CoreFontLoader::GetWeight() const noexcept { return request_->weight; }
bool CoreFontLoader::IsItalic() const noexcept { return request_->italic; }

CoreWideString CoreFontLoader::GetActualFamily() const {
  const auto& choice = tovmx::TextShaper::ForThisThread().Resolve(*request_);
  return CoreTextCodec::Utf8Decode(choice.actualFamily.c_str(), -1);
}

bool CoreFontLoader::IsSubstituted() const {
  return tovmx::TextShaper::ForThisThread().Resolve(*request_).substituted;
}

bool CoreFontLoader::MeasureText(const wchar_t* characters, int count, float pixelSize,
                                 CoreTextExtents& extents) const {
  const tovmx::ShapedLine* line =
      tovmx::TextShaper::ForThisThread().Shape(*request_, characters, count, pixelSize);
  if (line == nullptr) return false;
  extents = tovmx::ExtentsOf(*line, pixelSize);
  return true;
}

bool CoreFontLoader::RegisterFontFile(const char* path) {
  return path != nullptr && tovmx::RegisterApplicationFont(path);
}

void CoreFontLoader::UnregisterFontFiles() { tovmx::UnregisterApplicationFonts(); }

CoreStringList<CoreString> CoreListFontFamilies(int source) {
  CoreStringList<CoreString> families;
  for (const std::string& name : tovmx::CatalogFor(source)->Families()) families.Add(name.c_str());
  return families;
}
