// SPDX-License-Identifier: MIT
// How local text is read, and what versions run.
#include "finding.h"

#include <tovkit/util.h>
#include <tovmx/codec.h>
#include <tovmx/font.h>
#include <tovmx/text_codec.h>

#include <clocale>
#include <cstdlib>
#include <string>

namespace cli {

namespace {

// The value of the variable that decides, in the order in which setlocale reads them.
std::string CtypeLocale() {
  for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    const char* const value = std::getenv(name);
    if (value != nullptr && *value != '\0') return std::string(name) + "=" + value;
  }
  return "";
}

Finding ExamineLocale() {
  const std::string wanted = CtypeLocale();
  if (wanted.empty()) return {"locale", Finding::kOk, "none is set"};
  const locale_t locale = newlocale(LC_CTYPE_MASK, "", nullptr);
  if (locale == nullptr) {
    return {"locale", Finding::kWarning, wanted + " is not installed",
            "apt install locales, then dpkg-reconfigure locales; or set LC_ALL=C.UTF-8"};
  }
  freelocale(locale);
  return {"locale", Finding::kOk, wanted};
}

Finding ExamineCodeset() {
  const std::string codeset = CoreTextCodec::LocalCodeset();
  if (codeset == "UTF-8") return {"codeset", Finding::kOk, codeset};
  return {"codeset", Finding::kWarning, codeset + ", which does not hold every character",
          "set LC_ALL=C.UTF-8, unless file names are in " + codeset};
}

}  // namespace

Findings ExamineText() { return {ExamineLocale(), ExamineCodeset()}; }

Findings ExamineVersions() {
  Findings findings = {{"tovkit", Finding::kOk, tovkit::GetLibraryVersion()}};
  for (const auto& lines :
       {CoreCodecRegistry::Get().DescribeBackends(), CoreFontLoader::DescribeBackends()}) {
    for (const CoreString& line : lines) findings.push_back({"library", Finding::kOk, line.c_str()});
  }
  return findings;
}

}  // namespace cli
