// SPDX-License-Identifier: MIT
// The sections of the man page that no definition of an option holds.
#pragma once

#include <vector>

namespace reference {

struct ManEntry {
  enum Kind {
    kParagraph,  // text
    kTerm,       // term, and what it means
    kExample,    // term is what to type, text says what it does
    kPage,       // term is a page, text its section and what follows
  };
  Kind kind;
  const char* term;
  const char* text;
};

struct ManSection {
  const char* title;
  std::vector<ManEntry> entries;
};

extern const std::vector<ManSection> kManSections;

}  // namespace reference
