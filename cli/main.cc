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
void Tell(const std::string& trouble) {
  std::fprintf(stderr, "tovkit: %s\n", cli::Printable(cli::Shortened(trouble)).c_str());
}

// The exit status; `trouble` tells of a job that failed.
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
  } catch (const cli::JobError& e) {
    trouble = e.what();
    return e.status;
  } catch (const std::exception& e) {
    trouble = e.what();
    return kFailed;
  }
  return kDone;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app;
  cli::DefineCommand(app);

  std::string trouble;
  int status = Run(app, argc, argv, trouble);
  const bool lost = std::fflush(stdout) != 0 || std::ferror(stdout) != 0;
  if (lost && trouble.empty()) {
    trouble = "cannot write standard output";
    status = kFailed;
  }
  if (!trouble.empty()) Tell(trouble);
  return status;
}
