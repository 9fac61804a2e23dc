// NSUserDefaults.h - settings, by domain and key.
//
// A domain is a named set of settings; the search list says which domains are asked, and in which
// order. Domain DOMAIN is kept in the old-style property lists tesker/defaults/DOMAIN.plist under
// the user's configuration directory ($XDG_CONFIG_HOME, default ~/.config) and under each of the
// system's ($XDG_CONFIG_DIRS, default /etc/xdg); for each key the first file that has it counts.
// An empty variable counts as unset, and a directory that is not absolute is passed over. The
// registration domain has no file: it holds what the program itself takes as given.
//
// A domain's files are read when the domain is first searched and then kept. A missing file is
// empty. One that is malformed or not a dictionary is logged (syslog) and empty.
#pragma once

#include "platform/foundation/NSDictionary.h"

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace tesker {

// The domains that are in every search list at first, below the program's own.
inline constexpr const char *NSGlobalDomain = "NSGlobalDomain";
inline constexpr const char *NSRegistrationDomain = "NSRegistrationDomain";
// The customary name of the domain that holds what a command line says.
inline constexpr const char *NSArgumentDomain = "NSArgumentDomain";

class NSUserDefaults {
public:
  // A set of its own, with nothing registered and no domain read.
  NSUserDefaults();
  NSUserDefaults(const NSUserDefaults &) = delete;
  NSUserDefaults &operator=(const NSUserDefaults &) = delete;
  // The program's one set of settings, made at the first call and kept for the life of the process.
  static NSUserDefaults &standardUserDefaults();

  // The names of the domains that are asked, in order. At first: the one named as the program's
  // file, NSGlobalDomain, NSRegistrationDomain.
  const std::vector<NSString> &searchList() const { return searchList_; }
  void setSearchList(std::vector<NSString> names) { searchList_ = std::move(names); }

  // Adds the pairs to the registration domain, in place of those of the same keys.
  void registerDefaults(const NSDictionary &defaults);

  // Gives the domain just these pairs, in place of those that it had and of its files; nothing is
  // written. It is asked only where the search list names it.
  void setVolatileDomain(const NSDictionary &pairs, std::string_view name);

  // The value in the first domain of the search list that has the key, lent until the domains
  // change; nil when none has it.
  [[nodiscard]] const NSObject *objectForKey(std::string_view key);
  // The same when it is a string, nil otherwise.
  [[nodiscard]] NSString stringForKey(std::string_view key);

  // All pairs of a domain, whether or not the search list names it; lent until the domains change.
  [[nodiscard]] const NSDictionary &pairsOfDomain(std::string_view name) { return domain(name); }

private:
  NSDictionary &domain(std::string_view name);

  std::vector<NSString> searchList_;
  // Those that have been read, and the registration domain.
  std::map<std::string, Ref<NSDictionary>, std::less<>> domains_;
};

// The path of the user's own file of a domain, the first of those that are read; nil when neither
// the environment nor the password database names a directory for it.
[[nodiscard]] NSString userDefaultsFile(std::string_view domain);
// The paths of all files that a domain is read from, whether or not they are there, in the order in
// which they count.
[[nodiscard]] std::vector<NSString> userDefaultsFiles(std::string_view domain);

} // namespace tesker
