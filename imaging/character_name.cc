// SPDX-License-Identifier: MIT
// Names are those of libunistring, but for those that follow a rule: it leaves ideographs of later versions
// without a name, and its Hangul syllables that end in NJ end in NI.
#include "character_name.h"

#include <unictype.h>
#include <uniname.h>

#include <cstdio>

namespace tovkit {

namespace {

// Names that are a word and the code point.
constexpr struct {
  char32_t first, last;
  const char* name;
} kNumbered[] = {
    {0x3400, 0x4DBF, "CJK UNIFIED IDEOGRAPH"},  {0x4E00, 0x9FFF, "CJK UNIFIED IDEOGRAPH"},
    {0x17000, 0x187FF, "TANGUT IDEOGRAPH"},     {0x18B00, 0x18CFF, "KHITAN SMALL SCRIPT CHARACTER"},
    {0x18D00, 0x18D7F, "TANGUT IDEOGRAPH"},     {0x1B170, 0x1B2FF, "NUSHU CHARACTER"},
    {0x20000, 0x3FFFD, "CJK UNIFIED IDEOGRAPH"}};

// Leading consonant, vowel, trailing consonant, as the Unicode Standard spells them (section 3.12).
std::string HangulName(char32_t syllable) {
  static constexpr const char* kLeading[] = {"G",  "GG", "N", "D",  "DD", "R", "M", "B", "BB", "S",
                                             "SS", "",   "J", "JJ", "C",  "K", "T", "P", "H"};
  static constexpr const char* kVowels[] = {"A",   "AE", "YA", "YAE", "EO", "E",  "YEO",
                                            "YE",  "O",  "WA", "WAE", "OE", "YO", "U",
                                            "WEO", "WE", "WI", "YU",  "EU", "YI", "I"};
  static constexpr const char* kTrailing[] = {"",   "G",  "GG", "GS", "N",  "NJ", "NH", "D", "L",  "LG",
                                              "LM", "LB", "LS", "LT", "LP", "LH", "M",  "B", "BS", "S",
                                              "SS", "NG", "J",  "C",  "K",  "T",  "P",  "H"};
  const char32_t index = syllable - 0xAC00;
  return std::string("HANGUL SYLLABLE ") + kLeading[index / 588] + kVowels[index % 588 / 28] +
         kTrailing[index % 28];
}

}  // namespace

std::string CharacterName(char32_t character) {
  if (character >= 0xAC00 && character <= 0xD7A3) return HangulName(character);
  char name[UNINAME_MAX];
  if (unicode_character_name(character, name) != nullptr) return name;
  const bool isAssigned = !uc_is_general_category(character, UC_UNASSIGNED);
  for (const auto& range : kNumbered) {
    if (!isAssigned || character < range.first || character > range.last) continue;
    char number[16];
    std::snprintf(number, sizeof number, "-%04X", static_cast<unsigned>(character));
    return range.name + std::string(number);
  }
  const bool isPrivate = (character >= 0xE000 && character <= 0xF8FF) || character >= 0xF0000;
  return isPrivate ? "PRIVATE USE CHARACTER" : "UNASSIGNED CHARACTER";
}

std::string CharacterNotation(char32_t character) {
  char text[16];
  std::snprintf(text, sizeof text, "U+%04X", static_cast<unsigned>(character));
  return text;
}

}  // namespace tovkit
