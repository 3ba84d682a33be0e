// The names that Cairo gives to the parts of an SVG document, made independent of the process.
#pragma once

#include <string>

namespace core {

// Cairo names a surface by how many the process made before ("surface41"). Numbers them anew from 1 in the
// order of their first use. The documents hold no text of the caller's, so a name is never anything else.
std::string WithCountedNames(const std::string& svg);

}  // namespace core
