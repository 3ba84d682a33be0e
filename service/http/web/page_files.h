// SPDX-License-Identifier: MIT
// The files of the page, which are part of the program.
//
//   if (const page::File* file = page::FindFile("/")) Send(file->mediaType, file->bytes);
//
// All threads may ask at once.
#pragma once

#include <span>
#include <string_view>

namespace page {

// What a server answers a GET of `path` with. Every text lives as long as the program.
struct File {
  std::string_view path;          // "/", or below "/assets/" and a digest of all files
  std::string_view mediaType;     // of Content-Type, with the character set
  std::string_view cacheControl;  // only "/" has to be asked for again
  std::string_view etag;          // with its quotes
  std::string_view bytes;
};

// All of them, "/" first.
std::span<const File> Files();

// The file of this path; null when there is none. A path is compared as it stands, without a query.
const File* FindFile(std::string_view path);

}  // namespace page
