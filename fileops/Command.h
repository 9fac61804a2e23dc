// Command.h - a program with its arguments, made ready before a child is started.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace tesker {

// The path of the program that the user defaults name under the key; they are asked at every
// call. When they name none, that is logged and the path is "", which cannot be executed.
[[nodiscard]] std::string programPath(std::string_view key);

// The name as an argument that no program takes for an option: "./" goes before a leading "-", and
// the file is still the same.
[[nodiscard]] std::string operand(std::string_view name);

// The same for an archive: tar would take "-" for a stream and "host:file" for another machine's
// file.
[[nodiscard]] std::string archiveOperand(std::string_view name);

class Command {
public:
  // The program's path is its argument zero as well.
  Command(std::string program, std::initializer_list<std::string_view> arguments);
  Command(const Command &) = delete;
  Command &operator=(const Command &) = delete;

  const char *program() const { return words_.front().c_str(); }
  // The words of the command and a null pointer at the end, as execv(3) takes them.
  char *const *argumentVector() const { return pointers_.data(); }

private:
  std::vector<std::string> words_;
  std::vector<char *> pointers_;
};

} // namespace tesker
