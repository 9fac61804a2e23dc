// KeyFile.h - the text form of desktop entries and of lists of associations: groups of keys.
//
// GLib reads it. Keys and groups that are not there, and values of another kind, answer nothing.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

extern "C" {
struct _GKeyFile;
}

namespace tesker {

class KeyFile {
public:
  // Nothing for a text with a NUL in it or with a line that is none of a key file's; then `why`
  // says so, a display text.
  [[nodiscard]] static std::optional<KeyFile> parse(std::string_view text, std::string &why);

  // A string with its escapes undone.
  [[nodiscard]] std::optional<std::string> string(const char *group, const char *key) const;
  // The same in the person's language, else the untranslated one.
  [[nodiscard]] std::optional<std::string> localString(const char *group, const char *key) const;
  // False when it is missing.
  [[nodiscard]] bool flag(const char *group, const char *key) const;
  // Empty when it is missing.
  [[nodiscard]] std::vector<std::string> strings(const char *group, const char *key) const;
  // Of a group, in order.
  [[nodiscard]] std::vector<std::string> keys(const char *group) const;
  [[nodiscard]] bool hasGroup(const char *group) const;

private:
  struct Free {
    void operator()(_GKeyFile *file) const;
  };
  explicit KeyFile(_GKeyFile *file) : file_(file) {}
  std::unique_ptr<_GKeyFile, Free> file_;
};

} // namespace tesker
