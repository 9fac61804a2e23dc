// FloorFiles.h - how tesker-search-floor looks at a directory, an executable and a wrapper: with
// the calls that the tool makes for it, and nothing else.
#pragma once

#include <dirent.h>
#include <stdbool.h>
#include <stddef.h>
#include <sys/stat.h>

// Says on standard error what the last call has failed for, and ends the process with status 1.
void fail(const char *what);
// The memory itself; fails where there is none.
void *needed(void *memory);

// Writes directory and name into a buffer of PATH_MAX bytes. False where they do not fit.
bool join(char *path, const char *directory, const char *name);
// Whether a directory of that name is an application.
bool isWrapperName(const char *name);
bool isExecutable(const struct stat *status);

struct Listing {
  int descriptor; // -1 once it is closed
  char *entries;
  size_t size;
};

// Lists a directory, which stays open; the entries are to be freed. False where it cannot be
// listed.
bool list(const char *path, struct Listing *listing);
void closeListing(struct Listing *listing);
// The entry at the offset; the next one is d_reclen bytes behind it.
struct dirent64 *entryAt(const struct Listing *listing, size_t offset);

// Reads what tells whether the file describes itself.
void examineFile(int directory, const char *path);
void examineWrapper(const char *path);
// A wrapper or an executable that is known by its path only.
void examineNested(const char *path);
