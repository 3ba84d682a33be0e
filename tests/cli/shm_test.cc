// SPDX-License-Identifier: MIT
#include "run_command.h"

#include <gtest/gtest.h>
#include <tovkit/json.h>
#include <tovkit/system.h>
#include <unistd.h>

#include <fstream>
#include <random>
#include <string>

namespace {

constexpr unsigned kReadWrite = tovkit::kSharedMemoryRead | tovkit::kSharedMemoryWrite;

// A name of its own for each test; the segment is gone afterwards whatever happened.
class ShmCommand : public testing::Test {
 protected:
  ShmCommand() {
    std::random_device random;
    for (int i = 0; i < 2000; ++i) name_ += static_cast<char>('A' + random() % 26);
  }
  ~ShmCommand() override {
    tovkit::SharedMemory memory(name_.c_str());
    if (memory.Attach(kReadWrite)) memory.Detach(true);
  }
  CommandResult Shm(const std::string& job, const std::vector<std::string>& rest = {},
                    const std::string& input = "") {
    std::vector<std::string> arguments{"shm", job, name_};
    arguments.insert(arguments.end(), rest.begin(), rest.end());
    return RunCommand(arguments, input);
  }
  void ExpectFailure(const CommandResult& result, const std::string& what) const {
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "tovkit: " + name_ + ": " + what + "\n");
  }

  std::string name_;
};

TEST_F(ShmCommand, CreateWriteReadRemove) {
  EXPECT_EQ(Shm("create", {"10"}).status, 0);
  EXPECT_EQ(Shm("read").out, std::string(10, '\0')) << "the segment outlives the command that made it";
  EXPECT_EQ(Shm("write", {}, "abcdefghij").status, 0);
  EXPECT_EQ(Shm("write", {"--offset", "4"}, "XY").status, 0);
  EXPECT_EQ(Shm("read").out, "abcdXYghij");
  EXPECT_EQ(Shm("read", {"--offset", "3", "--length", "4"}).out, "dXYg");
  EXPECT_EQ(Shm("read", {"--offset", "10"}).out, "");
  EXPECT_EQ(Shm("remove").status, 0);
  ExpectFailure(Shm("read"), "shmget shared memory error, errno=2, errmsg=No such file or directory");
}

TEST_F(ShmCommand, WritesAFile) {
  const std::string path = testing::TempDir() + "tovkit-shm-input-" + std::to_string(getpid());
  std::ofstream(path) << "from a file";
  EXPECT_EQ(Shm("create", {"100"}).status, 0);
  EXPECT_EQ(Shm("write", {path}).status, 0);
  EXPECT_EQ(Shm("read", {"--length", "11"}).out, "from a file");
  std::remove(path.c_str());
  const CommandResult missing = Shm("write", {path});
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(missing.err, "tovkit: " + path + ": No such file or directory\n");
  const CommandResult folder = Shm("write", {"/proc"});
  EXPECT_EQ(folder.status, 1);
  EXPECT_EQ(folder.err, "tovkit: /proc: Is a directory\n");
}

TEST_F(ShmCommand, InputThatDoesNotFitWritesNothing) {
  EXPECT_EQ(Shm("create", {"4"}).status, 0);
  ExpectFailure(Shm("write", {}, "12345"), "the input does not fit the 4 bytes behind the offset");
  ExpectFailure(Shm("write", {"--offset", "4"}, "1"), "the input does not fit the 0 bytes behind the offset");
  ExpectFailure(Shm("write", {"--offset", "5"}, ""), "the offset is past the segment's 4 bytes");
  ExpectFailure(Shm("read", {"--offset", "5"}), "the offset is past the segment's 4 bytes");
  ExpectFailure(Shm("write", {"/dev/zero"}), "the input does not fit the 4 bytes behind the offset");
  EXPECT_EQ(Shm("read").out, std::string(4, '\0'));
}

TEST_F(ShmCommand, CreateOfWhatExistsFails) {
  EXPECT_EQ(Shm("create", {"4"}).status, 0);
  ExpectFailure(Shm("create", {"4"}), "Create shared memory error, errno=17, errmsg=File exists");
}

TEST_F(ShmCommand, RemoveKeepsWhatIsInUse) {
  tovkit::SharedMemory memory(name_.c_str());
  ASSERT_TRUE(memory.Create(4, kReadWrite));
  ASSERT_TRUE(memory.Attach(kReadWrite));
  ExpectFailure(Shm("remove"), "not removed: a process is still attached");
  EXPECT_TRUE(memory.Detach(false));
  EXPECT_EQ(Shm("remove").status, 0);
}

