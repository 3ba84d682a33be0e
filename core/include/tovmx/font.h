// SPDX-License-Identifier: MIT
/// \file
/// CoreFontLoader: names a font for a device to draw with, and tells what stands in for a font that is
/// missing.
///
/// A loader is a cheap description: the fonts themselves are opened, matched and cached behind it, once for
/// every thread. A family that is not installed is replaced by the closest in kind (a Song or Ming face for
/// SimSun, a sans for Arial), and a character that the chosen family lacks is taken from the next fitting
/// one.
///
/// Thread-safety: a loader belongs to one thread at a time, or to many that only read it. The static
/// functions may be called from any thread.
///
/// \code{.cc}
/// CoreFontLoader fonts(nullptr);
/// fonts.LoadFont(L"SimSun", L"SimSun", kCoreFontAny, 400, false);
/// const CoreWideString family = fonts.GetActualFamily();   // L"AR PL UMing CN" where SimSun is missing
/// \endcode
#pragma once

#include <tovmx/export.h>
#include <tovmx/geometry.h>
#include <tovmx/string.h>
#include <tovmx/string_list.h>

#include <memory>

/// Where fonts are looked for; a mask.
enum CoreFontSource {
  kCoreFontApplication = 1,  ///< files that RegisterFontFile added
  kCoreFontSystem = 2,       ///< what fontconfig finds on the machine
  kCoreFontAny = 3,          ///< both
};

/// The extents of one line, relative to the left end of its baseline; y grows downwards.
struct CoreTextExtents {
  CoreRectF ink;      ///< what is painted; empty for blank text
  CoreRectF logical;  ///< from 0 to the advance, from the line's ascent to its descent
};

struct CoreFontRequest;  // private to the core

/// The font that a device draws with.
class TOVMX_API CoreFontLoader {
 public:
  /// A loader that holds the default font: no family, every source, weight 400, upright. `owner` names an
  /// object that loaded fonts are charged to; this core charges nothing, so a null pointer does.
  explicit CoreFontLoader(void* owner);

  /// Copies the request; the fonts behind it are shared.
  /// @{
  CoreFontLoader(const CoreFontLoader& other);
  CoreFontLoader& operator=(const CoreFontLoader& other);
  /// @}

  /// Forgets the request; the fonts stay cached.
  ~CoreFontLoader();

  /// Makes this the font that text is drawn with. `family` is looked for by its name in any language, letter
  /// case and spaces aside, then `face` by its full or PostScript name. `source` is a mask of CoreFontSource,
  /// `weight` goes from 1 to 1000 (400 is regular, 700 bold; a value outside counts as the nearest end). A
  /// null name is an empty one; an empty family is the default sans. The texts are copied.
  ///
  /// True when some font will be drawn with, the family or its replacement. False when the source has no font
  /// at all; the request is held all the same, and text drawn with it leaves no ink.
  bool LoadFont(const wchar_t* family, const wchar_t* face, int source, int weight, bool italic);

  /// @{
  /// What was asked for, as it was given.
  const CoreWideString& GetFamily() const noexcept;
  const CoreWideString& GetFace() const noexcept;
  int GetSource() const noexcept;
  int GetWeight() const noexcept;
  bool IsItalic() const noexcept;
  /// @}

  /// The family that is drawn with; empty when the source has no font. Differs from the one asked for when
  /// that is not installed.
  CoreWideString GetActualFamily() const;

  /// True when another family stands in for the one asked for.
  bool IsSubstituted() const;

  /// Measures one line drawn with this font, `pixelSize` pixels to the em. A negative count means up to the
  /// terminating NUL. False, and `extents` untouched, for a line that a device would refuse (see
  /// CoreDevice::DrawText).
  bool MeasureText(const wchar_t* characters, int count, float pixelSize, CoreTextExtents& extents) const;

  /// Adds the faces of a font file (TrueType, OpenType, a collection) to the application's fonts, for every
  /// loader and thread from now on. False, and nothing added, when the file holds no font. Adding a file
  /// twice does nothing and returns true.
  static bool RegisterFontFile(const char* path);

  /// Forgets every file that RegisterFontFile added.
  static void UnregisterFontFiles();

  /// One line for each library behind the fonts with the version that runs: "Pango 1.50.12".
  static CoreStringList<CoreString> DescribeBackends();

  /// For devices of the core.
  const CoreFontRequest& Request() const noexcept { return *request_; }

 private:
  std::unique_ptr<CoreFontRequest> request_;
};
