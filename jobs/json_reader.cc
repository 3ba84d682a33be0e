// SPDX-License-Identifier: MIT
// Errors are looked for by Diagnose before Parse is called, because Parse prints its errors on standard
// output, which may be the job's result.
#include "json_reader.h"

#include "error.h"
#include "excerpt.h"
#include "json_scan.h"
#include "json_source.h"

#include <climits>
#include <string>
#include <utility>

namespace jobs {

tovkit::SharedPtr<tovkit::JsonValue> ReadJson(const Input& input, std::string* source) {
  std::string text = input.ReadAll(INT_MAX, "larger than 2 GiB");
  // The parser would read an empty text as an empty object.
  if (text.empty()) {
    throw Error(ErrorKind::kInput, input.name(), "empty, where JSON is expected").At({1, 1, ""});
  }
  // This as well.
  if (text.front() == '\0') {
    throw Error(ErrorKind::kInput, input.name() + ":1:1",
                "a NUL character, with which UTF-16 and UTF-32 may begin; JSON is UTF-8", ExcerptAt(text, 0))
        .At({1, 1, ""});
  }
  const tovkit::JsonDiagnosis found = tovkit::Json::Diagnose(text.data(), text.size());
  if (found.code != tovkit::kJsonAccepted) {
    throw Error(ErrorKind::kInput,
                input.name() + ":" + std::to_string(found.line) + ":" + std::to_string(found.codePointColumn),
                found.message.c_str(), ExcerptAt(text, found.offset))
        .At({found.line, found.codePointColumn, found.pointer.c_str()});
  }
  tovkit::SharedPtr<tovkit::JsonValue> root =
      tovkit::Json::Parse(text.data(), static_cast<unsigned int>(text.size()), nullptr);
  if (const std::size_t nul = FindNulInside(text); nul != std::string::npos)
    throw JsonSource(input.name(), text, "", root).ErrorAtOffset(nul, "", kNulInside);
  if (source != nullptr) *source = std::move(text);
  return root;
}

}  // namespace jobs
