// SearchFloor.c - tesker-search-floor [--threads NUMBER] PATH: what a search costs at least.
//
// Makes the system calls that the tool makes for the files: the same listings, status calls, opens,
// reads and closes, in the same order and of the same sizes. It takes nothing of what it reads but
// what says which call comes next, and tells nobody anything. tesker-ask-tool measures the tool;
// compare_searches.py holds the calls of both against each other.
//
// With several threads, each takes a directory at a time, the last that was found first. One thread
// walks as the tool does.
//
// Exit status: 0, 1 where the path cannot be examined or memory is lacking, 2 for a wrong command
// line.
#define _GNU_SOURCE
#include "benchmarks/FloorFiles.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <malloc.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { kMostThreads = 64 };

struct Directory {
  const struct Directory *above; // nil for the first
  struct Directory *next;        // of those that wait
  dev_t device;
  ino_t inode;
  bool isBehindLink;
  char path[PATH_MAX];
};

static int threads = 1;

// ---- the walk ----

static void walk(struct Directory *directory);
static void queue(const struct Directory *directory);

static bool leadsBack(const struct Directory *directory) {
  if (directory->isBehindLink)
    for (const struct Directory *above = directory->above; above != NULL; above = above->above)
      if (above->inode == directory->inode && above->device == directory->device)
        return true;
  return false;
}

static void enter(const struct Directory *above, const char *path, const struct stat *status,
                  bool isLink) {
  struct Directory directory; // its path would be cleared before it is written
  directory.above = above;
  directory.device = status->st_dev;
  directory.inode = status->st_ino;
  directory.isBehindLink = isLink || (above != NULL && above->isBehindLink);
  strcpy(directory.path, path);
  if (leadsBack(&directory))
    return;
  if (threads == 1)
    walk(&directory);
  else
    queue(&directory);
}

// What is worth it: a link or something executable.
static void examine(const struct Directory *above, struct Listing *listing, const char *name,
                    struct stat status) {
  char path[PATH_MAX];
  if (!join(path, above->path, name))
    return;
  const bool isLink = S_ISLNK(status.st_mode);
  if (isLink || S_ISDIR(status.st_mode))
    closeListing(listing);
  if (isLink && (stat(path, &status) != 0 || !isExecutable(&status)))
    return;
  if (!S_ISDIR(status.st_mode)) {
    const bool isOpen = listing->descriptor >= 0;
    examineFile(isOpen ? listing->descriptor : AT_FDCWD, isOpen ? name : path);
  } else if (isWrapperName(name))
    examineWrapper(path);
  else
    enter(above, path, &status, isLink);
}

struct Found {
  const char *name;
  struct stat status;
};

static void walk(struct Directory *directory) {
  struct Listing listing;
  if (!list(directory->path, &listing))
    return;
  struct Found *found = NULL;
  size_t count = 0, room = 0;
  for (size_t at = 0; at < listing.size; at += entryAt(&listing, at)->d_reclen) {
    const char *name = entryAt(&listing, at)->d_name;
    struct stat status;
    if (name[0] == '.' || name[strlen(name) - 1] == '~')
      continue;
    if (fstatat(listing.descriptor, name, &status, AT_SYMLINK_NOFOLLOW) != 0)
      break;
    if (!S_ISLNK(status.st_mode) && !isExecutable(&status))
      continue;
    if (count == room)
      found = needed(realloc(found, (room = room == 0 ? 16 : 2 * room) * sizeof *found));
    found[count++] = (struct Found){name, status};
  }
  for (size_t i = 0; i < count; ++i)
    examine(directory, &listing, found[i].name, found[i].status);
  closeListing(&listing);
  free(found);
  free(listing.entries);
}

// ---- several threads ----

static pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
static pthread_cond_t changed = PTHREAD_COND_INITIALIZER;
static struct Directory *waiting;
static size_t unfinished; // directories that wait or are being walked

// Those below it look up to it, so none is ever freed.
static void queue(const struct Directory *directory) {
  const size_t size = offsetof(struct Directory, path) + strlen(directory->path) + 1;
  struct Directory *kept = needed(malloc(size));
  memcpy(kept, directory, size);
  pthread_mutex_lock(&mutex);
  kept->next = waiting;
  waiting = kept;
  ++unfinished;
  pthread_cond_signal(&changed);
  pthread_mutex_unlock(&mutex);
}

static void *walkQueued(void *unused) {
  pthread_mutex_lock(&mutex);
  while (unfinished > 0) {
    if (waiting == NULL) {
      pthread_cond_wait(&changed, &mutex);
      continue;
    }
    struct Directory *directory = waiting;
    waiting = directory->next;
    pthread_mutex_unlock(&mutex);
    walk(directory);
    pthread_mutex_lock(&mutex);
    if (--unfinished == 0)
      pthread_cond_broadcast(&changed);
  }
  pthread_mutex_unlock(&mutex);
  return unused;
}

static void walkInThreads(void) {
  pthread_t started[kMostThreads];
  for (int i = 1; i < threads; ++i)
    if ((errno = pthread_create(&started[i], NULL, walkQueued, NULL)) != 0)
      fail("thread");
  walkQueued(NULL);
  for (int i = 1; i < threads; ++i)
    pthread_join(started[i], NULL);
}

int main(int argc, char **argv) {
  if (argc == 4 && strcmp(argv[1], "--threads") == 0)
    threads = atoi(argv[2]);
  if ((argc != 2 && argc != 4) || threads < 1 || threads > kMostThreads) {
    fputs("usage: tesker-search-floor [--threads NUMBER] PATH\n", stderr);
    return 2;
  }
  mallopt(M_TRIM_THRESHOLD, INT_MAX); // what a listing has taken, the next one takes again
  mallopt(M_TOP_PAD, 1 << 20);
  const char *path = argv[argc - 1];
  struct stat status;
  if (strlen(path) >= PATH_MAX || stat(path, &status) != 0)
    fail(path);
  if (S_ISDIR(status.st_mode) && !isWrapperName(path))
    enter(NULL, path, &status, false);
  else
    examineNested(path);
  if (threads > 1)
    walkInThreads();
  return 0;
}
