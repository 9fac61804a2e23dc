// SlowMount.cpp - tesker-slow-mount TREE MOUNTPOINT [MICROSECONDS]: shows a tree once more, read
// only, through a file system that takes its time (1,000 microseconds) for each answer, as a server
// far away does, and gives many answers at a time. It says what a search gains by asking for many,
// without a disk and its luck. What has been answered the kernel keeps for a minute.
//
// It runs until MOUNTPOINT is unmounted (fusermount3 -u).
// Exit status: 0 when it was, 1 when it cannot be mounted, 2 for a wrong command line.
#define FUSE_USE_VERSION 312
#include <fuse.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr unsigned kAnswersAtATime = 64;

int tree;
std::chrono::microseconds timeOfAnAnswer{1000};

// The tree's own name for it.
const char *below(const char *path) { return path[1] == '\0' ? "." : path + 1; }

// Each question begins with this.
const char *wait(const char *path) {
  std::this_thread::sleep_for(timeOfAnAnswer);
  return below(path);
}

int errorUnless(bool succeeded) { return succeeded ? 0 : -errno; }

int release(const char * /*path*/, fuse_file_info *file) {
  return errorUnless(::close(static_cast<int>(file->fh)) == 0);
}

int attributes(const char *path, struct stat *status, fuse_file_info * /*file*/) {
  return errorUnless(::fstatat(tree, wait(path), status, AT_SYMLINK_NOFOLLOW) == 0);
}

int readLink(const char *path, char *target, std::size_t room) {
  const ssize_t length = ::readlinkat(tree, wait(path), target, room - 1);
  target[std::max<ssize_t>(length, 0)] = '\0';
  return errorUnless(length >= 0);
}

int open(const char *path, fuse_file_info *file) {
  file->keep_cache = 1;
  const int descriptor = ::openat(tree, wait(path), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
  file->fh = static_cast<std::uint64_t>(descriptor);
  return errorUnless(descriptor >= 0);
}

int read(const char *path, char *bytes, std::size_t size, off_t offset, fuse_file_info *file) {
  (void)wait(path);
  const ssize_t got = ::pread(static_cast<int>(file->fh), bytes, size, offset);
  return got < 0 ? -errno : static_cast<int>(got);
}

int openDirectory(const char *path, fuse_file_info *file) {
  file->cache_readdir = 1;
  file->keep_cache = 1;
  return errorUnless(::faccessat(tree, wait(path), R_OK, 0) == 0);
}

int list(const char *path, void *names, fuse_fill_dir_t add, off_t /*offset*/,
         fuse_file_info * /*file*/, fuse_readdir_flags /*flags*/) {
  DIR *stream = ::fdopendir(::openat(tree, wait(path), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (stream == nullptr)
    return -errno;
  struct stat status {};
  while (const dirent *entry = ::readdir(stream)) {
    status.st_ino = entry->d_ino;
    status.st_mode = DTTOIF(entry->d_type);
    add(names, entry->d_name, &status, 0, fuse_fill_dir_flags{});
  }
  ::closedir(stream);
  return 0;
}

void *begin(fuse_conn_info *connection, fuse_config *config) {
  constexpr double kMinute = 60;
  config->entry_timeout = config->attr_timeout = config->negative_timeout = kMinute;
  config->kernel_cache = 1;
  config->use_ino = 1;
  // A listing does not bring the attributes along: each is asked for.
  connection->want &= ~static_cast<unsigned>(FUSE_CAP_READDIRPLUS);
  return nullptr;
}

fuse_operations operations() {
  fuse_operations answers{};
  answers.getattr = attributes;
  answers.readlink = readLink;
  answers.open = open;
  answers.read = read;
  answers.release = release;
  answers.opendir = openDirectory;
  answers.readdir = list;
  answers.init = begin;
  return answers;
}

// Until it is unmounted.
bool serve(char *program, const char *place) {
  std::array words{program, const_cast<char *>("-oro,fsname=tesker-slow-mount")};
  fuse_args arguments = FUSE_ARGS_INIT(static_cast<int>(words.size()), words.data());
  const fuse_operations answers = operations();
  fuse *const server = fuse_new(&arguments, &answers, sizeof answers, nullptr);
  if (server == nullptr || fuse_mount(server, place) != 0)
    return false;
  fuse_loop_config *const threads = fuse_loop_cfg_create();
  fuse_loop_cfg_set_max_threads(threads, kAnswersAtATime);
  const bool served = fuse_loop_mt(server, threads) == 0;
  fuse_unmount(server);
  return served;
}

} // namespace

int main(int argc, char **argv) {
  char *end = nullptr;
  const long microseconds = argc == 4 ? std::strtol(argv[3], &end, 10) : 1000;
  if (argc < 3 || argc > 4 || (end != nullptr && *end != '\0') || microseconds < 0) {
    std::fputs("usage: tesker-slow-mount TREE MOUNTPOINT [MICROSECONDS]\n", stderr);
    return 2;
  }
  timeOfAnAnswer = std::chrono::microseconds(microseconds);
  tree = ::open(argv[1], O_PATH | O_DIRECTORY | O_CLOEXEC);
  if (tree < 0) {
    std::perror(argv[1]);
    return 1;
  }
  return serve(argv[0], argv[2]) ? 0 : 1;
}
