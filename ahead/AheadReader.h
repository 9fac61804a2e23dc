// AheadReader.h - reads what the tool will read, so that the kernel has it: for one task.
//
// It follows the rules of the walk (finding/ApplicationWalk, parsing/AppWrapperParser), as far as
// they say what is opened and looked at: names that begin with "." or end in "~" are passed over,
// links are judged by what they lead to, wrappers are not walked, and a directory that is on the
// way already is not entered. Nothing that it reads is looked into, and whatever cannot be read is
// passed over without a word. Where the tool would go in circles it does not.
//
// Open at a time: one directory and one file.
#pragma once

#include "ahead/AheadQueue.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace tesker {

class AheadReader {
public:
  // So many names of a directory are one task, for several threads to share a large one.
  static constexpr std::uint32_t kNamesAtOnce = 256;
  // Of an executable the header is read, of a description as much as is likely to be all of it.
  static constexpr std::size_t kOfExecutables = 4096;
  static constexpr std::size_t kOfDescriptions = std::size_t{256} << 10;

  // Borrowed; what is found to be read goes there.
  explicit AheadReader(AheadQueue &queue) : queue_(queue) {}

  void read(const AheadTask &task);

private:
  struct Entry;
  void readPath(const AheadTask &task);
  void readDirectory(const AheadTask &task);
  // At each of the names; `above` is the directory's place in the order.
  void lookAt(const AheadTask &task, std::string_view above, int directory);
  void lookAt(const Entry &entry);
  void readWrapper(const AheadTask &task);
  void readPart(const AheadTask &wrapper, int directory, std::string_view name,
                std::uint32_t index);
  void addDirectory(const Entry &entry, AheadTask::Kind kind, const NSFileAttributes &attributes,
                    bool isBehindLink);

  AheadQueue &queue_;
};

} // namespace tesker
