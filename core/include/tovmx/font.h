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
#include <vector>

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
struct CoreTextDescription;

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

  /// Tells how one line is drawn with this font, `pixelSize` pixels to the em: its extents, its runs from
  /// left to right, of which the first `maxRuns` are told, and every character that no font holds. A negative
  /// count means up to the terminating NUL. False, and `description` untouched, for a line that a device
  /// would refuse. A line that was drawn, measured or described before is not shaped again.
  bool DescribeText(const wchar_t* characters, int count, float pixelSize, int maxRuns,
                    CoreTextDescription& description) const;

 private:
  std::unique_ptr<CoreFontRequest> request_;
};

/// A run: characters that stand beside each other and are drawn with one font. Positions count the line's
/// characters as they were given, from 0.
struct CoreTextRun {
  int first = 0;             ///< the first of the characters in the order of reading
  int count = 0;             ///< how many there are, those between them that are not drawn included
  CoreString script;         ///< ISO 15924: "Latn", "Hani"; "Zyyy" for what belongs to every script
  bool rightToLeft = false;  ///< the characters run from right to left
  float left = 0;            ///< where the run begins, in pixels from the left end of the line
  float right = 0;           ///< where the next one begins
  CoreString family;         ///< of the font, UTF-8; the English name where there is one
  CoreString style;          ///< "Regular", "Bold Oblique"
  CoreString file;           ///< the font's file, in the bytes of the file system
  int face = 0;              ///< which of the file's fonts
  bool substituted = false;  ///< stands in for the family that was asked for
};

/// A character that no font holds. It shows as a box.
struct CoreMissingCharacter {
  int position = 0;        ///< in the line's characters, from 0
  char32_t character = 0;  ///< the code point
};

/// What CoreFontLoader::DescribeText tells of a line.
struct CoreTextDescription {
  CoreTextExtents extents;                    ///< as CoreFontLoader::MeasureText
  int runCount = 0;                           ///< of all runs
  std::vector<CoreTextRun> runs;              ///< from left to right
  std::vector<CoreMissingCharacter> missing;  ///< in the order of their positions
};

/// A number that grows whenever the fonts of this process change, as by CoreFontLoader::RegisterFontFile.
/// While it stays, a text is drawn with the same fonts, and what was found of it holds. Any thread may ask.
TOVMX_API std::uint64_t CoreFontGeneration() noexcept;

/// The families that LoadFont finds by name in the sources of a mask of CoreFontSource, sorted by their
/// bytes, each once and by its first name, UTF-8. Empty when the sources have no font. May be called from any
/// thread.
///
/// \code{.cc}
/// for (const CoreString& family : CoreListFontFamilies(kCoreFontAny)) std::puts(family.c_str());
/// \endcode
TOVMX_API CoreStringList<CoreString> CoreListFontFamilies(int source);

/// For a program in which nobody but this core asks for fonts, such as its command: the fontconfig
/// configuration that the core reads becomes the process's own as well, which Pango otherwise has read a
/// second time, in some milliseconds. What is drawn stays the same. To be called before fonts are first used;
/// later calls change nothing. No call for a library: others would be told of the core's own settings, such
/// as outlines without hinting. May be called from any thread.
///
/// \code{.cc}
/// CoreShareFontConfiguration();  // at the beginning of main
/// \endcode
TOVMX_API void CoreShareFontConfiguration() noexcept;
