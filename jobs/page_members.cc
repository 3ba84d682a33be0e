// SPDX-License-Identifier: MIT
#include "page_members.h"

#include "background.h"
#include "page_size.h"

namespace jobs {

bool TakePageSize(Members& members, DrawJob& job) {
  const auto size = members.TakeText("size");
  if (!size) return false;
  job.size = ParsePageSize(*size);
  if (!job.size) members.Refuse("size", "'" + *size + "' is no size such as 800x600");
  return true;
}

bool TakeDpi(Members& members, DrawJob& job) {
  const auto dpi = members.TakeNumber("dpi", 1, 4800);
  if (dpi) job.dpi = static_cast<float>(*dpi);
  return dpi.has_value();
}

bool TakeBackground(Members& members, DrawJob& job) {
  const auto background = members.TakeText("background");
  if (!background) return false;
  const auto color = ParseBackground(*background);
  if (!color) members.Refuse("background", "'" + *background + "' is no color: none, " + kColorForms);
  job.background = *color;
  return true;
}

}  // namespace jobs
