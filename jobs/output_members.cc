// SPDX-License-Identifier: MIT
#include "output_members.h"

#include "error.h"

namespace jobs {

WantedOutput TakeWantedOutput(Members& members, const std::string& out, OutputKind kind) {
  const std::string name = members.TakeText("format").value_or(ExtensionOf(out));
  const auto format = FindOutputFormat(name, kind);
  if (!format) throw Error(ErrorKind::kInput, out, WhyNoOutputFormat(name));
  const int effort = members.TakeWhole("effort", 1, 9).value_or(0);
  if (effort != 0 && !HasEffort(*format)) members.Refuse("effort", "there is no choice of it for " + name);
  return {*format, effort};
}

}  // namespace jobs
