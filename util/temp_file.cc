// SPDX-License-Identifier: MIT
// Makes names, not files:  directory / prefix _ process _ digits _ suffix . extension
#include "tovkit/util.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace tovkit {

namespace {

void SetUnlessNull(std::string& part, const char* text) {
  if (text != nullptr) part = text;
}

}  // namespace

TempFile::TempFile() : TempFile(nullptr) {}

TempFile::TempFile(const char* dir) {
  fields.directory = dir != nullptr ? std::string(dir) : tempDirectory();
}

TempFile::~TempFile() {
  if (fields.removeOnDestroy && !fields.path.empty()) std::remove(fields.path.c_str());
}

void TempFile::setPrefix(const char* text) { SetUnlessNull(fields.prefix, text); }
void TempFile::setSuffix(const char* text) { SetUnlessNull(fields.suffix, text); }
void TempFile::setExtension(const char* text) { SetUnlessNull(fields.extension, text); }

std::string TempFile::tempDirectory() {
  std::string directory = "/tmp";
  for (const char* variable : {"TMPDIR", "TMP", "TEMP", "TEMPDIR"}) {
    if (const char* value = std::getenv(variable)) {
      directory = value;
      break;
    }
  }
  if (directory.empty() || directory.back() != '/') directory += '/';
  return directory;
}

std::string TempFile::fileName() const {
  std::string name;
  if (!fields.prefix.empty()) name += fields.prefix + "_";
  if (fields.withProcessId) name += std::to_string(static_cast<unsigned>(getpid())) + "_";
  if (fields.withRandomDigits) {
    // Compatibility: seeded with the second for every name, so names of one second are equal; clients that
    // need more set prefixes or suffixes.
    std::srand(static_cast<unsigned>(std::time(nullptr)));
    for (int i = 0; i < 5; ++i) name += static_cast<char>('0' + std::rand() % 10);
  }
  if (!fields.suffix.empty()) name += "_" + fields.suffix;
  if (!fields.extension.empty()) name += "." + fields.extension;
  return name;
}

void TempFile::makePath() {
  if (fields.path.empty()) fields.path = fields.directory + fileName();
}

}  // namespace tovkit
