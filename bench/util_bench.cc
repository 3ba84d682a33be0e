// SPDX-License-Identifier: MIT
// Page selections, pieces of paths, file status, copies and trees beside what the standard library and GLib
// offer for the same job.
#include <tovkit/util.h>

#include <benchmark/benchmark.h>
#include <glib.h>
#include <glib/gstdio.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

// ---- Pages

// "1,3-5,7,9-11,..." up to page 6,000.
std::string PageList() {
  std::string list = "1";
  for (int page = 3; page + 2 <= 6000; page += 6) {
    list += "," + std::to_string(page) + "-" + std::to_string(page + 2) + "," + std::to_string(page + 4);
  }
  return list;
}

void PagesTovkit(benchmark::State& state) {
  const std::string list = PageList();
  for (auto _ : state) {
    CoreArray<int> pages;
    tovkit::ParsePageNumbers(list.c_str(), 6000, pages, 0);
    benchmark::DoNotOptimize(pages.GetData());
  }
}
BENCHMARK(PagesTovkit)->Name("pages/list/tovkit");

// The least that any parser of such a list does: strtol and a vector, no checks.
void PagesStrtol(benchmark::State& state) {
  const std::string list = PageList();
  for (auto _ : state) {
    std::vector<int> pages;
    for (const char* at = list.c_str(); *at != '\0';) {
      char* end = nullptr;
      long first = std::strtol(at, &end, 10);
      const long last = *end == '-' ? std::strtol(end + 1, &end, 10) : first;
      for (; first <= last; ++first) pages.push_back(static_cast<int>(first - 1));
      at = *end == ',' ? end + 1 : end;
    }
    benchmark::DoNotOptimize(pages.data());
  }
}
BENCHMARK(PagesStrtol)->Name("pages/list/strtol_and_vector");

// ---- Pieces of a path

const char* const kPath = "/srv/documents/2024/invoices/customer-4711/scan_0001.page1.tiff";

void NameTovkit(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(tovkit::GetFileName(kPath, -1));
}
BENCHMARK(NameTovkit)->Name("path/name/tovkit");

void NameStd(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(fs::path(kPath).stem());
}
BENCHMARK(NameStd)->Name("path/name/std_filesystem");

void PartTovkit(benchmark::State& state) {
  const char* path = kPath;
  for (auto _ : state) {
    benchmark::DoNotOptimize(path);
    benchmark::DoNotOptimize(tovkit::GetFileNamePart(path, -1));
  }
}
BENCHMARK(PartTovkit)->Name("path/name_part/tovkit");

void PartStd(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(fs::path(kPath).filename());
}
BENCHMARK(PartStd)->Name("path/name_part/std_filesystem");

void PartGlib(benchmark::State& state) {
  for (auto _ : state) {
    gchar* name = g_path_get_basename(kPath);
    benchmark::DoNotOptimize(name);
    g_free(name);
  }
}
BENCHMARK(PartGlib)->Name("path/name_part/glib");

// ---- Files

class Directory {
 public:
  Directory() : path_((fs::temp_directory_path() / "tovkit_bench_XXXXXX").string()) {
    if (mkdtemp(path_.data()) == nullptr) std::abort();
  }
  ~Directory() { fs::remove_all(path_); }
  Directory(const Directory&) = delete;
  Directory& operator=(const Directory&) = delete;

  std::string File(const char* name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

void FlagsTovkit(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(tovkit::GetPathFlags("/proc/self/exe"));
}
BENCHMARK(FlagsTovkit)->Name("path/flags/tovkit");

void FlagsStd(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(fs::status("/proc/self/exe"));
}
BENCHMARK(FlagsStd)->Name("path/flags/std_filesystem");

void FlagsGlib(benchmark::State& state) {
  for (auto _ : state) {
    GStatBuf status;
    benchmark::DoNotOptimize(g_stat("/proc/self/exe", &status));
  }
}
BENCHMARK(FlagsGlib)->Name("path/flags/glib");

template <typename Copy>
void RunCopy(benchmark::State& state, Copy copy) {
  const Directory directory;
  const std::string source = directory.File("source");
  const std::string target = directory.File("target");
  std::ofstream(source, std::ios::binary) << std::string(static_cast<std::size_t>(state.range(0)), 'x');
  for (auto _ : state) copy(source, target);
  if (fs::file_size(target) != static_cast<std::uintmax_t>(state.range(0))) state.SkipWithError("wrong size");
  state.SetBytesProcessed(state.iterations() * state.range(0));
}

void CopyTovkit(benchmark::State& state) {
  RunCopy(state, [](const std::string& source, const std::string& target) {
    tovkit::CopyFile(source.c_str(), target.c_str());
  });
}
BENCHMARK(CopyTovkit)->Name("file/copy/tovkit")->Arg(1 << 10)->Arg(1 << 16)->Arg(1 << 24);

void CopyStd(benchmark::State& state) {
  RunCopy(state, [](const std::string& source, const std::string& target) {
    fs::copy_file(source, target, fs::copy_options::overwrite_existing);
  });
}
BENCHMARK(CopyStd)->Name("file/copy/std_filesystem")->Arg(1 << 10)->Arg(1 << 16)->Arg(1 << 24);

void CopyStream(benchmark::State& state) {
  RunCopy(state, [](const std::string& source, const std::string& target) {
    std::ofstream(target, std::ios::binary) << std::ifstream(source, std::ios::binary).rdbuf();
  });
}
BENCHMARK(CopyStream)->Name("file/copy/std_fstream")->Arg(1 << 10)->Arg(1 << 16)->Arg(1 << 24);

template <typename Create>
void RunCreate(benchmark::State& state, Create create) {
  const Directory directory;
  const std::string top = directory.File("a");
  const std::string parent = top + "/b/c/d/e";
  for (auto _ : state) {
    create(parent, parent + "/file");
    state.PauseTiming();
    fs::remove_all(top);
    state.ResumeTiming();
  }
}

void CreateTovkit(benchmark::State& state) {
  RunCreate(state, [](const std::string&, const std::string& file) {
    if (!tovkit::CreateFileWithParents(file.c_str())) std::abort();
  });
}
BENCHMARK(CreateTovkit)->Name("file/create_with_parents/tovkit");

void CreateStd(benchmark::State& state) {
  RunCreate(state, [](const std::string& parent, const std::string& file) {
    fs::create_directories(parent);
    std::ofstream(file, std::ios::app);
  });
}
BENCHMARK(CreateStd)->Name("file/create_with_parents/std_filesystem");

void CreateGlib(benchmark::State& state) {
  RunCreate(state, [](const std::string& parent, const std::string& file) {
    g_mkdir_with_parents(parent.c_str(), 0755);
    std::fclose(g_fopen(file.c_str(), "a"));
  });
}
BENCHMARK(CreateGlib)->Name("file/create_with_parents/glib");

}  // namespace
