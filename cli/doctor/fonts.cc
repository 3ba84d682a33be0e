// SPDX-License-Identifier: MIT
// Looks for a font for each script that people write, and for what stands in for fonts that documents name.
#include "finding.h"
#include "text_output.h"

#include <tovkit/util.h>
#include <tovmx/font.h>

#include <algorithm>
#include <cstring>
#include <string>

namespace cli {

namespace {

struct Script {
  const char* name;
  const char* tag;  // ISO 15924, empty for none of its own
  const wchar_t* sample;
  const char* package;  // of Debian, that has a font
};

constexpr Script kScripts[] = {
    {"Latin", "Latn", L"Hamburg", "fonts-dejavu-core"},
    {"Chinese", "Hani", L"\x4e2d\x6587\x5b57\x4f53", "fonts-arphic-uming"},
    {"Japanese", "Hira", L"\x3072\x3089\x304c\x306a", "fonts-noto-cjk"},
    {"Korean", "Hang", L"\xd55c\xad6d\xc5b4", "fonts-noto-cjk"},
    {"Arabic", "Arab", L"\x0627\x0644\x0639\x0631\x0628\x064a\x0629", "fonts-noto-core"},
    {"Hebrew", "Hebr", L"\x05e2\x05d1\x05e8\x05d9\x05ea", "fonts-noto-core"},
    {"Devanagari", "Deva", L"\x0926\x0947\x0935\x0928\x093e\x0917\x0930\x0940", "fonts-noto-core"},
    {"Thai", "Thai", L"\x0e44\x0e17\x0e22", "fonts-noto-core"},
    {"emoji", "", L"\U0001F600\U0001F680", "fonts-noto-color-emoji"},
};

struct Family {
  const char* name;
  const wchar_t* wide;
  const wchar_t* sample;
  const char* standIn;  // the one that fits best
  const char* package;
};

constexpr Family kFamilies[] = {
    {"SimSun", L"SimSun", L"\x5b8b\x4f53", "AR PL UMing CN", "fonts-arphic-uming"},
    {"Arial", L"Arial", L"Arial", "Liberation Sans", "fonts-liberation"},
    {"Times New Roman", L"Times New Roman", L"Times", "Liberation Serif", "fonts-liberation"},
};

std::string Local(const CoreWideString& text) {
  return PrintableUtf8(tovkit::WideToUtf8(text.c_str(), text.GetLength()));
}

CoreFontLoader Fonts(const wchar_t* family) {
  CoreFontLoader fonts(nullptr);
  fonts.LoadFont(family, family, kCoreFontAny, 400, false);
  return fonts;
}

Finding ExamineScript(const Script& script) {
  const std::string check = std::string("font for ") + script.name;
  const std::string advice = std::string("apt install ") + script.package;
  CoreTextDescription line;
  if (!Fonts(L"SimSun").DescribeText(script.sample, -1, 32, 8, line) || line.runs.empty()) {
    return {check, Finding::kFailed, "no font is installed at all", advice};
  }
  if (!line.missing.empty()) {
    const bool isNeeded = std::strcmp(script.tag, "Latn") == 0;
    return {check, isNeeded ? Finding::kFailed : Finding::kWarning, "none; its characters show as boxes",
            advice};
  }
  return {check, Finding::kOk, PrintableUtf8(line.runs[0].family.c_str())};
}

Finding ExamineFamily(const Family& family) {
  const std::string check = family.name;
  const std::string advice = std::string("apt install ") + family.package;
  const CoreFontLoader fonts = Fonts(family.wide);
  const std::string actual = Local(fonts.GetActualFamily());
  CoreTextDescription line;
  if (actual.empty() || !fonts.DescribeText(family.sample, -1, 32, 1, line)) {
    return {check, Finding::kFailed, "no font is installed at all", advice};
  }
  if (!fonts.IsSubstituted()) return {check, Finding::kOk, "installed"};
  const bool fits = actual == family.standIn;
  return {check, fits ? Finding::kOk : Finding::kWarning, actual + " stands in for it",
          fits ? "" : advice + " for " + family.standIn + ", which is closer"};
}

}  // namespace

Findings ExamineFonts() {
  Findings findings;
  for (const Script& script : kScripts) findings.push_back(ExamineScript(script));
  for (const Family& family : kFamilies) findings.push_back(ExamineFamily(family));
  return findings;
}

}  // namespace cli