TEST_F(ShmCommand, ReadOnlySegmentsHaveTheirMode) {
  EXPECT_EQ(Shm("create", {"4", "--read-only"}).status, 0);
  tovkit::SharedMemory second(name_.c_str());
  EXPECT_FALSE(second.Create(4, kReadWrite)) << "it exists";
}

TEST_F(ShmCommand, SizesTakeUnits) {
  const struct {
    const char* text;
    std::size_t bytes;
  } rows[] = {{"3K", 3072}, {"3k", 3072}, {"2M", 2097152}, {"1G", std::size_t{1} << 30}};
  for (const auto& row : rows) {
    EXPECT_EQ(Shm("create", {row.text}).status, 0) << row.text;
    tovkit::SharedMemory memory(name_.c_str());
    ASSERT_TRUE(memory.Attach(kReadWrite)) << row.text;
    EXPECT_EQ(memory.GetSize(), row.bytes);
    EXPECT_TRUE(memory.Detach(true));
  }
  EXPECT_EQ(Shm("create", {"4K"}).status, 0);
  EXPECT_EQ(Shm("read", {"--offset", "3K", "--length", "1M"}).out.size(), 1024U);
  EXPECT_EQ(Shm("read", {"--length", "1K"}).out.size(), 1024U);
  EXPECT_EQ(Shm("write", {"--offset", "4K"}, "").status, 0);
}

TEST_F(ShmCommand, SizesThatAreNoneAreToldShortly) {
  const std::string many(300, '9');
  const std::string none = "' is no size such as 4096, 64K, 64M or 1G\n";
  const std::string range = "' is not from 1 to 4294967295 bytes\n";
  const std::string table[][2] = {{"64X", "64X" + none},
                                  {"64MB", "64MB" + none},
                                  {"M", "M" + none},
                                  {"", none},
                                  {"-1", "-1" + none},
                                  {"1.5M", "1.5M" + none},
                                  {"17179869184G", "17179869184G" + none},
                                  {"0", "0" + range},
                                  {"0K", "0K" + range},
                                  {"4G", "4G" + range},
                                  {many, "9999999999...9999999999" + none}};
  for (const auto& row : table) {
    const CommandResult result = Shm("create", {row[0]});
    EXPECT_EQ(result.status, 2) << row[0];
    EXPECT_EQ(result.err.rfind("tovkit: SIZE: '" + row[1], 0), 0U) << result.err;
  }
}

// The line or the object of the one segment of that size.
TEST_F(ShmCommand, ListTellsOfASegment) {
  const unsigned size = 40961 + static_cast<unsigned>(getpid()) * 3;
  ASSERT_EQ(Shm("create", {std::to_string(size)}).status, 0);
  tovkit::SharedMemory memory(name_.c_str());
  ASSERT_TRUE(memory.Attach(kReadWrite));
  const std::string table = RunCommand({"shm", "list"}).out;
  EXPECT_EQ(table.rfind("KEY ", 0), 0u) << table;
  EXPECT_NE(table.find(" " + std::to_string(size) + "        1   666 "), std::string::npos) << table;

  const std::string text = RunCommand({"shm", "list", "--json"}).out;
  const auto array = tovkit::Json::Parse(text.data(), static_cast<unsigned>(text.size()), nullptr);
  ASSERT_TRUE(array) << text;
  int found = 0;
  for (std::uint32_t i = 0; i < array->Size(); ++i) {
    const auto segment = array->GetAt(static_cast<int>(i));
    if (segment->GetMemberUint("size", 0) != size) continue;
    ++found;
    EXPECT_EQ(segment->GetMemberUint("attached", 9), 1u);
    EXPECT_EQ(segment->GetMemberUint("mode", 0), 0666u);
    EXPECT_EQ(segment->GetMemberUint("owner", 12345), getuid());
    EXPECT_NE(segment->GetMemberUint("key", 0), 0u);
    EXPECT_GT(segment->GetMemberInt("creator", 0), 0);
    EXPECT_GT(segment->GetMemberInt64("changed", 0), 1'600'000'000);
  }
  EXPECT_EQ(found, 1);
}

TEST_F(ShmCommand, BadUsageIsToldApart) {
  EXPECT_EQ(RunCommand({"shm"}).status, 2);
  EXPECT_EQ(RunCommand({"shm", "create"}).status, 2);
  EXPECT_EQ(Shm("create").status, 2);
  EXPECT_EQ(Shm("create", {"0"}).status, 2);
  EXPECT_EQ(Shm("create", {"-4"}).status, 2);
  EXPECT_EQ(Shm("create", {"99999999999"}).status, 2);
  EXPECT_EQ(Shm("read", {"--offset", "x"}).status, 2);
}

}  // namespace
