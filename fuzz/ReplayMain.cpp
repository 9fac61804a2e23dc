// ReplayMain.cpp - runs a fuzzer once over every file named on the command line or standing in a
// directory named there, in the order of the names. Fails when there is nothing to run.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> filesOf(const fs::path &named) {
  if (!fs::is_directory(named))
    return {named};
  std::vector<fs::path> files;
  for (const auto &entry : fs::directory_iterator(named))
    files.push_back(entry.path());
  std::sort(files.begin(), files.end());
  return files;
}

void replay(const fs::path &file) {
  std::ifstream in(file, std::ios::binary);
  const std::vector<char> bytes{std::istreambuf_iterator<char>(in), {}};
  if (!in.is_open() || in.bad())
    throw std::runtime_error("cannot read " + file.string());
  // Told beforehand, so that the last line names the input that ended the program.
  std::cerr << file.string() << '\n';
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size());
}

} // namespace

int main(int count, char **arguments) {
  std::size_t replayed = 0;
  try {
    for (int i = 1; i < count; ++i)
      for (const auto &file : filesOf(arguments[i])) {
        replay(file);
        ++replayed;
      }
  } catch (const std::exception &exception) {
    std::cerr << exception.what() << '\n';
    return EXIT_FAILURE;
  }
  std::cerr << replayed << " inputs replayed\n";
  return replayed > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
