#define _GNU_SOURCE
#include "benchmarks/FloorFiles.h"

#include <elf.h>
#include <endian.h>
#include <fcntl.h>
#include <limits.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/syscall.h>
#include <unistd.h>

enum { kPiece = 4096, kListingPiece = 32768 };

void fail(const char *what) {
  perror(what);
  exit(1);
}

void *needed(void *memory) {
  if (memory == NULL)
    fail("memory");
  return memory;
}

bool join(char *path, const char *directory, const char *name) {
  const size_t length = strlen(directory);
  const size_t slash = length > 0 && directory[length - 1] == '/' ? 0 : 1;
  if (length + slash + strlen(name) >= PATH_MAX)
    return false;
  memcpy(path, directory, length);
  path[length] = '/';
  strcpy(path + length + slash, name);
  return true;
}

static const char *suffixOf(const char *name) {
  const char *dot = strrchr(name, '.');
  return dot != NULL ? dot + 1 : "";
}

bool isWrapperName(const char *name) {
  const char *suffix = suffixOf(name);
  return strcmp(suffix, "app") == 0 || strcmp(suffix, "debug") == 0 ||
         strcmp(suffix, "profile") == 0;
}

bool isExecutable(const struct stat *status) { return (status->st_mode & 0111) != 0; }

// ---- what stands in a file ----

// The file's bytes there, as many as a piece has and the file.
static ssize_t readPiece(int file, off_t size, unsigned char *piece, off_t offset) {
  if (offset < 0 || offset >= size)
    return 0;
  const off_t left = size - offset;
  return pread(file, piece, left < kPiece ? (size_t)left : kPiece, offset);
}

// The end of the table of sections, and their names where they are neither there nor at the start.
static void readElf(int file, off_t size, const unsigned char *start, ssize_t length) {
  Elf64_Ehdr header;
  if (length < (ssize_t)sizeof header || start[EI_CLASS] != ELFCLASS64)
    return;
  memcpy(&header, start, sizeof header);
  const uint64_t end = header.e_shoff + (uint64_t)header.e_shnum * sizeof(Elf64_Shdr);
  if (header.e_shoff == 0 || end > (uint64_t)size || end <= (uint64_t)length ||
      header.e_shstrndx >= header.e_shnum)
    return;
  unsigned char piece[kPiece];
  const uint64_t begin = end - (end < kPiece ? end : kPiece);
  const uint64_t names = header.e_shoff + header.e_shstrndx * sizeof(Elf64_Shdr);
  if (readPiece(file, size, piece, (off_t)begin) < kPiece || names < begin)
    return;
  Elf64_Shdr section;
  memcpy(&section, piece + (names - begin), sizeof section);
  const bool isAtHand = section.sh_offset >= begin && section.sh_offset + section.sh_size <= end;
  if (!isAtHand && section.sh_offset + section.sh_size > (uint64_t)length)
    readPiece(file, size, piece, (off_t)section.sh_offset);
}

// The image for this kind of machine.
static void readFat(int file, off_t size, const unsigned char *start, ssize_t length) {
  uint32_t words[5]; // of one image: processor, its model, offset, size, alignment
  for (ssize_t at = 8; at + (ssize_t)sizeof words <= length; at += (ssize_t)sizeof words) {
    memcpy(words, start + at, sizeof words);
    if (be32toh(words[0]) != 7)
      continue;
    unsigned char piece[kPiece];
    if ((ssize_t)be32toh(words[2]) >= length)
      readPiece(file, size, piece, (off_t)be32toh(words[2]));
    return;
  }
}

