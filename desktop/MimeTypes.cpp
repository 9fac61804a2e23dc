#include "desktop/MimeTypes.h"

#include "platform/foundation/Text.h"

#include <algorithm>
#include <charconv>
#include <optional>

namespace tesker {

namespace {

constexpr unsigned kUsualWeight = 50;

std::optional<std::string> databaseFile(const std::string &path, Reports &reports) {
  return readOrReport(path, kLargestDatabaseFile, reports);
}

// Calls with both words of each line that has two.
template <class Take> void eachPair(std::string_view text, Take take) {
  for (const std::string_view line : piecesOf(text, '\n'))
    if (const std::size_t blank = line.find(' '); blank != std::string_view::npos)
      take(std::string(line.substr(0, blank)), std::string(line.substr(blank + 1)));
}

// The extension of a glob that is just that; empty otherwise.
std::string_view extensionOfGlob(std::string_view glob) {
  if (!glob.starts_with("*."))
    return {};
  const std::string_view extension = glob.substr(2);
  return extension.find_first_of("*?[]./\\") == std::string_view::npos ? extension
                                                                       : std::string_view();
}

} // namespace

void MimeTypes::add(const std::string &directory, Reports &reports) {
  const std::string database = directory + "/mime/";
  if (const auto weighted = databaseFile(database + "globs2", reports))
    addGlobs(*weighted, true);
  else if (const auto plain = databaseFile(database + "globs", reports))
    addGlobs(*plain, false);
  if (const auto aliases = databaseFile(database + "aliases", reports))
    eachPair(*aliases, [&](const std::string &alias, const std::string &type) {
      aliases_.try_emplace(alias, type);
    });
  if (const auto subclasses = databaseFile(database + "subclasses", reports))
    eachPair(*subclasses, [&](const std::string &type, const std::string &parent) {
      parents_[type].push_back(parent);
    });
}

void MimeTypes::addGlobs(std::string_view text, bool hasWeights) {
  std::set<std::string> ends;
  for (const std::string_view line : piecesOf(text, '\n'))
    if (!line.empty() && line.front() != '#')
      addGlob(line, hasWeights, ends);
  ended_.insert(ends.begin(), ends.end());
}

// "WEIGHT:TYPE:GLOB" with flags behind another colon, or "TYPE:GLOB". A line with flags stands
// again without them, for readers that know none.
void MimeTypes::addGlob(std::string_view line, bool hasWeight, std::set<std::string> &ends) {
  std::vector<std::string_view> fields = piecesOf(line, ':');
  unsigned weight = kUsualWeight;
  if (hasWeight) {
    std::from_chars(fields[0].data(), fields[0].data() + fields[0].size(), weight);
    fields.erase(fields.begin());
  }
  if (fields.size() < 2 || ended_.contains(fields[0]) ||
      (!passedOver_.empty() && fields[0].starts_with(passedOver_)))
    return;
  if (fields[1] == "__NOGLOBS__") {
    ends.emplace(fields[0]);
    return;
  }
  const bool tellsCase = fields.size() > 2 && fields[2] == "cs";
  const std::string_view plain = extensionOfGlob(fields[1]);
  const auto asWritten = claims_.find(plain);
  if (plain.empty() || (!tellsCase && asWritten != claims_.end() &&
                        asWritten->second.type == fields[0] && plain != withoutCase(plain)))
    return;
  const std::string extension = tellsCase ? std::string(plain) : withoutCase(plain);
  const auto [claim, isNew] = claims_.try_emplace(extension, Claim{weight, std::string(fields[0])});
  if (!isNew && weight > claim->second.weight)
    claim->second = {weight, std::string(fields[0])};
}

std::map<std::string, std::string> MimeTypes::typesOfExtensions() const {
  std::map<std::string, std::string> types;
  for (const auto &[extension, claim] : claims_)
    types.emplace(extension, claim.type);
  return types;
}

std::string MimeTypes::unaliased(const std::string &type) const {
  const auto found = aliases_.find(type);
  return found == aliases_.end() ? type : found->second;
}

std::vector<std::string> MimeTypes::withParents(const std::string &type) const {
  std::vector<std::string> types{unaliased(type)};
  std::set<std::string> known{types.front()};
  for (std::size_t i = 0; i < types.size(); ++i)
    if (const auto parents = parents_.find(types[i]); parents != parents_.end())
      for (const std::string &parent : parents->second)
        if (const std::string name = unaliased(parent); known.insert(name).second)
          types.push_back(name);
  return types;
}

} // namespace tesker
