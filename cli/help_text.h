// SPDX-License-Identifier: MIT
// HelpText: how --help shows options and usage, in place of the argument parser's own way.
//
//   -o,--output FILE            Where to write
//   --report[=FILE]             Tell what is drawn (with --output; not with --quiet)
#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace cli {

class HelpText final : public CLI::Formatter {
 public:
  // A program that is run stands behind "--", with arguments of its own.
  std::string make_usage(const CLI::App* app, std::string name) const override;

  // A group of options, under a line that says how many of them are taken.
  std::string make_expanded(const CLI::App* group) const override;

  std::string make_option_name(const CLI::Option* option, bool isPositional) const override;

  // Behind the name and the value nothing else stands: defaults and conditions are part of the description.
  std::string make_option_opts(const CLI::Option* option) const override;
  std::string make_option_desc(const CLI::Option* option) const override;
};

}  // namespace cli
