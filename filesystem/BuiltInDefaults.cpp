#include "filesystem/BuiltInDefaults.h"

#include "platform/foundation/NSUserDefaults.h"
#include "platform/foundation/PropertyList.h"

namespace tesker {

void registerTeskerDefaults() {
  NSUserDefaults &defaults = NSUserDefaults::standardUserDefaults();
  std::vector<NSString> searchList = defaults.searchList();
  searchList.insert(searchList.begin(), "Tesker"_ns);
  defaults.setSearchList(std::move(searchList));
  const Ref<NSObject> builtIn = propertyList(kTeskerDefaults);
  defaults.registerDefaults(*builtIn->asDictionary());
}

} // namespace tesker
