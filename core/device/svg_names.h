// SPDX-License-Identifier: MIT
// The names of the parts of an SVG document, made independent of the process that Cairo runs in.
#pragma once

#include <string>

namespace tovmx {

// Cairo names a surface or an image by how many the process made before ("surface41"). Numbers them anew from
// 1 in the order of their first use.
std::string WithCountedNames(const std::string& svg);

}  // namespace tovmx
