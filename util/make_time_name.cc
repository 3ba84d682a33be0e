// SPDX-License-Identifier: MIT
// A name from the clock's second. The buffer is bounded: a longer name ends the process.
#include "tovkit/util.h"

#include "fixed_buffer.h"

#include <ctime>

namespace tovkit {

std::string MakeTimeName(const char* prefix, const char* suffix) {
  base::FixedBuffer<1024> name;
  name.Format("%s%lu%s", prefix != nullptr ? prefix : "", static_cast<unsigned long>(std::time(nullptr)),
              suffix != nullptr ? suffix : "");
  return name.text();
}

}  // namespace tovkit
