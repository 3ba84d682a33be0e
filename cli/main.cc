// The tovkit command: every facility of the library in a person's hands.
#include "command.h"
#include "commands.h"

#include <cstdio>
#include <exception>

namespace {

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kUsage = 2;

// One line whatever the text holds, so that a file name with a line break cannot forge a second message.
int Fail(const std::string& text) {
  std::string line = text;
  for (char& c : line) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) c = '?';
  }
  std::fprintf(stderr, "tovkit: %s\n", line.c_str());
  return kFailed;
}

int Run(CLI::App& app, int argc, char** argv) {
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    return app.exit(e) == 0 ? kDone : kUsage;
  } catch (const cli::ExitStatus& status) {
    return status.code;
  } catch (const std::exception& e) {
    return Fail(e.what());
  }
  return kDone;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app;
  cli::DefineCommand(app);

  const int status = Run(app, argc, argv);
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) return Fail("cannot write standard output");
  return status;
}
