// SPDX-License-Identifier: MIT
// SVG files and path texts are told apart by their content; errors of both get a line and a column.
#include "path_reader.h"

#include "error.h"
#include "svg_document.h"
#include "svg_path.h"

#include <cstddef>

namespace jobs {

namespace {

constexpr std::size_t kLargestFile = 16u << 20;

void WarnOfTransforms(const std::string& place, const SvgPathElement& element, Observer& observer) {
  if (element.transforms.empty()) return;
  std::string lines;
  for (const unsigned long line : element.transforms) {
    lines += (lines.empty() ? "" : ", ") + std::to_string(line);
  }
  observer.Warn(place + ": the <path> is taken in its own coordinates, without the transform at line " +
                lines);
}

CorePath ReadSvgFile(const std::string& text, const std::string& name, const std::string& id,
                     Observer& observer) {
  SvgPathElement element;
  try {
    element = FindSvgPath(text, id);
  } catch (const SvgDocumentError& e) {
    throw Error(ErrorKind::kInput, name + ":" + std::to_string(e.line), e.what());
  }
  const std::string place = name + ":" + std::to_string(element.line);
  WarnOfTransforms(place, element, observer);
  try {
    return ParseSvgPath(element.d);
  } catch (const SvgPathError& e) {
    throw Error(ErrorKind::kInput, place, std::string("in the d of the <path>: ") + e.what());
  }
}

}  // namespace

CorePath ReadPath(const Input& input, const std::string& id, Observer& observer) {
  const std::string text = input.ReadAll(kLargestFile, "the path is longer than 16 MiB");
  if (IsSvgDocument(text)) return ReadSvgFile(text, input.name(), id, observer);
  if (!id.empty()) throw Error(ErrorKind::kInput, input.name(), "no SVG file, so there is no --id in it");
  try {
    return ParseSvgPath(text);
  } catch (const SvgPathError& e) {
    throw Error(ErrorKind::kInput, input.name(), e.what());
  }
}

}  // namespace jobs
