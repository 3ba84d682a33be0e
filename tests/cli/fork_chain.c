// SPDX-License-Identifier: MIT
/* Forks its successor and ends, over and over and deaf to SIGTERM, so that no process of the chain lives
   longer than a moment. With an argument "groups" each is in a process group of its own. The number of links
   bounds a chain that gets away. */
#include <signal.h>
#include <string.h>
#include <unistd.h>

int main(int argc, char** argv) {
  const int groups = argc > 1 && strcmp(argv[1], "groups") == 0;
  signal(SIGTERM, SIG_IGN);
  setsid();
  for (long link = 0; link < 300000; ++link) {
    const pid_t successor = fork();
    if (successor > 0) _exit(0);
    if (groups) setpgid(0, 0);
  }
  return 0;
}
