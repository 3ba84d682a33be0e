// The tovkit command: every facility of the library in a person's hands.
#include "command.h"
#include "commands.h"
#include "text_output.h"
#include "usage.h"

#include <cstdio>
#include <exception>
#include <string>

namespace {

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kUsage = 2;

// One line whatever the text holds, so that a file name with a line break cannot forge a second message.
int Fail(const std::string& trouble) {
  std::fprintf(stderr, "tovkit: %s\n", cli::Printable(cli::Shortened(trouble)).c_str());
  return kFailed;
}

// The exit status of a job that did not fail; `trouble` tells of one that did.
int Run(CLI::App& app, int argc, char** argv, std::string& trouble) {
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    return app.exit(e) == 0 ? kDone : kUsage;
  } catch (const cli::UsageError& e) {
    std::fputs(cli::UsageMessage(e.what()).c_str(), stderr);
    return kUsage;
  } catch (const cli::ExitStatus& status) {
    return status.code;
  } catch (const std::exception& e) {
    trouble = e.what();
  }
  return kDone;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app;
  cli::DefineCommand(app);

  std::string trouble;
  const int status = Run(app, argc, argv, trouble);
  const bool lost = std::fflush(stdout) != 0 || std::ferror(stdout) != 0;
  if (lost && trouble.empty()) trouble = "cannot write standard output";
  return trouble.empty() ? status : Fail(trouble);
}
