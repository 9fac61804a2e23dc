// SampleTree.h - what stands in the sample tree: applications in every form, and broken ones.
#pragma once

#include <string>
#include <vector>

namespace tesker::examples {

// One entry of the tree. Directories above an entry are made as needed.
struct SampleEntry {
  enum class Kind { kFile, kDirectory, kLink, kFifo };
  Kind kind;
  std::string path;  // relative to the tree
  std::string bytes; // a file's contents or a link's target
  unsigned mode;     // permission bits; links have none
  std::string note;  // what it is there for
};

// The whole tree, the same on every machine.
std::vector<SampleEntry> sampleTree();

} // namespace tesker::examples
