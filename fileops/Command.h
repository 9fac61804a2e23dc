// Command.h - a program with its arguments, made ready before a child is started.
// Internal to the operations.
//
// Threading: none of its own; immutable.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace tesker {

// The path of the program that the user defaults name under the key, asked anew at every call.
// Logged and "", which no program can be executed by, when they name none.
[[nodiscard]] std::string programPath(std::string_view key);

// The name as an argument that no program takes for an option: "./" goes before a leading "-",
// which names the same file.
[[nodiscard]] std::string operand(std::string_view name);

// The same for a tar archive: "-" is no stream, and "host:file" no file of another machine.
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
