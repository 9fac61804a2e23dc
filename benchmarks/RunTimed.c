// RunTimed.c - tesker-run-timed PROGRAM [ARGUMENT...]: runs a program once, without its output, and
// prints what that took as one JSON object: "wall", "user" and "system" in seconds, the last two
// with what its own children used, "peak_kib", the largest of those processes, and "status".
//
// A script could measure this, too, but a process is at least as large as the one that has started
// it was, and starts the later the larger that is.
//
// Exit status: 0 when the program ended by itself, 1 when it could not be run or was killed, 2 for
// a wrong command line.
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <spawn.h>
#include <stdio.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

static double now(void) {
  struct timespec time;
  clock_gettime(CLOCK_MONOTONIC, &time);
  return (double)time.tv_sec + 1e-9 * (double)time.tv_nsec;
}

static double seconds(struct timeval time) {
  return (double)time.tv_sec + 1e-6 * (double)time.tv_usec;
}

int main(int argc, char **argv) {
  if (argc < 2) {
    fputs("usage: tesker-run-timed PROGRAM [ARGUMENT...]\n", stderr);
    return 2;
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  const double start = now();
  pid_t process;
  int status;
  struct rusage usage;
  errno = posix_spawnp(&process, argv[1], &actions, NULL, argv + 1, environ);
  if (errno != 0 || wait4(process, &status, 0, &usage) < 0) {
    perror(argv[1]);
    return 1;
  }
  const double wall = now() - start;
  if (!WIFEXITED(status)) {
    fprintf(stderr, "%s: killed by signal %d\n", argv[1], WTERMSIG(status));
    return 1;
  }
  printf("{\"wall\": %.6f, \"user\": %.6f, \"system\": %.6f, \"peak_kib\": %ld, \"status\": %d}\n",
         wall, seconds(usage.ru_utime), seconds(usage.ru_stime), usage.ru_maxrss,
         WEXITSTATUS(status));
  return 0;
}
