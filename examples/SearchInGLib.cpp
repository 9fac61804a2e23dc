// SearchInGLib.cpp - an example of FinderSearch: a search in the main loop of a GLib program.
//
//   tesker-search-in-glib TOOL DIR
//
// Prints the applications, and then on standard error how long the loop was held at most, as a
// timer saw it that should come every millisecond, and in how many pieces the search was done.
#include "examples/PrintedOutcome.h"
#include "master/FinderSearch.h"

#include <algorithm>
#include <cstdio>
#include <glib-unix.h>
#include <memory>

namespace {

struct Program {
  GMainLoop *loop = g_main_loop_new(nullptr, FALSE);
  std::unique_ptr<tesker::FinderSearch> search;
  int dispatches = 0;
  int status = 0;
  gint64 lastTick = g_get_monotonic_time();
  gint64 longestHold = 0; // microseconds
};

gboolean searchIsReady(gint, GIOCondition, gpointer data) {
  auto &program = *static_cast<Program *>(data);
  ++program.dispatches;
  program.search->dispatch();
  return program.search->hasEnded() ? G_SOURCE_REMOVE : G_SOURCE_CONTINUE;
}

gboolean tick(gpointer data) {
  auto &program = *static_cast<Program *>(data);
  const gint64 now = g_get_monotonic_time();
  program.longestHold = std::max(program.longestHold, now - program.lastTick);
  program.lastTick = now;
  return G_SOURCE_CONTINUE;
}

} // namespace

int main(int argc, char **argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: %s TOOL DIR\n", argv[0]);
    return 2;
  }
  Program program;
  auto started = tesker::FinderSearch::start({.tool = argv[1]}, {.argument = argv[2]},
                                             [&](const tesker::SearchOutcome &outcome) {
                                               tick(&program);
                                               program.status = print(outcome);
                                               g_main_loop_quit(program.loop);
                                             });
  if (auto *failure = std::get_if<tesker::SearchFailure>(&started)) {
    std::fprintf(stderr, "%s\n", failure->reason.c_str());
    return 1;
  }
  program.search = std::move(std::get<0>(started));
  program.lastTick = g_get_monotonic_time();
  g_unix_fd_add(program.search->descriptor(), G_IO_IN, searchIsReady, &program);
  g_timeout_add(1, tick, &program);
  g_main_loop_run(program.loop);
  g_main_loop_unref(program.loop);
  std::fprintf(stderr, "%d pieces, the loop was held for %.1f ms at most\n", program.dispatches,
               static_cast<double>(program.longestHold) / 1000);
  return program.status;
}