void examineFile(int directory, const char *path) {
  const int file = openat(directory, path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (file < 0)
    return;
  struct stat status;
  if (fstat(file, &status) == 0 && S_ISREG(status.st_mode)) {
    unsigned char start[kPiece];
    const ssize_t length = readPiece(file, status.st_size, start, 0);
    if (length >= 8 && memcmp(start, ELFMAG, SELFMAG) == 0)
      readElf(file, status.st_size, start, length);
    else if (length >= 8 && memcmp(start, "\xca\xfe\xba\xbe", 4) == 0)
      readFat(file, status.st_size, start, length);
  }
  close(file);
}

static void readWhole(const char *path) {
  const int file = open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (file < 0)
    return;
  struct stat status;
  if (fstat(file, &status) == 0 && S_ISREG(status.st_mode)) {
    const size_t room = (size_t)status.st_size + 1;
    char *bytes = needed(malloc(room));
    for (off_t offset = 0;;) {
      const ssize_t got = pread(file, bytes, room, offset);
      if (got <= 0)
        break;
      offset += got;
    }
    free(bytes);
  }
  close(file);
}

// ---- listings ----

bool list(const char *path, struct Listing *listing) {
  listing->descriptor = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_DIRECTORY);
  if (listing->descriptor < 0)
    return false;
  size_t room = 2 * kListingPiece;
  listing->entries = needed(malloc(room));
  listing->size = 0;
  for (;;) {
    if (room - listing->size < kListingPiece)
      listing->entries = needed(realloc(listing->entries, room *= 2));
    const long got = syscall(SYS_getdents64, listing->descriptor, listing->entries + listing->size,
                             kListingPiece);
    if (got <= 0)
      return true;
    listing->size += (size_t)got;
  }
}

void closeListing(struct Listing *listing) {
  if (listing->descriptor >= 0)
    close(listing->descriptor);
  listing->descriptor = -1;
}

struct dirent64 *entryAt(const struct Listing *listing, size_t offset) {
  return (struct dirent64 *)(void *)(listing->entries + offset);
}

// ---- wrappers ----

static void readDescriptions(const char *resources) {
  char path[PATH_MAX];
  struct stat status;
  if (join(path, resources, "Info-quorvale.plist"))
    readWhole(path);
  if (join(path, resources, "registry.table") && stat(path, &status) == 0)
    readWhole(path);
}

static bool isNested(const char *name) {
  return strcmp(suffixOf(name), "tool") == 0 || strcmp(suffixOf(name), "bundle") == 0;
}

// One that is known by its path only; the tool asks again for the status of a nested one.
static void examineProgram(const char *path) {
  struct stat status;
  if (stat(path, &status) == 0 && !S_ISDIR(status.st_mode) && isExecutable(&status))
    examineFile(AT_FDCWD, path);
}

void examineNested(const char *path) {
  struct stat status;
  if (stat(path, &status) != 0 || !isExecutable(&status))
    return;
  if (S_ISDIR(status.st_mode))
    examineWrapper(path);
  else
    examineProgram(path);
}

// Whether the name is the wrapper's own without its suffix.
static bool isOwnExecutable(const char *wrapper, const char *name) {
  const char *own = strrchr(wrapper, '/') + 1;
  const size_t length = (size_t)(suffixOf(own) - own);
  return length > 0 && strlen(name) == length - 1 && strncmp(own, name, length - 1) == 0;
}

// Visits the entries from the last to the first.
void examineWrapper(const char *path) {
  struct Listing listing;
  if (!list(path, &listing))
    return;
  closeListing(&listing);
  size_t count = 0;
  for (size_t at = 0; at < listing.size; at += entryAt(&listing, at)->d_reclen)
    ++count;
  const char **names = needed(calloc(count + 1, sizeof *names));
  for (size_t at = 0, i = 0; at < listing.size; at += entryAt(&listing, at)->d_reclen)
    names[i++] = entryAt(&listing, at)->d_name;
  bool isDescribed = false;
  char entry[PATH_MAX];
  for (int nested = 0; nested < 2; ++nested)
    for (size_t i = count; i-- > 0;) {
      const char *name = names[i];
      if (isNested(name) != (nested == 1) || strcmp(name, ".") == 0 || strcmp(name, "..") == 0 ||
          !join(entry, path, name))
        continue;
      if (nested == 1)
        examineNested(entry);
      else if (!isDescribed && isOwnExecutable(path, name))
        examineProgram(entry);
      else if (strcmp(name, "Resources") == 0 || strcmp(name, "Info-quorvale.plist") == 0) {
        isDescribed = true;
        readDescriptions(entry);
      } else if (strcmp(name, "registry.table") == 0) {
        isDescribed = true;
        readWhole(entry);
      }
    }
  free(names);
  free(listing.entries);
}
