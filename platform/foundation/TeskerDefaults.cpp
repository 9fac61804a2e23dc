#include "platform/foundation/TeskerDefaults.h"

#include "platform/foundation/NSUserDefaults.h"
#include "platform/foundation/PropertyList.h"

namespace tesker {

void registerTeskerDefaults() {
  NSUserDefaults &defaults = NSUserDefaults::standardUserDefaults();
  const auto searchList = defaults.searchList()->mutableCopy();
  searchList->insertObject(NSString::create("Tesker"), 0);
  defaults.setSearchList(*searchList);
  const auto builtIn = propertyList(kTeskerDefaults);
  defaults.registerDefaults(*as<NSDictionary>(&*builtIn));
}

} // namespace tesker
