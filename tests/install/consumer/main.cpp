// main.cpp - somebody else's program that uses the installed library.
//
//   consumer DIR ANSWER     prints the names in DIR and the programs that the answer text names
#include "caching/CachingFileManager.h"
#include "master/SearchOutcome.h"
#include "parsing/RecordEncoding.h"

#include <fstream>
#include <iostream>
#include <iterator>

using namespace tesker;

int main(int count, char **words) {
  if (count != 3)
    return 2;
  CachingFileManager &files = CachingFileManager::classObject();
  const NSString directory = NSString::create(words[1]);
  const auto names = files.childrenForDirPath(directory);
  if (!names)
    return 1;
  for (const NSString &name : *names)
    if (files._privateLstatDir(directory, name))
      std::cout << "name " << name.bytes() << '\n';

  std::ifstream file(words[2], std::ios::binary);
  const std::string text(std::istreambuf_iterator<char>(file), {});
  const auto records = decodeRecords(text);
  const auto lines = decodeParsedApp(NSString::create(text), NSDefaultMallocZone());
  if (!records || !lines || lines->size() != records->size())
    return 1;
  for (const SearchRecord &record : *records)
    if (const std::string *path = record.find("path"))
      std::cout << "program " << *path << '\n';
  return 0;
}
