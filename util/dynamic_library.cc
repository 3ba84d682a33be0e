// SPDX-License-Identifier: MIT
// dlopen behind a record of its own: handle, path, short name and the last error. The loader's error text is
// copied at once, because its next call overwrites it.
#include "tovkit/util.h"

#include "fixed_buffer.h"
#include "separators.h"

#include <dlfcn.h>

#include <string>
#include <utility>

namespace tovkit {

struct DynamicLibrary::Record {
  void* handle = nullptr;
  std::string name;
  std::string path;
  std::string error;
};

namespace {

// "foo" for "/usr/lib/libfoo.so", "plugin" for "/usr/lib/plugin.so".
std::string ShortName(const std::string& path) {
  CoreString stem = GetFileName(path.c_str(), -1);
  if (stem.Left(3).Compare("lib") == 0) stem = stem.Mid(4);  // positions count from 1
  return stem.c_str();
}

}  // namespace

DynamicLibrary::DynamicLibrary(const char* directory, const char* name) : record(std::make_unique<Record>()) {
  record->name = Utf8ToLocal(name, -1);
  record->path = Utf8ToLocal(directory, -1);
  if (record->path.empty() || !IsSeparator(record->path.back())) record->path += '/';
  record->path += "lib" + record->name + ".so";
}

DynamicLibrary::DynamicLibrary(const char* path) : record(std::make_unique<Record>()) {
  record->path = Utf8ToLocal(path, -1);
  record->name = ShortName(record->path);
}

DynamicLibrary::~DynamicLibrary() {
  if (record != nullptr && IsLoaded()) Unload();
}

DynamicLibrary::DynamicLibrary(DynamicLibrary&& other) noexcept = default;

DynamicLibrary& DynamicLibrary::operator=(DynamicLibrary&& other) noexcept {
  record.swap(other.record);
  return *this;
}

bool DynamicLibrary::Load() {
  record->error.clear();
  record->handle = dlopen(record->path.c_str(), RTLD_LAZY);  // Compatibility: an earlier handle is forgotten
  if (!IsLoaded()) {
    if (const char* text = dlerror()) record->error = text;
  }
  return IsLoaded();
}

void DynamicLibrary::Unload() {
  record->error.clear();
  if (IsLoaded()) dlclose(std::exchange(record->handle, nullptr));
}

bool DynamicLibrary::IsLoaded() const { return record->handle != nullptr; }

void* DynamicLibrary::Resolve(const char* symbol) {
  if (symbol == nullptr || *symbol == '\0') return nullptr;
  record->error.clear();
  if (!IsLoaded()) {
    record->error = "Library not load";  // Compatibility: the text
    return nullptr;
  }
  void* address = dlsym(record->handle, symbol);
  if (address == nullptr) {
    base::FixedBuffer<1024> message;
    message.Format("\"%s\" not found in library \"%s\"", symbol, GetName());
    record->error = message.text();
  }
  return address;
}

const char* DynamicLibrary::GetName() const { return record->name.c_str(); }
const char* DynamicLibrary::GetPath() const { return record->path.c_str(); }
const char* DynamicLibrary::GetError() const { return record->error.c_str(); }

}  // namespace tovkit
