// ReadAhead.h - reads a tree ahead of the tool that searches it, in several threads.
//
// The tool's one thread waits for one answer of the disk at a time; a disk or a server answers many
// questions at once hardly later than one. What is read here the kernel keeps, and the tool finds
// it there. That is all: nobody is told what was read, nothing depends on it, and no failure is
// told.
//
//   hints of the master --> HintReader --> AheadQueue <--> AheadReader in each thread
//
// The queue has the tasks in the order in which the tool comes to them. A thread takes the first,
// and what it finds to be read goes into the queue; so all threads are near each other, and near
// what the tool reads next. Where the master tells that the tool has come farther than the
// threads, what is behind it is dropped; where they are too far ahead, they wait.
//
//   threads       kThreads
//   descriptors   two for each thread, and the three standard ones
//   memory        AheadQueue::kMostBytes for tasks, and 64 KiB for each thread's directory and file
#pragma once

#include "ahead/AheadQueue.h"
#include "ahead/HintReader.h"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <thread>
#include <vector>

namespace tesker {

class ReadAhead {
public:
  static constexpr std::size_t kThreads = 8;

  // Starts the threads, or as many as the system allows.
  ReadAhead();
  // Waits for what each thread is just reading.
  ~ReadAhead();
  ReadAhead(const ReadAhead &) = delete;
  ReadAhead &operator=(const ReadAhead &) = delete;

  // What the master says, in parts as they come.
  void take(std::string_view bytes) { hints_.take(bytes); }

private:
  void work();
  void addSearchPath(std::string_view path);

  AheadQueue queue_;
  HintReader hints_;
  std::uint32_t searchPaths_ = 0;
  std::vector<std::thread> threads_;
};

// The task to read what a search of the path reads; number is where it stands among the paths.
[[nodiscard]] AheadTask taskOfSearchPath(std::string_view path, std::uint32_t number);

} // namespace tesker
