// SPDX-License-Identifier: MIT
// SVG path text: what each command becomes, and what is said about text that is no path.
#include "jobs/svg_path.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>

namespace {

// "M1,2 L3,4" for the records, "+" for a record that follows, "z" behind a closed one.
std::string Written(const CorePath& path) {
  std::string text;
  for (int i = 0; i <= path.GetPointCounter(); ++i) {
    const CorePathPoint& p = path.GetPoints()[i];
    const char* kind = p.flags & kCorePathMove    ? "M"
                       : p.flags & kCorePathLine  ? "L"
                       : p.flags & kCorePathQuad  ? "Q"
                       : p.flags & kCorePathCubic ? "C"
                       : p.flags & kCorePathArc   ? "A"
                                                  : "+";
    char piece[100];
    std::snprintf(piece, sizeof piece, "%s%s%g,%g%s", i == 0 ? "" : " ", kind, static_cast<double>(p.x),
                  static_cast<double>(p.y), p.flags & kCorePathClose ? "z" : "");
    text += piece;
  }
  return text;
}

struct Case {
  const char* text;
  const char* path;
};

}  // namespace

TEST(SvgPath, Commands) {
  const Case cases[] = {
      {"", ""},
      {" \n\t", ""},
      {"M1 2", "M1,2"},
      {"m1 2", "M1,2"},
      {"M1,2L3,4", "M1,2 L3,4"},
      {"M1,2l3,4", "M1,2 L4,6"},
      {"M1 2 3 4 5 6", "M1,2 L3,4 L5,6"},
      {"m1 2 3 4 5 6", "M1,2 L4,6 L9,12"},
      {"M1 2 H5 6 h1 1", "M1,2 L5,2 L6,2 L7,2 L8,2"},
      {"M1 2 V5 6 v1 1", "M1,2 L1,5 L1,6 L1,7 L1,8"},
      {"M1 2 Q3 4 5 6 7 8 9 0", "M1,2 Q3,4 +5,6 Q7,8 +9,0"},
      {"M1 2 q3 4 5 6 1 1 2 2", "M1,2 Q4,6 +6,8 Q7,9 +8,10"},
      {"M1 2 C3 4 5 6 7 8", "M1,2 C3,4 +5,6 +7,8"},
      {"M1 2 c3 4 5 6 7 8 1 1 2 2 3 3", "M1,2 C4,6 +6,8 +8,10 C9,11 +10,12 +11,13"},
      {"M0 0 C1 1 2 3 4 4 S6 6 8 8", "M0,0 C1,1 +2,3 +4,4 C6,5 +6,6 +8,8"},
      {"M0 0 S6 6 8 8 L9 9 s1 1 2 2", "M0,0 C0,0 +6,6 +8,8 L9,9 C9,9 +10,10 +11,11"},
      {"M0 0 Q1 2 4 4 T8 8 t1 1", "M0,0 Q1,2 +4,4 Q7,6 +8,8 Q9,10 +9,9"},
      {"M5 5 T8 8", "M5,5 Q5,5 +8,8"},
      {"M0 0 C1 1 2 3 4 4 T8 8", "M0,0 C1,1 +2,3 +4,4 Q4,4 +8,8"},
      {"M0 0 10 0 10 10 Z", "M0,0 L10,0 L10,10z"},
      {"M0 0zz", "M0,0z"},
      {"M1 1 l5 0 v5 z l2 3", "M1,1 L6,1 L6,6z M1,1 L3,4"},
      {"M1 1 l5 0 v5 z m2 3 l1 1", "M1,1 L6,1 L6,6z M3,4 L4,5"},
      {"M1 1 A2 3 0 1 0 8 9", "M1,1 A2,3 +0,1 +0,0 +8,9"},
      {"M1 1 a2 3 0 0 1 8 9", "M1,1 A2,3 +0,0 +1,0 +9,10"},
      {"M0 0a1 1 0 00.5.5", "M0,0 A1,1 +0,0 +0,0 +0.5,0.5"},
      {"M0 0a1,1,0,1,1,.5-.5,1 1 0 01-3-4", "M0,0 A1,1 +0,1 +1,0 +0.5,-0.5 A1,1 +0,0 +1,0 +-2.5,-4.5"},
      {"M0 0A0 1 0 00 5 6", "M0,0 L5,6"},
      {"M0 0A1 0 0 00 5 6", "M0,0 L5,6"},
      {"M5 6A1 1 0 00 5 6L7 7", "M5,6 L7,7"},
      {"M-1-2.5.5+3e1", "M-1,-2.5 L0.5,30"},
      {"M1e-2 1E+2 .5 5.", "M0.01,100 L0.5,5"},
      {"M1 , 2 , 3 , 4", "M1,2 L3,4"},
      {"M1e-400 1e-999999999 L1e-50 .000000001e-390", "M0,0 L0,0"},
  };
  for (const Case& c : cases) {
    try {
      EXPECT_EQ(Written(jobs::ParseSvgPath(c.text)), c.path) << c.text;
    } catch (const jobs::SvgPathError& e) {
      ADD_FAILURE() << c.text << ": " << e.what();
    }
  }
}

