// SearchTree.h - a directory tree to measure searches on, of any size.
//
// Of 10000 files 500 are programs, half of them ELF files and half shell scripts, 50 are programs
// that describe themselves, and 50 applications are wrappers of two files each. The rest are empty
// files without an execute bit. They lie in 909 directories on up to 8 levels, 12 entries in each
// on the average; the wrappers' own directories are not counted. Other sizes have the same
// proportions. The same size and seed make the same tree.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>

namespace tesker::benchmarks {

// Makes the tree in a directory that is there and empty. Throws std::filesystem::filesystem_error.
void makeSearchTree(const std::filesystem::path &top, std::size_t files, std::uint64_t seed);

} // namespace tesker::benchmarks
