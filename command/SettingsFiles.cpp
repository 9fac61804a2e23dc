#include "command/SettingsFiles.h"

#include "command/DisplayText.h"
#include "command/Output.h"
#include "platform/foundation/NSUserDefaults.h"
#include "platform/foundation/PropertyList.h"

#include <algorithm>
#include <cerrno>
#include <iterator>

namespace tesker {

namespace {

// Each costs a look through the text for its line.
constexpr std::size_t kMostComplaints = 10;

std::string placeIn(const NSString &file, const TextPlace &place) {
  return displayPlace(file.bytes(), place.line, place.column) + ": ";
}

// Throws PropertyListError.
SettingsRead readText(const NSString &file, std::string_view text, const UseSettings &use) {
  SettingsRead read;
  PropertyListPlaces places;
  const auto value = propertyList(text, &places);
  const auto placeOf = [&](const NSObject &one) {
    return placeIn(file, placeInText(text, places.of.at(&one).value));
  };
  if (const NSDictionary *pairs = value->asDictionary())
    use(*pairs, [&](const NSObject &one, std::string_view what) {
      if (read.complaints.size() < kMostComplaints)
        read.complaints.push_back(placeOf(one) + std::string(what));
    });
  else
    read.whyIgnored = placeOf(*value) + "not a dictionary";
  return read;
}

} // namespace

SettingsRead readSettings(const NSString &file, const UseSettings &use) {
  const Result<std::string> text = contentsOfFile(file, kLargestPropertyListFile);
  if (!text && (text.error() == ENOENT || text.error() == ENOTDIR))
    return {};
  if (!text)
    return {fileError(std::string(file.bytes()), text.error()), {}};
  try {
    return readText(file, *text, use);
  } catch (const PropertyListError &error) {
    return {placeIn(file, error.where()) + displayText(error.expected()), {}};
  }
}

std::vector<std::string> problemsOfSettings(std::string_view domain, const LookAtSettings &look) {
  std::vector<std::string> problems;
  bool othersCount = true;
  for (const NSString &file : userDefaultsFiles(domain)) {
    SettingsRead read =
        readSettings(file, [&](const NSDictionary &pairs, const ComplainOfSetting &complain) {
          othersCount = look(pairs, complain);
        });
    if (read.whyIgnored)
      problems.push_back(*read.whyIgnored + "; the settings in this file are ignored");
    std::ranges::move(read.complaints, std::back_inserter(problems));
    if (!othersCount)
      break;
  }
  return problems;
}

} // namespace tesker
