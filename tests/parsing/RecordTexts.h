// RecordTexts.h - records as texts that a test can compare.
#pragma once

#include "platform/foundation/NSArray.h"
#include "platform/foundation/NSString.h"

#include <string>
#include <vector>

namespace tesker::test {

// Each record's description, with the directory's path written as "@"; one text "(nil)" for nil.
inline std::vector<std::string> recordTexts(const NSArray *records, const std::string &directory) {
  if (records == nullptr)
    return {"(nil)"};
  std::vector<std::string> texts;
  for (const Ref<NSObject> &record : *records) {
    std::string text(record->description()->bytes());
    for (std::size_t at; (at = text.find(directory)) != std::string::npos;)
      text.replace(at, directory.size(), "@");
    texts.push_back(std::move(text));
  }
  return texts;
}

} // namespace tesker::test
