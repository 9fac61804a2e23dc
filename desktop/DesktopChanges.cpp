#include "desktop/DesktopChanges.h"

#include "command/DisplayText.h"

#include <algorithm>
#include <cstring>
#include <gio/gio.h>
#include <glib-unix.h>
#include <iterator>

namespace tesker {

namespace {

// How often is done what nothing asks for, where something cannot be watched.
constexpr unsigned kSecondsBetweenLooks = 600;

// Sources do no more than this, so that no exception meets GLib.
gboolean setAndStay(gpointer flag) {
  *static_cast<int *>(flag) = 1;
  return G_SOURCE_CONTINUE;
}

gboolean setAndGo(gpointer flag) {
  *static_cast<int *>(flag) = 1;
  return G_SOURCE_REMOVE;
}

gboolean setForDescriptor(int, GIOCondition, gpointer flag) { return setAndStay(flag); }

void setForFile(GFileMonitor *, GFile *, GFile *, GFileMonitorEvent, gpointer flag) {
  *static_cast<int *>(flag) = 1;
}

} // namespace

void DesktopChanges::Stop::operator()(GFileMonitor *monitor) const {
  g_file_monitor_cancel(monitor);
  g_object_unref(monitor);
}

DesktopChanges::DesktopChanges(Interrupts &interrupts) : interrupts_(interrupts) {
  sources_.insert(
      g_unix_fd_add(interrupts_.descriptor(), G_IO_IN, setForDescriptor, &come_.signal));
  Result<SearchPathWatches> searches = SearchPathWatches::create();
  if (!searches)
    return;
  searches_.emplace(std::move(*searches));
  sources_.insert(
      g_unix_fd_add(searches_->descriptor(), G_IO_IN, setForDescriptor, &come_.searchPath));
}

DesktopChanges::~DesktopChanges() {
  for (const unsigned source : sources_)
    g_source_remove(source);
}

void DesktopChanges::watch(const Wanted &wanted, Reports &reports) {
  std::erase_if(monitors_, [&](const auto &watched) {
    return !wanted.directories.contains(watched.first) && !wanted.files.contains(watched.first);
  });
  for (const std::string &directory : wanted.directories)
    watchFile(directory, true, reports);
  for (const std::string &file : wanted.files)
    watchFile(file, false, reports);
  watchSearchPaths(wanted.searchPaths, reports);
}

void DesktopChanges::watchFile(const std::string &path, bool isDirectory, Reports &reports) {
  const auto [watched, isNew] = monitors_.try_emplace(path);
  if (!isNew)
    return;
  GFile *file = g_file_new_for_path(path.c_str());
  GError *error = nullptr;
  constexpr GFileMonitorFlags flags = G_FILE_MONITOR_WATCH_MOVES;
  watched->second.reset(isDirectory ? g_file_monitor_directory(file, flags, nullptr, &error)
                                    : g_file_monitor_file(file, flags, nullptr, &error));
  g_object_unref(file);
  if (watched->second != nullptr)
    g_signal_connect(watched->second.get(), "changed", G_CALLBACK(setForFile), &come_.file);
  if (error != nullptr) {
    cannotWatch(path, error->message, reports);
    g_error_free(error);
  }
}

void DesktopChanges::watchSearchPaths(const std::set<std::string> &paths, Reports &reports) {
  if (!searches_) {
    for (const std::string &path : paths)
      cannotWatch(path, "inotify or /proc is not there", reports);
    return;
  }
  takeSearchPaths();
  for (const std::string &path : searchPaths_)
    if (!paths.contains(path))
      searches_->forget(path);
  for (const std::string &path : paths)
    if (!searchPaths_.contains(path) || changed_.contains(path) || unwatched_.contains(path))
      beginSearchPath(path, reports);
  searchPaths_ = paths;
  changed_.clear();
}

void DesktopChanges::beginSearchPath(const std::string &path, Reports &reports) {
  searches_->begin(path);
  for (;;) {
    const Result<SearchPathWatches::Progress> progress = searches_->advance(path);
    if (!progress)
      return cannotWatch(path, std::strerror(progress.error()), reports);
    if (*progress == SearchPathWatches::Progress::done)
      break;
  }
  unwatched_.erase(path);
}

void DesktopChanges::cannotWatch(const std::string &path, std::string_view why, Reports &reports) {
  if (unwatched_.insert(path).second)
    reports.fail(path, "cannot be watched (" + displayText(std::string(why)) +
                           "); it is looked at every ten minutes");
}

void DesktopChanges::takeSearchPaths() {
  come_.searchPath = 0;
  if (searches_)
    std::ranges::move(searches_->takeChanged(), std::inserter(changed_, changed_.end()));
}

bool DesktopChanges::wait(std::chrono::milliseconds settling) {
  const unsigned looking =
      unwatched_.empty() ? 0 : g_timeout_add_seconds(kSecondsBetweenLooks, setAndStay, &come_.file);
  come_.settled = 0;
  unsigned settles = 0;
  // One may have come to another that waits for them, such as a search.
  while (interrupts_.take() == 0 && come_.settled == 0) {
    if (come_.searchPath != 0)
      takeSearchPaths();
    if (settles == 0 && (come_.file != 0 || !changed_.empty()))
      settles = g_timeout_add(static_cast<unsigned>(settling.count()), setAndGo, &come_.settled);
    g_main_context_iteration(nullptr, TRUE);
  }
  if (settles != 0 && come_.settled == 0)
    g_source_remove(settles);
  if (looking != 0)
    g_source_remove(looking);
  come_.file = 0;
  return interrupts_.take() == 0;
}

} // namespace tesker
