// SettingsFuzzer.cpp - what the environment and the files of settings say, out of the input: a word
// for variables in its first line, a key in its second, and then a tree (Tree.h) whose "home" and
// "system" are configuration directories and whose "names" is a bootstrap directory.
#include "fuzz/Check.h"
#include "fuzz/Silence.h"
#include "fuzz/Tree.h"
#include "platform/foundation/NSBundle.h"
#include "platform/foundation/NSException.h"
#include "platform/foundation/NSUserDefaults.h"
#include "platform/ports/BootstrapService.h"
#include "platform/ports/HostInfo.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <sys/stat.h>

using namespace tesker;

namespace {

void setTo(const char *variable, const std::string &value) {
  check(::setenv(variable, value.c_str(), 1) == 0);
}

void tryProcessor(const std::string &word) {
  setTo("TESKER_HOST_CPU", word);
  host_basic_info info{};
  check(host_info(host_self(), HOST_BASIC_INFO, info, HOST_BASIC_INFO_COUNT) == 0);
  const auto named = processorFromText(word.c_str());
  check(!named || *named == HostProcessor{info.cpu_type, info.cpu_subtype});
  const auto byNumbers =
      processorFromText(std::to_string(info.cpu_type) + "/" + std::to_string(info.cpu_subtype));
  check(byNumbers == HostProcessor{info.cpu_type, info.cpu_subtype});
}

void tryServices(const std::string &word, const std::string &names) {
  setTo("TESKER_BOOTSTRAP_DIR", "");
  setTo("XDG_RUNTIME_DIR", word);
  check(bootstrapDirectory().ends_with("/bootstrap"));
  setTo("TESKER_BOOTSTRAP_DIR", names);
  (void)::chmod(names.c_str(), 0700);
  const auto service = BootstrapService::checkIn(names, word);
  port_t port = PORT_NULL;
  check((bootstrap_look_up(bootstrap_port(), word, port) == BOOTSTRAP_SUCCESS) ==
        static_cast<bool>(service));
}

Ref<NSDictionary> pairOf(std::string_view text) {
  auto pair = NSDictionary::create();
  pair->setObjectForKey(NSString::create(text), NSString::create(text));
  return pair;
}

void trySettings(std::string_view word, std::string_view key, const std::string &top) {
  setTo("XDG_CONFIG_HOME", key.empty() ? "" : top + "/home");
  setTo("HOME", word.empty() ? "" : top);
  setTo("XDG_CONFIG_DIRS", std::string(word) + ":" + top + "/system");
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
          bundle->pathForResource("Info-quorvale", "plist"));
  } catch (const NSException &exception) {
    check(exception.name() == NSParseErrorException);
  }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  silenceLogs();
  Input input(data, size);
  const std::string word(input.upTo('\n'));
  const std::string_view key = input.upTo('\n');
  const Tree tree(input);
  tryProcessor(word);
  tryServices(word, tree.path() + "/names");
  trySettings(word, key, tree.path());
  return 0;
}
