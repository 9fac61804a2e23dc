#include "catalog/SavedAnswerText.h"

#include "platform/foundation/OperatingSystem.h"
#include "platform/foundation/Text.h"
#include "platform/ports/HostInfo.h"

#include <charconv>

namespace tesker {

namespace {

constexpr std::string_view kFormat = "Tesker answer 1\n";

// FNV-1a. It tells damage, and nothing that is hostile: the file is the user's own.
class Checksum {
public:
  Checksum &add(std::string_view bytes) {
    for (const char byte : bytes)
      value_ = (value_ ^ static_cast<unsigned char>(byte)) * 0x100000001b3;
    return *this;
  }
  std::string text() const {
    std::string digits;
    appendHexadecimal(digits, value_);
    return std::string(16 - digits.size(), '0') + digits;
  }

private:
  std::uint64_t value_ = 0xcbf29ce484222325;
};

std::string line(const char *name, std::string_view value) {
  return std::string(name) + " " + std::to_string(value.size()) + " " + std::string(value) + "\n";
}

std::string line(const char *name, std::int64_t number) {
  return std::string(name) + " " + std::to_string(number) + "\n";
}

std::string processorFor(const std::string &cpu) {
  const std::string word = cpu.empty() ? environmentValue("TESKER_HOST_CPU").value_or("") : cpu;
  std::optional<HostProcessor> processor = processorFromText(word);
  if (!processor && !word.empty())
    return word; // which the tool does not know either
  host_basic_info machine{};
  if (!processor && host_info(host_self(), HOST_BASIC_INFO, machine, HOST_BASIC_INFO_COUNT) == 0)
    processor = {machine.cpu_type, machine.cpu_subtype};
  return processor ? std::to_string(processor->type) + "/" + std::to_string(processor->subtype)
                   : "";
}

std::string beforeChecksum(std::string_view lines, std::int64_t time, std::size_t length) {
  return std::string(lines) + line("time", time) +
         line("length", static_cast<std::int64_t>(length));
}

// Takes "NAME NUMBER\n" away from the beginning.
std::optional<std::int64_t> takeNumber(std::string_view &bytes, std::string_view name) {
  if (!bytes.starts_with(name))
    return std::nullopt;
  std::int64_t number = 0;
  const char *end = bytes.data() + bytes.size();
  const auto [rest, error] = std::from_chars(bytes.data() + name.size(), end, number);
  if (error != std::errc() || rest == end || *rest != '\n')
    return std::nullopt;
  bytes.remove_prefix(static_cast<std::size_t>(rest - bytes.data()) + 1);
  return number;
}

} // namespace

std::string AnswerKey::lines() const {
  return std::string(kFormat) + line("processor", processorFor(cpu)) +
         line("link-cycles", followLinkCycles ? "follow" : "skip") +
         line("search-path", searchPath);
}

std::string savedAnswerName(std::string_view searchPath, std::string_view lines) {
  constexpr std::size_t kMostShown = 40;
  const std::string_view path = withoutSlashesAtItsEnd(searchPath);
  std::string name(path.substr(path.rfind('/') + 1).substr(0, kMostShown));
  for (char &byte : name)
    if (!((withoutCase(byte) >= 'a' && withoutCase(byte) <= 'z') || (byte >= '0' && byte <= '9')))
      byte = '_';
  return name + "-" + Checksum().add(lines).text();
}

std::string savedAnswerHeader(std::string_view lines, std::int64_t time, std::string_view text) {
  const std::string before = beforeChecksum(lines, time, text.size());
  return before + "checksum " + Checksum().add(before).add(text).text() + "\n";
}

std::optional<SavedAnswerText> savedAnswerIn(std::string_view bytes, std::string_view lines) {
  if (!bytes.starts_with(lines))
    return std::nullopt;
  std::string_view rest = bytes.substr(lines.size());
  const auto time = takeNumber(rest, "time ");
  const auto length = time ? takeNumber(rest, "length ") : std::nullopt;
  if (!length || *length < 0 || rest.size() < static_cast<std::uint64_t>(*length))
    return std::nullopt;
  const std::string_view text = rest.substr(rest.size() - static_cast<std::size_t>(*length));
  const std::string header = savedAnswerHeader(lines, *time, text);
  if (bytes.size() != header.size() + text.size() || !bytes.starts_with(header))
    return std::nullopt;
  return SavedAnswerText{*time, text};
}

} // namespace tesker
