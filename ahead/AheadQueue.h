// AheadQueue.h - what is still to be read ahead of the tool, in the order in which the tool comes
// to it, and how far ahead that may be. For several threads; everything is locked inside.
//
// The place of a task in the order is a text: for each directory on the way down, where in it the
// next one stands. The tool lists a directory and looks at all of its entries before it goes into
// the first one, so the names of a directory stand before what is below them.
#pragma once

#include "filesystem/TSStatMethods.h"

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace tesker {

// The directories above a directory, and itself, by which a link is known that leads back.
struct AheadWay {
  DirFileUID directory;
  bool isBehindLink = false;
  std::shared_ptr<const AheadWay> above = nullptr;
};

struct AheadTask {
  enum class Kind {
    path,      // what a search begins with: anything
    directory, // to be listed, and what is in it to be looked at
    names,     // some entries of a directory, to be looked at
    wrapper,   // an application: its descriptions and its executable
  };
  Kind kind;
  std::string order;
  std::string path;                         // absolute; of `names` the directory's
  std::shared_ptr<const AheadWay> way = {}; // down to the path; nil for the first
  std::string names = {};                   // each with a NUL behind it
  std::uint32_t first = 0; // where the path stands among the others, or the first name
};

class AheadQueue {
public:
  // So many entries it reads ahead of the tool at most, and so much it keeps in mind: what does not
  // fit is left to the tool.
  static constexpr std::uint64_t kMostAhead = 32768;
  static constexpr std::size_t kMostTasks = 16384;
  static constexpr std::size_t kMostBytes = std::size_t{8} << 20;

  // The order of what stands at the index in a directory, and of a part of its names.
  static std::string orderBelow(std::string_view directory, std::uint32_t index);
  static std::string orderOfNames(std::string_view directory, std::uint32_t first);
  // And the directory's again.
  static std::string_view orderOfDirectory(std::string_view below);

  // False, and the task is left alone, where there is no room for it.
  [[nodiscard]] bool add(AheadTask &task);
  // The first one. Waits while there is none, or it would be too far ahead. Nothing after end().
  std::optional<AheadTask> next();
  // The same without waiting: nothing as well where it would wait.
  std::optional<AheadTask> nextNow();
  void end();

  // So many entries have been looked at.
  void count(std::uint64_t entries);
  // The tool has seen so many entries, and is in this directory: what stands before is forgotten.
  void reached(std::uint64_t entries, std::string_view directory);
  // The name in the directory that leads to where the tool is; empty where the tool is not below.
  std::string nameOnTheWay(std::string_view directory) const;
  // What stands before that order is behind the tool.
  void passedTo(std::string_view order);

private:
  bool mayTake() const;
  AheadTask take();
  void dropBefore(std::string_view order);

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::map<std::string, AheadTask, std::less<>> tasks_; // by their order
  std::size_t bytes_ = 0;                               // of the tasks
  std::uint64_t counted_ = 0, toolsEntries_ = 0;
  std::string toolsDirectory_;
  bool hasEnded_ = false;
};

} // namespace tesker
