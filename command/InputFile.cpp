#include "command/InputFile.h"

#include "command/DisplayText.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

namespace tesker {

namespace {

Result<std::string> readToEnd(int descriptor, std::size_t longest) {
  std::string bytes;
  std::array<char, 65536> piece;
  for (;;) {
    const ssize_t count = ::read(descriptor, piece.data(), piece.size());
    if (count < 0 && errno == EINTR)
      continue;
    if (count < 0)
      return Failure{errno};
    if (count == 0)
      return bytes;
    if (bytes.size() + static_cast<std::size_t>(count) > longest)
      return Failure{EFBIG};
    bytes.append(piece.data(), static_cast<std::size_t>(count));
  }
}

} // namespace

Result<std::string> readInput(const std::string &name, std::size_t longest) {
  if (name == "-")
    return readToEnd(STDIN_FILENO, longest);
  const FileDescriptor file(OperatingSystem::current().open(name.c_str(), O_RDONLY | O_NOCTTY));
  if (!file)
    return Failure{errno};
  return readToEnd(file.number(), longest);
}

Result<> saveFile(const std::string &name, std::string_view bytes) {
  std::string target = name;
  struct stat status {};
  if (OperatingSystem::current().statAt(AT_FDCWD, name.c_str(), true, status) == 0) {
    if (!S_ISREG(status.st_mode))
      return Failure{EINVAL};
    const std::unique_ptr<char, decltype(&std::free)> real(::realpath(name.c_str(), nullptr),
                                                           &std::free);
    if (real == nullptr)
      return Failure{errno};
    target = real.get();
  }
  return writeFileAtomically(NSString::create(target), bytes);
}

std::string inputName(const std::string &name) {
  return name == "-" ? "standard input" : displayText(name);
}

std::string fileError(const std::string &name, int error) {
  return inputName(name) + ": " + (error == EINVAL ? "not a regular file" : std::strerror(error));
}

} // namespace tesker
