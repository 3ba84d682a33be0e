// tovkit pages: the page indices that a page selection stands for.
#include "command.h"

#include <tovkit/util.h>

#include <cstdio>
#include <memory>
#include <string>

namespace cli {

namespace {

constexpr int kMostPages = 100'000'000;  // the list is held in memory

struct PagesOptions {
  std::string spec;
  int count = 0;
  int base = 0;
  bool zeroBased = false;
};

void PrintPages(const PagesOptions& options) {
  CoreArray<int> pages;
  const auto parse = options.zeroBased ? tovkit::ParsePageIndices : tovkit::ParsePageNumbers;
  parse(options.spec.c_str(), options.count, pages, options.base);
  const int size = pages.GetSize();
  for (int i = 0; i < size; ++i) std::printf("%d\n", pages[i]);
}

}  // namespace

void AddPagesCommand(CLI::App& app) {
  const auto options = std::make_shared<PagesOptions>();
  CLI::App* const command = app.add_subcommand(
      "pages",
      "Print the zero-based page indices that a selection such as \"odd\" or \"1,3,5-9\" stands for");
  command
      ->add_option("SPEC", options->spec,
                   "all, odd, even, or numbers and ranges that rise; the list ends at what does not fit")
      ->required();
  command->add_option("--count", options->count, "Number of pages of the document")
      ->required()
      ->check(CLI::Range(0, kMostPages));
  command->add_flag("--zero-based", options->zeroBased, "Numbers in SPEC count from 0 instead of 1");
  command->add_option("--base", options->base, "Added to the indices of odd and even, and to no others");
  command->callback([options] { PrintPages(*options); });
}

}  // namespace cli