TEST(SvgPath, RotationIsTurnedFromDegreesToRadians) {
  const CorePath path = jobs::ParseSvgPath("M0 0A1 2 90 0 1 5 5 1 2 -450 0 1 9 9");
  EXPECT_FLOAT_EQ(path.GetPoints()[2].x, static_cast<float>(M_PI / 2));
  EXPECT_FLOAT_EQ(path.GetPoints()[6].x, static_cast<float>(-M_PI / 2));
}

TEST(SvgPath, Errors) {
  const Case cases[] = {
      {"L1 2", "line 1, column 1: a path starts with M or m"},
      {"1 2", "line 1, column 1: a command is expected"},
      {"M", "line 1, column 2: a number is expected"},
      {"M1", "line 1, column 3: a number is expected"},
      {"M1 2 L3", "line 1, column 8: a number is expected"},
      {"M1 2,", "line 1, column 6: a number is expected"},
      {"M1 2,L3 4", "line 1, column 6: a number is expected"},
      {"M,1 2", "line 1, column 2: a number is expected"},
      {"M1,,2", "line 1, column 4: a number is expected"},
      {"M1 2\nL3 4 B", "line 2, column 6: a command is expected"},
      {"M1 2 Z 3", "line 1, column 8: a command is expected"},
      {"M1 2 @", "line 1, column 6: a command is expected"},
      {"M1 2 3 +-4", "line 1, column 8: a number is expected"},
      {"M1 2 3 .", "line 1, column 8: a number is expected"},
      {"M1 2 3 inf", "line 1, column 8: a number is expected"},
      {"M-nan 0", "line 1, column 2: a number is expected"},
      {"M1 2 L-nan(x) 4", "line 1, column 7: a number is expected"},
      {"M1 2 L3-inf", "line 1, column 8: a number is expected"},
      {"M1 2 L+nan 4", "line 1, column 7: a number is expected"},
      {"M1 2 L+-3 4", "line 1, column 7: a number is expected"},
      {"M1 2 L-.e5 4", "line 1, column 7: a number is expected"},
      {"M1 2 nan 4", "line 1, column 6: a command is expected"},
      {"M1 1e39", "line 1, column 4: the number is out of range"},
      {"M-1e999 0", "line 1, column 2: the number is out of range"},
      {"M1 1e999", "line 1, column 4: the number is out of range"},
      {"M3e38 0 l3e38 0", "line 1, column 16: the coordinate is too large"},
      {"M0 0a1 1 0 2 0 5 5", "line 1, column 12: an arc flag, 0 or 1, is expected"},
      {"M0 0a1 1 0 0", "line 1, column 13: an arc flag, 0 or 1, is expected"},
  };
  for (const Case& c : cases) {
    try {
      ADD_FAILURE() << c.text << ": read as " << Written(jobs::ParseSvgPath(c.text));
    } catch (const jobs::SvgPathError& e) {
      EXPECT_STREQ(e.what(), c.path) << c.text;
    }
  }
}
