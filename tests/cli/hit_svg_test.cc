// SPDX-License-Identifier: MIT
// tovkit hit on SVG files: which path is taken, what is said about it, and files made to do harm.
#include "run_command.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

CommandResult Hit(const std::string& file, const std::vector<std::string>& more = {}) {
  std::vector<std::string> arguments = {"hit", "--point", "5,5"};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return RunCommand(arguments, file);
}

void ExpectFailure(const std::string& file, const std::string& what,
                   const std::vector<std::string>& more = {}) {
  const CommandResult result = Hit(file, more);
  EXPECT_EQ(result.status, 1) << what;
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "tovkit: standard input:" + what + "\n");
}

const std::string kDrawing = R"(<?xml version="1.0" encoding="UTF-8"?>
<!-- M 0 0 -->
<svg xmlns="http://www.w3.org/2000/svg" xmlns:other="http://example.org/other">
  <other:path d="M 5 5 L 6 6"/>
  <rect id="frame" width="9" height="9"/>
  <path id="far" d="M 100 100 L 110 110"/>
  <path id="near" d="M 0 0
    L 10 10"/>
  <path id="bad" d="M 0 0 L 10 x"/>
  <path id="bare"/>
  <path id="near" d="M 100 0"/>
</svg>
)";

TEST(HitSvg, TakesTheFirstPathOrTheOneOfTheId) {
  EXPECT_EQ(Hit(kDrawing).out, "miss\n") << "the first is far away, and another language's path is none";
  EXPECT_EQ(Hit(kDrawing, {"--id", "far"}).out, "miss\n");
  const CommandResult near = Hit(kDrawing, {"--id", "near"});
  EXPECT_EQ(near.out, "hit\n") << near.err;
  EXPECT_EQ(near.err, "");
  EXPECT_EQ(near.status, 0);
}

TEST(HitSvg, FormsThatAreReadAlike) {
  const std::string d = R"(d="M 0 0 L 10 10")";
  const std::string forms[] = {
      "<svg><path " + d + "/></svg>",
      "<svg xmlns='http://www.w3.org/2000/svg'><path " + d + "></path></svg>",
      "<s:svg xmlns:s='http://www.w3.org/2000/svg'><s:g><s:path " + d + "/></s:g></s:svg>",
      "\xEF\xBB\xBF \n<svg><path " + d + "/></svg>\n<!-- end -->\n",
      "<path " + d + "/>",
      "<svg><path d='M0&#32;0 L 1&#48; 10'/></svg>",
      "<svg><path d='M0 0\n\tL\r\n10 10'/></svg>",
      "<?xml version='1.0' encoding='ISO-8859-1'?><svg><title>\xE9</title><path " + d + "/></svg>",
      "<!DOCTYPE svg PUBLIC '-//W3C//DTD SVG 1.1//EN' "
      "'http://www.w3.org/Graphics/SVG/1.1/DTD/svg11.dtd'><svg><path " +
          d + "/></svg>",
      "<!DOCTYPE svg [<!ENTITY ns 'http://www.w3.org/2000/svg'><!ENTITY to 'L 10 10'>]>"
      "<svg xmlns='&ns;'><path d='M 0 0 &to;'/></svg>",
  };
  for (const std::string& form : forms) {
    const CommandResult result = Hit(form);
    EXPECT_EQ(result.out, "hit\n") << form << result.err;
    EXPECT_EQ(result.err, "") << form;
  }
  std::string wide = "\xFF\xFE";
  for (const char c : forms[0]) wide += {c, '\0'};
  EXPECT_EQ(Hit(wide).out, "hit\n") << "UTF-16";
}

TEST(HitSvg, MapsDrawIt) {
  const CommandResult result = RunCommand({"hit", "--map", "-", "--format", "png", "--size", "9"}, kDrawing);
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out.substr(1, 3), "PNG");
}

