// SettingsFuzzer.cpp - what the environment and the files of settings say, out of the input: a word
// for variables in its first line, a key in its second, and then a tree (Tree.h) whose "home" and
// "system" are configuration directories and whose "names" is a bootstrap directory. Behind the
// byte 01 the first line says which system call fails (FailingCalls.h), a priority, and what is
// wrong with the bootstrap directory.
#include "fuzz/Check.h"
#include "fuzz/FailingCalls.h"
#include "fuzz/Silence.h"
#include "fuzz/Tree.h"
#include "platform/foundation/NSBundle.h"
#include "platform/foundation/NSException.h"
#include "platform/foundation/NSUserDefaults.h"
#include "platform/ports/BootstrapService.h"
#include "platform/ports/HostInfo.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>

using namespace tesker;

namespace {

void setTo(const char *variable, const std::string &value) {
  check(::setenv(variable, value.c_str(), 1) == 0);
}

void tryProcessor(const std::string &word) {
  setTo("TESKER_HOST_CPU", word);
  host_basic_info info{};
  check(host_info(host_self(), HOST_BASIC_INFO, info, HOST_BASIC_INFO_COUNT) == 0);
  check(host_info(host_self(), HOST_BASIC_INFO, info, HOST_BASIC_INFO_COUNT - 1) != 0);
  const auto named = processorFromText(word.c_str());
  check(!named || *named == HostProcessor{info.cpu_type, info.cpu_subtype});
  const auto byNumbers =
      processorFromText(std::to_string(info.cpu_type) + "/" + std::to_string(info.cpu_subtype));
  check(byNumbers == HostProcessor{info.cpu_type, info.cpu_subtype});
}

// A row says of itself what it was asked for by.
void tryUsers(const std::string &word) {
  OperatingSystem &system = OperatingSystem::current();
  if (const auto user = system.userWithName(word)) {
    const auto again = system.userWithId(user->uid);
    check(again && again->uid == user->uid);
  }
  std::array<gid_t, 16> groups{};
  const int count = system.supplementaryGroups(groups.data(), groups.size());
  (void)system.groupNameWithId(::getgid());
  for (int i = 0; i < count; ++i)
    (void)system.groupNameWithId(groups[static_cast<std::size_t>(i)]);
}

// As far as this process may, which gets its own one again.
void tryPriority(int priority) {
  check(task_priority(PORT_NULL, 0, true) == EINVAL);
  const int before = ::getpriority(PRIO_PROCESS, 0);
  if (task_priority(task_self(), priority, priority % 2 == 0) == 0)
    check(::getpriority(PRIO_PROCESS, 0) == std::clamp(10 - priority, -20, 19));
  (void)::setpriority(PRIO_PROCESS, 0, before);
}

// The directory is private, or is named or open in some other way.
void tryServices(const std::string &word, const std::string &names, unsigned choice,
                 const FailingCalls &failing) {
  constexpr std::array kEnds = {"", "/", "/./"};
  constexpr std::array<mode_t, 3> kModes = {0700, 0755, 01700};
  const std::string directory = names + kEnds[choice % kEnds.size()];
  setTo("TESKER_BOOTSTRAP_DIR", "");
  setTo("XDG_RUNTIME_DIR", word);
  check(bootstrapDirectory().ends_with("/bootstrap"));
  setTo("TESKER_BOOTSTRAP_DIR", directory);
  (void)OperatingSystem::current().changeMode(names.c_str(), kModes[choice / 3 % kModes.size()]);
  const auto service = BootstrapService::checkIn(directory, word);
  port_t port = PORT_NULL;
  check(bootstrap_look_up(PORT_NULL, word, port) == BOOTSTRAP_NOT_PRIVILEGED);
  const bool isFound = bootstrap_look_up(bootstrap_port(), word, port) == BOOTSTRAP_SUCCESS;
  check(isFound == static_cast<bool>(service) || failing.hasFailed());
  port_deallocate(port); // found again by a new connection
  const bool isFoundAgain = bootstrap_look_up(bootstrap_port(), word, port) == BOOTSTRAP_SUCCESS;
  check(isFoundAgain == isFound || failing.hasFailed());
}

Ref<NSDictionary> pairOf(std::string_view text) {
  auto pair = NSDictionary::create();
  pair->setObjectForKey(NSString::create(text), NSString::create(text));
  return pair;
}

void trySettings(std::string_view word, std::string_view key, const std::string &top,
                 const FailingCalls &failing) {
  setTo("XDG_CONFIG_HOME", key.empty() ? "" : top + "/home");
  setTo("HOME", word.empty() ? "" : top);
  setTo("XDG_CONFIG_DIRS", std::string(word) + ":" + top + "/system");
  check(NSUserDefaults::standardUserDefaults().searchList().size() == 3);
  NSUserDefaults defaults;
  defaults.setSearchList(
      {NSString::create(word), NSString::create(NSGlobalDomain), "NSRegistrationDomain"_ns});
  const NSObject *value = defaults.objectForKey(key);
  check(value == defaults.objectForKey(key));
  check((value != nullptr ? value->asString() : NSString()) == defaults.stringForKey(key));
  if (value == nullptr) {
    defaults.registerDefaults(*pairOf(key));
    check(defaults.stringForKey(key) == NSString::create(key));
  }
  defaults.setVolatileDomain(*pairOf(key), word);
  check(defaults.stringForKey(key) == NSString::create(key));
  const auto bundle = NSBundle::bundleWithPath(NSString::create(top + "/home"));
  try {
    check(!bundle || !bundle->infoDictionary() ||
          bundle->pathForResource("Info-quorvale", "plist") || failing.hasFailed());
  } catch (const NSException &exception) {
    check(exception.name() == NSParseErrorException);
  }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  silenceLogs();
  Input input(data, size);
  Input first(input.upTo('\n'));
  const std::string word(first.upTo('\x01'));
  const std::string_view key = input.upTo('\n');
  const Tree tree(input);
  FailingCalls failing(first);
  const ScopedOperatingSystem scoped(failing);
  tryProcessor(word);
  tryUsers(word);
  if (!first.isEmpty())
    tryPriority(first.byte());
  tryServices(word, tree.path() + "/names", first.byte(), failing);
  trySettings(word, key, tree.path(), failing);
  check(!NSBundle::mainBundle().pathForResource(key, "quorvale"));
  return 0;
}
