#include "surface.h"

namespace reference {

namespace {

// A text as roff prints it: backslashes, dashes and a leading control character are protected.
std::string Roff(const std::string& text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '\\') {
      result += "\\e";
    } else if (c == '-') {
      result += "\\-";
    } else {
      if ((c == '.' || c == '\'') && (i == 0 || text[i - 1] == '\n')) result += "\\&";
      result += c;
    }
  }
  return result;
}

std::string Joined(const Option& option) {
  std::string text;
  for (const std::string& name : option.names) {
    if (!text.empty()) text += ", ";
    text += "\\fB" + Roff(name) + "\\fR";
  }
  if (!option.value.empty()) text += (text.empty() ? "\\fI" : " \\fI") + Roff(option.value) + "\\fR";
  return text;
}

std::string OptionList(const std::vector<Option>& options) {
  std::string text;
  for (const Option& option : options)
    text += ".TP\n" + Joined(option) + "\n" + Roff(option.description) + "\n";
  return text;
}

std::string Usage(const std::string& prefix, const Command& command) {
  std::string line = "\\fB" + Roff(prefix) + "\\fR";
  if (!command.options.empty()) line += " [\\fIOPTIONS\\fR]";
  for (const Option& positional : command.positionals) {
    const std::string value = "\\fI" + Roff(positional.value) + "\\fR";
    line += positional.required ? " " + value : " [" + value + "]";
  }
  return line;
}

std::string Section(const std::string& prefix, const Command& command) {
  const std::string name = prefix + " " + command.name;
  std::string text;
  if (command.subcommands.empty()) {
    text += ".SS " + Usage(name, command) + "\n" + Roff(command.description) + "\n";
    text += OptionList(command.positionals) + OptionList(command.options);
    if (!command.footer.empty()) text += ".PP\n" + Roff(command.footer) + "\n";
  }
  for (const Command& sub : command.subcommands) text += Section(name, sub);
  return text;
}

}  // namespace

std::string ManPage(const Surface& surface) {
  const Command& root = surface.root;
  std::string page = ".TH TOVKIT 1 \"\" \"tovkit " + surface.version + "\" \"User Commands\"\n";
  page += ".SH NAME\ntovkit \\- " + Roff(root.description) + "\n";
  page += ".SH SYNOPSIS\n\\fBtovkit\\fR \\fISUBCOMMAND\\fR [\\fIOPTIONS\\fR] [\\fIARGUMENTS\\fR]\n";
  page += ".SH OPTIONS\n" + OptionList(root.options);
  page += ".SH SUBCOMMANDS\n";
  for (const Command& command : root.subcommands) page += Section("tovkit", command);
  page +=
      ".SH EXIT STATUS\n0 when the job is done, 1 when it failed (one line on standard error says what and "
      "where), 2 for wrong usage. Subcommands that answer by their status say so above.\n";
  page += ".SH ENVIRONMENT\n.TP\n\\fBNO_COLOR\\fR\nWhen set, nothing is printed in colour.\n";
  page += ".TP\n\\fBSOURCE_DATE_EPOCH\\fR\nWhen set, the date that is written into pages.\n";
  return page;
}

}  // namespace reference
