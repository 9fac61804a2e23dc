// WrapperText.cpp - what a wrapper or a header says, as text.
#include "making/WrapperDescription.h"

#include "platform/foundation/NSArray.h"
#include "platform/foundation/PropertyListDescription.h"

namespace tesker {

namespace {

Ref<NSDictionary> typeOf(const WrapperType &type) {
  const auto extensions = NSArray::create();
  for (const std::string &extension : type.extensions)
    extensions->addObject(NSString::create(extension).object());
  auto pairs = NSDictionary::create();
  pairs->setObjectForKey(extensions, "NSExtensions"_ns);
  if (!type.icon.empty())
    pairs->setObjectForKey(NSString::create(type.icon), "NSIcon"_ns);
  return pairs;
}

} // namespace

std::string textOf(const WrapperDescription &description) {
  const auto pairs = NSDictionary::create();
  pairs->setObjectForKey(NSString::create(description.name), "NSExecutable"_ns);
  if (!description.icon.empty())
    pairs->setObjectForKey(NSString::create(description.icon), "NSIcon"_ns);
  const auto types = NSArray::create();
  for (const WrapperType &type : description.types)
    types->addObject(typeOf(type));
  if (types->count() > 0)
    pairs->setObjectForKey(types, "NSTypes"_ns);
  if (description.offersServices)
    pairs->setObjectForKey(NSArray::create(), "NSServices"_ns);
  return "{\n" + std::string(descriptionInStringsFileFormat(*pairs).bytes()) + "}\n";
}

std::string headerOf(const WrapperDescription &description) {
  const std::string &name = description.name;
  std::string text = "F\t" + name + "\t" + name + "\t" + description.icon + "\n";
  for (const WrapperType &type : description.types)
    for (const std::string &extension : type.extensions)
      text += "S\t" + extension + "\t" + name + (type.icon.empty() ? "" : "\t" + type.icon) + "\n";
  return text;
}

} // namespace tesker
