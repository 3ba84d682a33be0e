// SPDX-License-Identifier: MIT
// Page selections, colors, processes and fonts.
#include "arguments.h"
#include "bindings.h"

#include "jobs/background.h"
#include "jobs/page_selection.h"

#include <tovkit/system.h>
#include <tovkit/util.h>
#include <tovmx/font.h>

#include <climits>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

namespace python {

namespace {

constexpr int kMostPages = 100'000'000;  // the list is held in memory

py::list ParsePages(const py::object& selection, const py::object& count, const py::object& base,
                    bool zeroBased, bool lenient) {
  std::string text(TextOf(selection, "selection"));
  const int pages = WholeOf(count, "count", 0, kMostPages);
  const int added = WholeOf(base, "base", -kMostPages, kMostPages);
  const auto stop = jobs::FindSelectionStop(text, pages, zeroBased ? 0 : 1);
  if (stop && !lenient) RefuseValue("selection", "stopped at " + stop->why);
  CoreArray<int> indices;
  (zeroBased ? tovkit::ParsePageIndices : tovkit::ParsePageNumbers)(text.c_str(), pages, indices, added);
  py::list list(static_cast<std::size_t>(indices.GetSize()));
  for (int i = 0; i < indices.GetSize(); ++i) list[static_cast<std::size_t>(i)] = py::int_(indices[i]);
  return list;
}

py::tuple ParseColor(const py::object& text) {
  const std::string color(TextOf(text, "text"));
  const auto argb = jobs::ParseBackground(color);
  if (!argb) RefuseValue("text", "'" + color + "' is no color: none, " + jobs::kColorForms);
  return py::make_tuple(*argb >> 16 & 0xFF, *argb >> 8 & 0xFF, *argb & 0xFF, *argb >> 24);
}

// The table of a ProcessMonitor without the descriptor that each of its scans leaves open: one monitor for
// the life of the process reads the values.
py::list Processes() {
  static tovkit::ProcessMonitor& monitor = *new tovkit::ProcessMonitor;
  struct Found {
    long pid;
    char name[256];
    long memory;
  };
  std::vector<Found> found;
  {
    const py::gil_scoped_release released;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/proc", error)) {
      const std::string name = entry.path().filename();
      if (name.find_first_not_of("0123456789") != std::string::npos) continue;
      Found one{std::strtol(name.c_str(), nullptr, 10), {}, 0};
      char memory[256] = {};
      if (monitor.readStatusValue(one.pid, "Name", one.name) < 0) continue;
      monitor.readStatusValue(one.pid, "VmRSS", memory);
      one.memory = std::strtol(memory, nullptr, 10);
      found.push_back(one);
    }
  }
  const py::object record = py::module_::import("tovkit._records").attr("Process");
  py::list list;
  for (const Found& one : found) list.append(record(one.pid, StrOf(one.name), one.memory));
  return list;
}

py::list Fonts() {
  CoreStringList<CoreString> families;
  {
    const py::gil_scoped_release released;
    families = CoreListFontFamilies(kCoreFontAny);
  }
  py::list list;
  for (const CoreString& family : families) list.append(py::str(family.c_str()));
  return list;
}

}  // namespace

void BindLists(py::module_& module) {
  module.def("parse_pages", &ParsePages, py::arg("selection"), py::arg("count"), py::kw_only(),
             py::arg("base") = 0, py::arg("zero_based") = false, py::arg("lenient") = false,
             R"(parse_pages(selection, count, *, base=0, zero_based=False, lenient=False)
--

The indices, from 0, of the pages that a person means: "all", "odd", "even", or numbers and ranges that
rise, such as "1,3,5-9".

``count`` is how many pages there are, up to 100 million. Numbers in the selection count from 1, with
``zero_based`` from 0. ``base`` is added to the indices of odd and even, and to no others.

Raises InputError (a ValueError) that names the first segment which does not fit; with ``lenient`` the pages
before it are returned instead. TypeError.

>>> import tovkit
>>> tovkit.parse_pages("1,3-5", 12)
[0, 2, 3, 4]
>>> tovkit.parse_pages("1,12-15", 12)
Traceback (most recent call last):
...
tovkit.InputError: selection: stopped at segment 2, "12-15": the last page is 12
)");
  module.def("parse_color", &ParseColor, py::arg("text"), R"(parse_color(text)
--

(red, green, blue, alpha), 0 to 255 each, of "#gg", "#rgb", "#rrggbb", "#ccmmyykk" (cyan, magenta, yellow,
black), of 1, 3 or 4 numbers with spaces between, or of "none", which is transparent.

Raises InputError (a ValueError) for any other text, TypeError.

>>> import tovkit
>>> tovkit.parse_color("#f80")
(255, 136, 0, 255)
)");
  module.def("processes", &Processes, R"(processes()
--

The processes of the machine, in the order of /proc, as a list of Process: pid, name, resident kilobytes.

The name is the first word of what the kernel calls the process. A process that ends meanwhile may be
missing; threads of the kernel have 0 kilobytes.

>>> import os, tovkit
>>> [process.pid for process in tovkit.processes() if process.pid == os.getpid()] == [os.getpid()]
True
)");
  module.def("fonts", &Fonts, R"(fonts()
--

The families that a description can name, sorted: those of the machine and of every font file that was
drawn with. A family that is not here is drawn with the closest in kind.

>>> import tovkit
>>> "DejaVu Sans" in tovkit.fonts()
True
)");
}

}  // namespace python
