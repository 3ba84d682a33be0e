// SPDX-License-Identifier: MIT
// tovkit pages: the page indices that a page selection stands for.
#include "command.h"
#include "jobs/page_selection.h"
#include "text_output.h"

#include <tovkit/util.h>

#include <cstdio>
#include <memory>
#include <string>

namespace cli {

namespace {

constexpr int kMostPages = 100'000'000;  // the list is held in memory

struct PagesOptions {
  std::string selection;
  int count = 0;
  int base = 0;
  bool zeroBased = false;
  bool lenient = false;
};

void PrintSelected(const PagesOptions& options, const std::string& selection) {
  CoreArray<int> pages;
  const auto parse = options.zeroBased ? tovkit::ParsePageIndices : tovkit::ParsePageNumbers;
  parse(selection.c_str(), options.count, pages, options.base);
  const int size = pages.GetSize();
  for (int i = 0; i < size; ++i) std::printf("%d\n", pages[i]);
}

void PrintPages(const PagesOptions& options) {
  const auto stop = jobs::FindSelectionStop(options.selection, options.count, options.zeroBased ? 0 : 1);
  if (!stop || options.lenient) {
    PrintSelected(options, options.selection);
    if (stop) std::fprintf(stderr, "tovkit: %s\n", Printable(stop->why).c_str());
    return;
  }
  if (stop->hasSelected) PrintSelected(options, stop->selected);
  throw CommandError("stopped at " + stop->why);
}

}  // namespace

void AddPagesCommand(CLI::App& app) {
  const auto options = std::make_shared<PagesOptions>();
  CLI::App* const command = app.add_subcommand(
      "pages",
      "Print the zero-based page indices that a selection such as \"odd\" or \"1,3,5-9\" stands for. The "
      "list "
      "ends at the first segment that does not fit, which is told on standard error with exit status 1.");
  command->add_option("SELECTION", options->selection, "all, odd, even, or numbers and ranges that rise")
      ->required();
  command->add_option("--count", options->count, "Number of pages of the document")
      ->required()
      ->check(CLI::Range(0, kMostPages));
  command->add_flag("--zero-based", options->zeroBased, "Numbers in SELECTION count from 0 instead of 1");
  command->add_flag(
      "--lenient", options->lenient,
      "Where the selection does not fit, exit with 0 all the same, with every page that could be read");
  command->add_option("--base", options->base, "Added to the indices of odd and even, and to no others");
  command->callback([options] { PrintPages(*options); });
}

}  // namespace cli
