#include "terminal_observer.h"

#include "text_output.h"

#include <cstdio>

namespace cli {

void TerminalObserver::Warn(const std::string& text) {
  std::fprintf(stderr, "tovkit: %s\n", Printable(text).c_str());
}

}  // namespace cli
