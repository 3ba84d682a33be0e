// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <string>
#include <vector>

#include "local_text.h"
#include "run_command.h"
#include "scratch_dir.h"

namespace {

std::string MakeFile(const ScratchDir& scratch, const std::string& name, mode_t mode) {
  std::string path = scratch.path() + "/" + name;
  std::ofstream(path) << "x";
  EXPECT_EQ(chmod(path.c_str(), mode), 0);
  return path;
}

TEST(PathCommand, TableHoldsPiecesAndFlags) {
  const ScratchDir scratch;
  ASSERT_EQ(chmod(scratch.path().c_str(), 0500), 0);
  const CommandResult result = RunCommand({"path", scratch.path() + "/a.tar.gz", scratch.path()});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  const std::string part = scratch.path().substr(scratch.path().rfind('/') + 1);
  const std::string gap(part.size() - 8, ' ');
  EXPECT_EQ(result.out,
            "KIND       OWNER  FLAGS  NAME   EXTENSION  NAME PART" + gap.substr(1) + "  PATH\n" +  //
                "missing    --     0      a.tar  .gz        a.tar.gz" + gap + "  " +               //
                scratch.path() + "/a.tar.gz\n" +                                                   //
                "directory  r-     21                       " + part + "  " + scratch.path() + "\n");
}

TEST(PathCommand, JsonHoldsTheSame) {
  const ScratchDir scratch;
  const std::string file = MakeFile(scratch, "b.txt", 0644);
  const CommandResult result = RunCommand({"path", "--json", file, "c:\\x\\y"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(
      result.out,
      "[\n  {\"path\": \"" + file +
          "\", \"name\": \"b\", \"extension\": \".txt\", \"namePart\": \"b.txt\", \"flags\": 51, \"exists\": "
          "true, \"file\": true, \"directory\": false, \"ownerReadable\": true, \"ownerWritable\": true},\n"
          "  {\"path\": \"c:\\\\x\\\\y\", \"name\": \"\", \"extension\": \"\", \"namePart\": \"y\", "
          "\"flags\": 0, "
          "\"exists\": false, \"file\": false, \"directory\": false, \"ownerReadable\": false, "
          "\"ownerWritable\": false}\n]\n");
}

TEST(PathCommand, NamesOfAnyBytesArePrinted) {
  if (!LocalTextIsUtf8()) GTEST_SKIP() << "local text is no UTF-8 here";
  const ScratchDir scratch;
  const std::string file = MakeFile(scratch, "\xff\xE5\xAE\x8B.\x01\x1b\"\x7f", 0600);
  const CommandResult table = RunCommand({"path", file});
  EXPECT_EQ(table.status, 0);
  EXPECT_NE(table.out.find("\nfile  rw     51 "), std::string::npos) << table.out;
  EXPECT_NE(table.out.find("\\xff\xE5\xAE\x8B.\\x01\\x1b\"\\x7f\n"), std::string::npos) << table.out;
  const CommandResult json = RunCommand({"path", "--json", file});
  EXPECT_EQ(json.status, 0);
  EXPECT_NE(json.out.find("\"name\": \"\\udcff\xE5\xAE\x8B\""), std::string::npos) << json.out;
  EXPECT_NE(json.out.find("\"extension\": \".\\u0001\\u001b\\\"\\u007f\""), std::string::npos) << json.out;
  EXPECT_NE(json.out.find("\"flags\": 51"), std::string::npos) << json.out;
}

TEST(PathCommand, ControlCharactersOfTwoBytesSteerNoTerminal) {
  if (!LocalTextIsUtf8()) GTEST_SKIP() << "local text is no UTF-8 here";
  const CommandResult table = RunCommand({"path",
                                          "a\xC2\x9B"
                                          "31m\xC2\x9F\xC2\xA0"});
  EXPECT_NE(table.out.find("  a\\u009b31m\\u009f\xC2\xA0\n"), std::string::npos) << table.out;
  const CommandResult json = RunCommand({"path", "--json", "\xC2\x9B"});
  EXPECT_NE(json.out.find("{\"path\": \"\\u009b\", "), std::string::npos) << json.out;
}

TEST(PathCommand, AnEmptyPathIsMissing) {
  EXPECT_EQ(RunCommand({"path", ""}).out,
            "KIND     OWNER  FLAGS  NAME  EXTENSION  NAME PART  PATH\nmissing  --     0                      "
            "            \n");
}

TEST(PathCommand, OtherKindsExist) {
  const ScratchDir scratch;
  const std::string fifo = scratch.path() + "/fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0200), 0);
  const CommandResult result = RunCommand({"path", fifo, ""});
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.out.find("other    -w     33"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("missing  --     0"), std::string::npos) << result.out;
}

TEST(PathCommand, WithoutAPathIsWrongUse) {
  const CommandResult result = RunCommand({"path"});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.out, "");
}

}  // namespace
