// SPDX-License-Identifier: MIT
// FileWatch: waits for changes of files, which may come, go and be replaced meanwhile, and so may the folders
// that they are in.
//
//   FileWatch watch({"page.json"});
//   for (;; watch.WaitForChange()) Draw("page.json");
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

namespace cli {

class FileWatch {
 public:
  // Counts changes from here on. Throws CommandError when the system watches no more files.
  explicit FileWatch(std::vector<std::string> files);
  ~FileWatch();
  FileWatch(const FileWatch&) = delete;
  FileWatch& operator=(const FileWatch&) = delete;

  // Waits until one of the files has changed, come or gone since the last call, and then until nothing more
  // happens for a moment. That second wait takes half a second at most, even when changes never stop.
  void WaitForChange();

 private:
  void WatchAll();
  void WatchName(const std::string& path);
  bool TakeEvents();

  std::vector<std::string> files_;
  int fd_;
  std::map<int, std::set<std::string>> names_;  // the names in each folder that are of interest
};

}  // namespace cli
