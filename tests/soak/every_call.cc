// SPDX-License-Identifier: MIT
// usage: tovkit_every_call FOLDER [--once]
//
// Calls everything that libtovkit exports, over and over until it is told to end with SIGTERM or SIGINT, with
// what it needs in the folder, which is to be empty. Prints the number of rounds now and then. Memory that
// grows with them is lost by one of the calls.
#include "every_call.h"

#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>

namespace {

volatile std::sig_atomic_t isEnding = 0;

void Round(const std::string& folder) {
  soak::CallJson();
  soak::CallConvert();
  soak::CallImaging();
  soak::CallGeometry();
  soak::CallUtil(folder);
  soak::CallSystem();
}

// Standard output, which the library's own lines are kept from.
std::FILE* TakeOutput() {
  std::FILE* const output = fdopen(dup(STDOUT_FILENO), "w");
  if (output == nullptr || std::freopen("/dev/null", "w", stdout) == nullptr) throw std::runtime_error("dup");
  return output;
}

void Run(const std::string& folder, bool once) {
  std::FILE* const output = TakeOutput();
  const auto tell = [output](unsigned long rounds) {
    std::fprintf(output, "%lu\n", rounds);
    std::fflush(output);
  };
  constexpr std::chrono::milliseconds kBetween{200};
  unsigned long rounds = 0;
  auto told = std::chrono::steady_clock::now();
  do {
    Round(folder);
    ++rounds;
    const auto now = std::chrono::steady_clock::now();
    if (now - told < kBetween) continue;
    told = now;
    tell(rounds);
  } while (!once && isEnding == 0);
  tell(rounds);
  std::fclose(output);
}

}  // namespace

int main(int count, char** arguments) {
  const bool once = count == 3 && std::string(arguments[2]) == "--once";
  if (count != 2 && !once) {
    std::fprintf(stderr, "usage: tovkit_every_call FOLDER [--once]\n");
    return 2;
  }
  for (const int signal : {SIGTERM, SIGINT}) std::signal(signal, [](int) { isEnding = 1; });
  try {
    Run(arguments[1], once);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    return 1;
  }
  return 0;
}