TEST(HitSvg, ATransformIsNotAppliedAndThatIsSaid) {
  const std::string drawing =
      "<svg>\n<g transform='scale(2)'>\n<g transform=''><path\n id='a' d='M0 0L10 10' "
      "transform='rotate(9)'/></g>\n"
      "</g>\n<path id='b' d='M0 0L10 10'/></svg>";
  const CommandResult moved = Hit(drawing);
  EXPECT_EQ(moved.out, "hit\n");
  EXPECT_EQ(moved.status, 0);
  EXPECT_EQ(moved.err,
            "tovkit: standard input:3: the <path> is taken in its own coordinates, without the transform at "
            "line 2, "
            "3\n");
  EXPECT_EQ(Hit(drawing, {"--id", "b"}).err, "");
}

TEST(HitSvg, WhatIsWrongIsToldWithItsLine) {
  ExpectFailure(kDrawing, "9: in the d of the <path>: line 1, column 12: a number is expected",
                {"--id", "bad"});
  ExpectFailure(kDrawing, "10: the <path> has no d", {"--id", "bare"});
  ExpectFailure(kDrawing, "5: the element with the id 'frame' is no <path>", {"--id", "frame"});
  ExpectFailure(kDrawing, "13: no <path> with the id 'none' up to here", {"--id", "none"});
  ExpectFailure("<svg>\n</svg>", "2: no <path> up to here");
  ExpectFailure("<svg>\n<path d='M0 0'/>\n</sv>", "3: mismatched tag");
  ExpectFailure("<svg>\n<path d='M0 0'/>\n", "3: no element found");
  ExpectFailure("<svg>\n\n&nbsp;</svg>", "3: undefined entity");
  ExpectFailure("<svg>\n\xFF</svg>", "2: not well-formed (invalid token)");
  ExpectFailure("<html:path d='M0 0'/>", "1: unbound prefix");
  ExpectFailure("<?xml version='1.0' encoding='EBCDIC'?><svg/>", "1: unknown encoding");
  ExpectFailure("M0 0 L5 5", " no SVG file, so there is no --id in it", {"--id", "a"});
}

// Entities of entities: each is ten of the one before.
std::string Entities(int count) {
  std::string text = "<!DOCTYPE svg [<!ENTITY e0 'M0 0 L10 10 '>\n";
  for (int i = 1; i <= count; ++i) {
    text += "<!ENTITY e" + std::to_string(i) + " '";
    for (int k = 0; k < 10; ++k) text += "&e" + std::to_string(i - 1) + ";";
    text += "'>\n";
  }
  return text + "]>";
}

TEST(HitSvg, HostileFilesAreBounded) {
  const std::string breached = "limit on input amplification factor (from DTD and entities) breached";
  ExpectFailure(Entities(12) + "<svg><path d='&e12;'/></svg>", "14: " + breached);
  ExpectFailure(Entities(12) + "<svg>&e12;<path d='M0 0'/></svg>", "14: " + breached);
  std::string quadratic = "<!DOCTYPE svg [<!ENTITY e '" + std::string(100'000, 'x') + "'>]>\n<svg>";
  for (int i = 0; i < 1000; ++i) quadratic += "&e;";
  ExpectFailure(quadratic + "</svg>", "2: " + breached);
  ExpectFailure("<!DOCTYPE s [<!ENTITY a '&b;'><!ENTITY b '&a;'>]>\n<s>&a;</s>",
                "2: recursive entity reference");
  std::string deep;
  for (int i = 0; i < 100'000; ++i) deep += "<g>";
  ExpectFailure(deep, "1: elements stand more than 256 deep");
  std::string deepest;
  for (int i = 0; i < 255; ++i) deepest += "<g>";
  deepest += "<path d='M0 0L10 10'/>";
  for (int i = 0; i < 255; ++i) deepest += "</g>";
  EXPECT_EQ(Hit(deepest).out, "hit\n");
  ExpectFailure("<svg>" + std::string(17u << 20, ' '), " the path is longer than 16 MiB");
  const CommandResult file =
      Hit("<!DOCTYPE s [<!ENTITY x SYSTEM '/etc/passwd'>]>\n<s>&x;<path d='M0 0L10 10'/></s>");
  EXPECT_EQ(file.out, "hit\n") << "other files are not read";
}

}  // namespace
