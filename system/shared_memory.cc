// SPDX-License-Identifier: MIT
// System V segments: they outlive the process that made them, and the kernel finds them by a number that
// other programs compute as well. Messages are kept in the object, and their words are part of the interface.
#include "tovkit/system.h"

#include "fixed_buffer.h"
#include "text_copy.h"

#include <sys/ipc.h>
#include <sys/shm.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

namespace tovkit {

namespace {

constexpr int kNone = -1;
constexpr int kReadWriteMode = 0666;
constexpr int kReadMode = 0444;

// Adds each character, as a signed 8-bit number, times its weight; the sum wraps at 32 bits.
std::uint32_t AddWeighted(std::uint32_t sum, std::uint32_t& weight, const char* text, std::size_t length) {
  for (std::size_t i = 0; i < length; ++i) {
    sum +=
        static_cast<std::uint32_t>(static_cast<std::int32_t>(static_cast<signed char>(text[i]))) * weight++;
  }
  return sum;
}

// The IPC key of a name. Compatibility: other programs derive the same key from the same sum.
std::uint32_t KeyOf(const char* name) {
  constexpr char kPrefix[] = "vatrel";
  constexpr std::size_t kPrefixLength = sizeof kPrefix - 1;
  const std::size_t length = std::strlen(name);
  std::uint32_t sum = 0;
  std::uint32_t weight = 1;
  if (length < kPrefixLength) sum = AddWeighted(sum, weight, kPrefix, kPrefixLength);
  return AddWeighted(sum, weight, name, length) & 0x7FFFFFFFu;
}

}  // namespace

struct SharedMemory::State {
  std::int32_t createdId = kNone;
  std::int32_t attachedId = kNone;
  std::unique_ptr<char[]> name;
  void* address = nullptr;
  std::uint32_t key = 0;
  std::string lastError;

  key_t ipcKey() const { return static_cast<key_t>(key); }

  bool Fail(const char* text) {
    lastError = text;
    return false;
  }
  bool FailFlags(unsigned flags) {
    base::FixedBuffer<1024> message;
    message.Format("Invalid permission flag(%d)", static_cast<int>(flags));
    return Fail(message.text());
  }
  // `action` and what errno says of it.
  bool FailCall(const char* action) {
    const int code = errno;
    const char* const words = std::strerror(code);
    base::FixedBuffer<1024> message;
    message.Format("%s shared memory error, errno=%d, errmsg=%s", action, code,
                   words != nullptr ? words : "");
    return Fail(message.text());
  }

  // Removes a segment that nobody is attached to. One that is gone already counts as removed.
  bool RemoveUnlessAttached(int id) {
    shmid_ds status = {};
    if (shmctl(id, IPC_STAT, &status) != 0) return errno == EINVAL || FailCall("ctl-stat");
    if (status.shm_nattch != 0) return true;
    createdId = kNone;
    if (shmctl(id, IPC_RMID, nullptr) != 0) return errno == EINVAL || FailCall("ctl-rmid");
    return true;
  }
};

SharedMemory::SharedMemory(const char* name) {
  auto fresh = std::make_unique<State>();
  fresh->name = CopyText(name);
  fresh->key = KeyOf(fresh->name.get());
  state = fresh.release();
}

SharedMemory::~SharedMemory() {
  Detach(false);
  Destroy();
  delete state;
}

bool SharedMemory::Create(unsigned size, unsigned flags) {
  state->lastError.clear();
  if (state->createdId >= 0) return state->Fail("Already exists");
  if ((flags & (kSharedMemoryRead | kSharedMemoryWrite)) == 0) return state->FailFlags(flags);
  const int mode = (flags & kSharedMemoryWrite) != 0 ? kReadWriteMode : kReadMode;
  const int id = shmget(state->ipcKey(), size, IPC_CREAT | IPC_EXCL | mode);
  if (id < 0) return state->FailCall("Create");
  state->createdId = id;
  return true;
}

bool SharedMemory::Destroy() {
  state->lastError.clear();
  if (state->createdId < 0) return true;
  return state->RemoveUnlessAttached(state->createdId);
}

bool SharedMemory::Attach(unsigned flags) {
  state->lastError.clear();
  if (state->attachedId >= 0) return state->Fail("Already attached");
  const bool reads = (flags & kSharedMemoryRead) != 0;
  const bool writes = (flags & kSharedMemoryWrite) != 0;
  if (!reads && !writes) return state->FailFlags(flags);
  // Compatibility: write alone attaches read-only, and read alone for both.
  const int attachFlags = writes && !reads ? SHM_RDONLY : 0;
  const int id = shmget(state->ipcKey(), 0, writes ? kReadWriteMode : kReadMode);
  if (id < 0) return state->FailCall("shmget");
  void* const address = shmat(id, nullptr, attachFlags);
  if (reinterpret_cast<std::intptr_t>(address) == -1) return state->FailCall("attach");
  state->address = address;
  state->attachedId = id;
  return true;
}

bool SharedMemory::Detach(bool remove) {
  state->lastError.clear();
  if (state->address == nullptr) return true;
  if (shmdt(state->address) != 0) return state->FailCall("detach");
  state->address = nullptr;
  const int id = state->attachedId;
  state->attachedId = kNone;
  return !remove || state->RemoveUnlessAttached(id);
}

void* SharedMemory::GetData() { return state->address; }

void* SharedMemory::GetData() const { return state->address; }

std::size_t SharedMemory::GetSize() const {
  shmid_ds status = {};
  if (state->attachedId < 0 || shmctl(state->attachedId, IPC_STAT, &status) != 0) return 0;
  return status.shm_segsz;
}

const char* SharedMemory::GetErrorMessage() const { return state->lastError.c_str(); }

}  // namespace tovkit
