#include "fileops/Command.h"

#include "platform/foundation/NSLog.h"
#include "platform/foundation/NSUserDefaults.h"

#include <utility>

namespace tesker {

std::string programPath(std::string_view key) {
  const NSString path = NSUserDefaults::standardUserDefaults().stringForKey(key);
  if (!path) {
    NSLog("The user defaults name no program for \"%s\"", {key});
    return {};
  }
  return path.fileSystemRepresentation();
}

std::string operand(std::string_view name) {
  return std::string(name.starts_with('-') ? "./" : "").append(name);
}

std::string archiveOperand(std::string_view name) {
  const bool looksLikeStream = name == "-";
  const bool looksRemote = name.find(':') < name.find('/');
  return std::string(looksLikeStream || looksRemote ? "./" : "").append(name);
}

Command::Command(std::string program, std::initializer_list<std::string_view> arguments) {
  words_.reserve(arguments.size() + 1);
  words_.push_back(std::move(program));
  words_.insert(words_.end(), arguments.begin(), arguments.end());
  for (std::string &word : words_)
    pointers_.push_back(word.data());
  pointers_.push_back(nullptr);
}

} // namespace tesker
