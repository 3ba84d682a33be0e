// SPDX-License-Identifier: MIT
// The list of loaded objects is asked, not /proc/self/maps: it needs no file and knows the path that each
// object was loaded by.
#include "tovkit/util.h"

#include "fixed_buffer.h"

#include <link.h>
#include <unistd.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace tovkit {

namespace {

using ModulePath = base::FixedBuffer<10240>;

// The text up to and including its last '/', in UTF-8.
CoreString DirectoryOf(std::string_view path) {
  const std::string directory(path.substr(0, path.rfind('/') + 1));  // npos + 1 is 0
  return LocalToUtf8(directory.c_str(), -1).c_str();
}

// Compatibility: the last occurrence of the name must begin the last component, so a file name that holds it
// twice does not match.
bool LastComponentBegins(std::string_view path, std::string_view name) {
  const std::size_t separator = path.rfind('/');
  return separator != std::string_view::npos && path.rfind(name) == separator + 1;
}

// Looks at one loaded object. When it matches, its path replaces the wanted name in `data`, and the walk
// ends.
int MatchModule(dl_phdr_info* object, std::size_t /*size*/, void* data) {
  auto& name = *static_cast<ModulePath*>(data);
  if (object->dlpi_name == nullptr || !LastComponentBegins(object->dlpi_name, name.text())) return 0;
  name.Copy(object->dlpi_name);
  return 1;
}

}  // namespace

CoreString GetExecutableDirectory() {
  ModulePath path;
  const ssize_t length = readlink("/proc/self/exe", path.data(), ModulePath::capacity());
  // A full buffer may hold a path that was cut, so that counts as unknown.
  const bool known = length >= 1 && length < static_cast<ssize_t>(ModulePath::capacity());
  return known ? DirectoryOf(path.text()) : CoreString();
}

CoreString GetModuleDirectory(const char* moduleName) {
  ModulePath path;
  path.Copy(moduleName != nullptr ? moduleName : "");
  dl_iterate_phdr(MatchModule, &path);
  return DirectoryOf(path.text());
}

const char* GetLibraryVersion() { return TOVKIT_VERSION_TEXT; }

}  // namespace tovkit
