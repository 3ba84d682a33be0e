// SPDX-License-Identifier: MIT
// Benchmarks over the forms of an input. Each form is a case, and beside it the form that costs least is
// measured again, so that one run tells what a form costs more.
#pragma once

#include <benchmark/benchmark.h>

#include <functional>
#include <string>
#include <vector>

namespace bench {

// One iteration is one unit of work: a line, a page, a text.
using Work = std::function<void()>;

struct Form {
  std::string name;
  std::function<Work()> prepare;  // off the clock
};

// Registers the forms of a facility; the first is the one that costs least. With `elapsed`, by the clock on
// the wall.
inline bool RegisterForms(const std::string& facility, const std::vector<Form>& forms, bool elapsed = false) {
  const auto add = [&facility, elapsed](const std::string& name, const Form& form) {
    auto* const row =
        benchmark::RegisterBenchmark((facility + "/" + name).c_str(), [form](benchmark::State& state) {
          const Work work = form.prepare();
          work();
          for (auto _ : state) work();
        });
    if (elapsed) row->UseRealTime();
  };
  for (const Form& form : forms) {
    add(form.name + "/tovkit", form);
    if (&form != &forms.front()) add(form.name + "/least", forms.front());
  }
  return true;
}

}  // namespace bench
