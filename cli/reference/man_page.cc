// SPDX-License-Identifier: MIT
// Synopsis and options come from the definitions that the command parses with; the rest of the page comes
// from man_sections.cc.
#include "man_sections.h"
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

// As Roff, for what a person copies: roff would turn a quote into a curly one, which shells do not know.
std::string Typed(const std::string& text) {
  std::string result;
  for (const char c : Roff(text)) {
    if (c == '\'') {
      result += "\\(aq";
    } else {
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
  if (!option.attached.empty()) text += "[=\\fI" + Roff(option.attached) + "\\fR]";
  if (!option.value.empty()) text += (text.empty() ? "\\fI" : " \\fI") + Roff(option.value) + "\\fR";
  return text;
}

std::string OptionList(const std::vector<Option>& options) {
  std::string text;
  for (const Option& option : options) {
    text += ".TP\n" + Joined(option) + "\n" + Roff(option.description);
    if (!option.defaultValue.empty()) text += " (default: " + Roff(option.defaultValue) + ")";
    text += "\n";
  }
  return text;
}

std::string Usage(const std::string& prefix, const Command& command) {
  std::string line = "\\fB" + Roff(prefix) + "\\fR";
  if (!command.options.empty()) line += " [\\fIOPTIONS\\fR]";
  for (const Option& positional : command.positionals) {
    const std::string value = "\\fI" + Roff(positional.value) + "\\fR";
    if (positional.kind == ValueKind::kProgram) {
      line += " \\-\\- " + value;
      line += " [\\fIARGUMENT\\fR]...";
      return line;
    }
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

std::string SectionText(const ManSection& section) {
  std::string text = ".SH " + std::string(section.title) + "\n";
  for (const ManEntry& entry : section.entries) {
    if (entry.kind == ManEntry::kParagraph) text += ".PP\n" + Roff(entry.text) + "\n";
    if (entry.kind == ManEntry::kTerm)
      text += ".TP\n\\fB" + Roff(entry.term) + "\\fR\n" + Roff(entry.text) + "\n";
    if (entry.kind == ManEntry::kExample) {
      text += ".PP\n" + Roff(entry.text) + "\n.PP\n.in +4n\n.EX\n" + Typed(entry.term) + "\n.EE\n.in\n";
    }
    if (entry.kind == ManEntry::kPage) text += "\\fB" + Roff(entry.term) + "\\fR" + entry.text + "\n";
  }
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
  for (const ManSection& section : kManSections) page += SectionText(section);
  return page;
}

}  // namespace reference
