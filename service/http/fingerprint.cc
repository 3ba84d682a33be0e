// SPDX-License-Identifier: MIT
// Our own files are told by their bytes, since two builds of one version differ in nothing else. The
// libraries beneath them (FreeType, Pango, codecs) and fonts are told by name, size and time, for there are
// many.
#include "fingerprint.h"

#include "jobs/folder.h"
#include "jobs/sha256.h"

#include <fcntl.h>
#include <fontconfig/fontconfig.h>
#include <link.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <set>

namespace service {

namespace {

// Of this process; a worker has no others.
std::vector<std::string> Libraries() {
  std::vector<std::string> files;
  dl_iterate_phdr(
      [](dl_phdr_info* info, std::size_t, void* data) {
        // The program and what the kernel brings have no file.
        const std::string name = info->dlpi_name;
        if (name.find('/') != std::string::npos)
          static_cast<std::vector<std::string>*>(data)->push_back(name);
        return 0;
      },
      &files);
  return files;
}

bool IsOurs(const std::string& library) {
  const std::string name = library.substr(library.rfind('/') + 1);
  return name.rfind("libtovkit.so", 0) == 0 || name.rfind("libtovmx.so", 0) == 0;
}

std::string DigestOf(const std::string& file) {
  const jobs::OpenDescriptor opened(open(file.c_str(), O_RDONLY | O_CLOEXEC));
  return jobs::Sha256OfFile(opened.get());
}

std::string StampOf(const std::string& file) {
  struct stat status = {};
  if (stat(file.c_str(), &status) != 0) return file + " missing\n";
  return file + " " + std::to_string(status.st_size) + " " + std::to_string(status.st_mtim.tv_sec) + "." +
         std::to_string(status.st_mtim.tv_nsec) + "\n";
}

// Sorted, since fontconfig lists in no order of its own.
std::string FontConfiguration() {
  std::set<std::string> files;
  if (FcStrList* const list = FcConfigGetConfigFiles(nullptr)) {
    while (const FcChar8* const file = FcStrListNext(list)) files.insert(reinterpret_cast<const char*>(file));
    FcStrListDone(list);
  }
  if (const FcFontSet* const fonts = FcConfigGetFonts(nullptr, FcSetSystem)) {
    for (int i = 0; i < fonts->nfont; ++i) {
      FcChar8* file = nullptr;
      if (FcPatternGetString(fonts->fonts[i], FC_FILE, 0, &file) == FcResultMatch) {
        files.insert(reinterpret_cast<const char*>(file));
      }
    }
  }
  std::string text;
  for (const std::string& file : files) text += StampOf(file);
  return text;
}

}  // namespace

std::string Fingerprint(const std::string& worker, const std::vector<std::string>& fontFiles) {
  std::string text;
  for (const std::string& library : Libraries()) {
    text += IsOurs(library) ? DigestOf(library) + "\n" : StampOf(library);
  }
  text += DigestOf(worker) + "\n" + FontConfiguration();
  for (const std::string& file : fontFiles) text += StampOf(file);
  for (const char* const variable : {"SOURCE_DATE_EPOCH", "LANG", "LC_ALL", "LC_CTYPE"}) {
    const char* const value = std::getenv(variable);
    text += std::string(variable) + "=" + (value == nullptr ? "" : value) + "\n";
  }
  return jobs::Sha256(text);
}

}  // namespace service
