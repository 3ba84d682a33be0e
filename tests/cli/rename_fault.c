// SPDX-License-Identifier: MIT
/* Preloaded into the command: its renames meet the signal whose number RENAME_SIGNAL holds, and with
   NO_TMPFILE set its file system knows no files without a name. A new file under a name of its own meets the
   signal whose number CREATE_SIGNAL holds, on another thread. */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <stdarg.h>
#include <stdlib.h>
#include <sys/syscall.h>
#include <unistd.h>

static void* raise_here(void* number) {
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_UNBLOCK, &all, NULL);
  raise(atoi(number));
  return NULL;
}

/* Time enough to die of it for a process that does not hold its end back. */
static void meet_signal(const char* number) {
  pthread_t other;
  if (pthread_create(&other, NULL, raise_here, (void*)number) != 0) return;
  pthread_detach(other);
  usleep(20000);
}

static int open_file(const char* path, int flags, mode_t mode) {
  if ((flags & O_TMPFILE) == O_TMPFILE && getenv("NO_TMPFILE") != NULL) {
    errno = EOPNOTSUPP;
    return -1;
  }
  const int fd = (int)syscall(SYS_openat, AT_FDCWD, path, flags, mode);
  const char* number = getenv("CREATE_SIGNAL");
  if (fd >= 0 && (flags & O_EXCL) != 0 && number != NULL) meet_signal(number);
  return fd;
}

static mode_t mode_of(va_list arguments, int flags) {
  return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE ? va_arg(arguments, mode_t) : 0;
}

__attribute__((visibility("default"))) int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = mode_of(arguments, flags);
  va_end(arguments);
  return open_file(path, flags, mode);
}

__attribute__((visibility("default"))) int open64(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = mode_of(arguments, flags);
  va_end(arguments);
  return open_file(path, flags | O_LARGEFILE, mode);
}

__attribute__((visibility("default"))) int rename(const char* from, const char* to) {
  const char* number = getenv("RENAME_SIGNAL");
  if (number != NULL) raise(atoi(number));
  return (int)syscall(SYS_rename, from, to);
}
