// SPDX-License-Identifier: MIT
#include "limit_options.h"

namespace cli {

CLI::Option* AddTimeOption(CLI::App& command, const TimeOption& option, std::chrono::milliseconds& time) {
  const std::string unit = option.bareUnit == kSeconds ? "seconds" : "milliseconds";
  return command
      .add_option(
          option.name,
          [option, &time](const CLI::results_t& texts) {
            int milliseconds = 0;
            std::string error = ReadDuration(texts.front(), option.bareUnit, milliseconds);
            if (error.empty() && milliseconds == 0 && !option.orNone) error = "some time is needed";
            if (!error.empty()) throw CLI::ValidationError(option.name, error);
            time = std::chrono::milliseconds(milliseconds);
            return true;
          },
          option.what + "; a bare number is " + unit)
      ->type_name("TIME");
}

CLI::Option* AddSizeOption(CLI::App& command, const std::string& name, const ByteRange& range,
                           std::uint64_t& bytes, const std::string& what) {
  return command
      .add_option(
          name,
          [name, range, &bytes](const CLI::results_t& texts) {
            const std::string error = ReadByteCount(texts.front(), range, bytes);
            if (!error.empty()) throw CLI::ValidationError(name, error);
            return true;
          },
          what)
      ->type_name("SIZE");
}

}  // namespace cli
