// SPDX-License-Identifier: MIT
// tovkit shm: creates, fills, shows, lists and removes named shared-memory segments.
#include "command.h"
#include "input_file.h"
#include "json_output.h"
#include "limit_options.h"
#include "segment_table.h"
#include "text_output.h"

#include <tovkit/system.h>

#include <pwd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace cli {

namespace {

using tovkit::SharedMemory;

constexpr unsigned kReadWrite = tovkit::kSharedMemoryRead | tovkit::kSharedMemoryWrite;
constexpr unsigned kReadMode = tovkit::kSharedMemoryRead;
// The write flag alone attaches for reading only.
constexpr unsigned kReadOnly = tovkit::kSharedMemoryWrite;

struct ShmOptions {
  std::string name;
  std::uint64_t size = 0;
  bool readOnly = false;
  std::string file;
  std::uint64_t offset = 0;
  std::uint64_t length = UINT64_MAX;
};

[[noreturn]] void FailWith(const ShmOptions& options, const std::string& what) {
  throw CommandError(options.name + ": " + what);
}

void AttachOrFail(SharedMemory& memory, const ShmOptions& options, unsigned flags) {
  if (!memory.Attach(flags)) FailWith(options, memory.GetErrorMessage());
}

// How many bytes lie behind the offset.
std::size_t RoomBehindOffset(const SharedMemory& memory, const ShmOptions& options) {
  const std::size_t size = memory.GetSize();
  if (options.offset > size)
    FailWith(options, "the offset is past the segment's " + std::to_string(size) + " bytes");
  return size - options.offset;
}

void Create(const ShmOptions& options) {
  // Never destroyed, since an object that created a segment removes it at its end.
  static SharedMemory* const memory = new SharedMemory(options.name.c_str());
  const unsigned flags = options.readOnly ? kReadMode : kReadWrite;
  if (!memory->Create(static_cast<unsigned>(options.size), flags)) {
    FailWith(options, memory->GetErrorMessage());
  }
}

// Everything the input holds. Throws when that is more than `room` bytes.
std::vector<char> ReadInput(const ShmOptions& options, const std::string& file, std::size_t room) {
  const InputFile input = OpenInput(file);
  std::vector<char> bytes;
  char piece[65536];
  // Reading one byte more than fits shows that the input is too large.
  while (bytes.size() <= room) {
    const std::size_t length = std::fread(piece, 1, sizeof piece, input.get());
    if (length == 0) break;
    bytes.insert(bytes.end(), piece, piece + length);
  }
  if (std::ferror(input.get()) != 0) {
    throw CommandError(InputName(file) + ": " + std::strerror(errno));
  }
  if (bytes.size() > room) {
    FailWith(options, "the input does not fit the " + std::to_string(room) + " bytes behind the offset");
  }
  return bytes;
}

void Write(const ShmOptions& options) {
  const std::string file = ChosenInput(options.file);
  SharedMemory memory(options.name.c_str());
  AttachOrFail(memory, options, kReadWrite);
  const std::vector<char> bytes = ReadInput(options, file, RoomBehindOffset(memory, options));
  if (!bytes.empty())
    std::memcpy(static_cast<char*>(memory.GetData()) + options.offset, bytes.data(), bytes.size());
}

void Read(const ShmOptions& options) {
  SharedMemory memory(options.name.c_str());
  AttachOrFail(memory, options, kReadOnly);
  const std::size_t room = RoomBehindOffset(memory, options);
  const std::size_t length = options.length < room ? options.length : room;
  std::fwrite(static_cast<const char*>(memory.GetData()) + options.offset, 1, length, stdout);
}

void Remove(const ShmOptions& options) {
  SharedMemory memory(options.name.c_str());
  AttachOrFail(memory, options, kReadOnly);
  if (!memory.Detach(true)) FailWith(options, memory.GetErrorMessage());
  if (memory.Attach(kReadOnly)) FailWith(options, "not removed: a process is still attached");
}

std::string OwnerName(uid_t owner) {
  const passwd* const user = getpwuid(owner);
  return user == nullptr ? std::to_string(owner) : user->pw_name;
}

void PrintTable(const std::vector<Segment>& segments) {
  std::printf("%-10s %10s %14s %8s %5s %10s  %s\n", "KEY", "ID", "SIZE", "ATTACHED", "MODE", "CREATOR",
              "OWNER");
  for (const Segment& segment : segments) {
    std::printf("0x%08x %10d %14llu %8llu %5o %10d  %s\n", segment.key, segment.id,
                static_cast<unsigned long long>(segment.size),
                static_cast<unsigned long long>(segment.attached), segment.mode & 0777, segment.creator,
                Printable(OwnerName(segment.owner)).c_str());
  }
}

void PrintJson(const std::vector<Segment>& segments) {
  const auto array = NewJsonArray();
  for (const Segment& segment : segments) {
    const auto object = array->InsertObject(-1);
    object->SetMemberUint("key", segment.key);
    object->SetMemberInt("id", segment.id);
    object->SetMemberUint64("size", segment.size);
    object->SetMemberUint64("attached", segment.attached);
    object->SetMemberUint("mode", segment.mode & 0777);
    object->SetMemberInt("creator", segment.creator);
    object->SetMemberUint("owner", segment.owner);
    object->SetMemberInt64("changed", segment.changed);
  }
  PrintJsonLines(array);
}

CLI::App* AddJob(CLI::App& shm, const std::shared_ptr<ShmOptions>& options, const char* name,
                 const char* what, void (*job)(const ShmOptions&)) {
  CLI::App* const command = shm.add_subcommand(name, what);
  command->add_option("NAME", options->name, "Name of the segment")->required();
  command->callback([options, job] { job(*options); });
  return command;
}

void AddByteCount(CLI::App& command, const char* name, std::uint64_t& bytes, const std::string& what) {
  AddSizeOption(command, name, {}, bytes, what + ", in bytes or with K, M or G behind the number");
}

}  // namespace

void AddShmCommand(CLI::App& app) {
  const auto options = std::make_shared<ShmOptions>();
  CLI::App* const shm = app.add_subcommand("shm", "Shared-memory segments under a name");
  shm->require_subcommand(1);

  CLI::App* const create = AddJob(*shm, options, "create", "Create a zeroed segment that stays", Create);
  AddSizeOption(*create, "SIZE", {1, std::numeric_limits<unsigned>::max()}, options->size,
                "Size in bytes, or with K, M or G behind it")
      ->required();
  create->add_flag("--read-only", options->readOnly, "Mode 0444 in place of 0666: only root can attach it");

  CLI::App* const write =
      AddJob(*shm, options, "write", "Copy a file or standard input into a segment", Write);
  write->add_option("FILE", options->file, "What to copy; standard input when missing or -");
  AddByteCount(*write, "--offset", options->offset, "Where to begin in the segment");

  CLI::App* const read = AddJob(*shm, options, "read", "Copy a segment to standard output", Read);
  AddByteCount(*read, "--offset", options->offset, "Where to begin in the segment");
  AddByteCount(*read, "--length", options->length, "How much to copy at most");

  const auto json = std::make_shared<bool>(false);
  CLI::App* const list = shm->add_subcommand(
      "list", "List the segments of the machine; a segment knows the key of its name only, not the name");
  list->add_flag("--json", *json, "Print an array of objects instead of a table");
  list->callback([json] { *json ? PrintJson(ReadSegments()) : PrintTable(ReadSegments()); });

  AddJob(*shm, options, "remove", "Remove a segment that no process is attached to", Remove);
}

}  // namespace cli
