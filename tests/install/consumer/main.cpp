// A program of somebody else's that uses the installed library:
//   consumer DIR ANSWER     prints the names in DIR and the programs that the answer text names
#include "caching/CachingFileManager.h"
#include "parsing/RecordEncoding.h"
#include "platform/foundation/FileContents.h"
#include "platform/foundation/NSDictionary.h"

#include <iostream>

using namespace tesker;

int main(int count, char **words) {
  if (count != 3)
    return 2;
  CachingFileManager &files = CachingFileManager::classObject();
  const auto directory = NSString::create(words[1]);
  const auto names = files.childrenForDirPath(*directory);
  const auto text = contentsOfFile(*NSString::create(words[2]));
  if (!names || !text)
    return 1;
  for (const Ref<NSObject> &name : *names)
    if (files._privateLstatDir(*directory, as<NSString>(&*name)))
      std::cout << "name " << as<NSString>(&*name)->bytes() << '\n';
  const auto records = decodeParsedApp(*NSString::create(*text), NSDefaultMallocZone());
  if (!records)
    return 1;
  for (const Ref<NSObject> &record : *records)
    if (const auto path = as<NSDictionary>(&*record)->objectForKey("path"))
      std::cout << "program " << as<NSString>(&*path)->bytes() << '\n';
  return 0;
}
