#include "desktop/KeyFile.h"

#include "command/DisplayText.h"

#include <glib.h>

namespace tesker {

namespace {

// GLib's answer, which it leaves to its caller.
std::optional<std::string> taken(char *text) {
  if (text == nullptr)
    return std::nullopt;
  std::string copy(text);
  g_free(text);
  return copy;
}

std::vector<std::string> taken(char **list) {
  std::vector<std::string> copies;
  for (char **word = list; word != nullptr && *word != nullptr; ++word)
    copies.emplace_back(*word);
  g_strfreev(list);
  return copies;
}

} // namespace

void KeyFile::Free::operator()(_GKeyFile *file) const { g_key_file_free(file); }

std::optional<KeyFile> KeyFile::parse(std::string_view text, std::string &why) {
  if (text.find('\0') != std::string_view::npos) {
    why = "it has a NUL in it";
    return std::nullopt;
  }
  KeyFile file(g_key_file_new());
  GError *error = nullptr;
  if (text.empty() || g_key_file_load_from_data(file.file_.get(), text.data(), text.size(),
                                                G_KEY_FILE_KEEP_TRANSLATIONS, &error))
    return file;
  why = displayText(error->message);
  g_error_free(error);
  return std::nullopt;
}

std::optional<std::string> KeyFile::string(const char *group, const char *key) const {
  return taken(g_key_file_get_string(file_.get(), group, key, nullptr));
}

std::optional<std::string> KeyFile::localString(const char *group, const char *key) const {
  return taken(g_key_file_get_locale_string(file_.get(), group, key, nullptr, nullptr));
}

bool KeyFile::flag(const char *group, const char *key) const {
  return g_key_file_get_boolean(file_.get(), group, key, nullptr) != 0;
}

std::vector<std::string> KeyFile::strings(const char *group, const char *key) const {
  return taken(g_key_file_get_string_list(file_.get(), group, key, nullptr, nullptr));
}

std::vector<std::string> KeyFile::keys(const char *group) const {
  return taken(g_key_file_get_keys(file_.get(), group, nullptr, nullptr));
}

bool KeyFile::hasGroup(const char *group) const {
  return g_key_file_has_group(file_.get(), group) != 0;
}

} // namespace tesker
