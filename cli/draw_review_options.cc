// SPDX-License-Identifier: MIT
// The options of draw that look at the lines; draw.cc has those that place and write them.
#include "draw_review_options.h"
#include "schemas.h"

#include <cstdio>
#include <string>

namespace cli {

void AddReviewOptions(CLI::App& draw, ReviewOptions& options) {
  // Flags, since an option would take the file behind it for its value.
  draw.add_flag(
          "--report{-}", options.report,
          "Tell what is drawn, with which fonts, and what of the descriptions is not used: JSON, one line "
          "of text a line, into the file or on standard output, where people get a table")
      ->type_name("FILE");
  draw.add_flag(
          "--strict{all}", options.strict,
          "Fail and draw nothing for characters without a glyph, fonts that are named and not installed, "
          "keys that are not used as they stand, ink outside the page: glyphs, fonts, keys, clip, or "
          "some of them with commas between; several --strict add up")
      ->type_name("KINDS")
      ->multi_option_policy(CLI::MultiOptionPolicy::Join)
      ->check([](const std::string& names) {
        return ParseFindings(names) ? std::string()
                                    : "'" + names + "' is not made of glyphs, fonts, keys and clip";
      });
  draw.add_option("--limit", options.limit,
                  "How many runs, missing characters and warnings a report tells of each line")
      ->type_name("NUMBER")
      ->check(CLI::Range(0U, 1000000U))
      ->capture_default_str();
  draw.add_flag("-q,--quiet", options.quiet, "Say nothing of what may look wrong");
  draw.add_flag_callback(
      "--schema",
      [] {
        std::fputs(kLineSchema, stdout);
        throw CLI::Success();
      },
      "Print the JSON Schema of descriptions and end");
}

}  // namespace cli
