// MimeTypes.h - what the shared MIME database says: which type files with an extension have, and
// which types are kinds of others.
#pragma once

#include "desktop/Reports.h"

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace tesker {

// No such file of a real database has more; a larger one is reported and passed over.
inline constexpr std::size_t kLargestDatabaseFile = std::size_t{16} << 20;

class MimeTypes {
public:
  // Types whose names begin so are passed over, unless it is empty.
  explicit MimeTypes(std::string_view passedOver = {}) : passedOver_(passedOver) {}

  // Adds the database in DIRECTORY/mime, which counts for less than those added before.
  void add(const std::string &directory, Reports &reports);

  // The type of each extension that a glob of the form "*.ext" names, by the glob of the highest
  // weight; of several of one weight, by the first. Other globs, and extensions with a dot, tell
  // nothing of extensions. Lower case, unless the glob tells letters' cases apart.
  [[nodiscard]] std::map<std::string, std::string> typesOfExtensions() const;

  // The name that the type goes by, for one of its other names.
  [[nodiscard]] std::string unaliased(const std::string &type) const;

  // The type and all that it is a kind of, as they are called; the nearest first, each once.
  [[nodiscard]] std::vector<std::string> withParents(const std::string &type) const;

private:
  struct Claim {
    unsigned weight;
    std::string type;
  };
  void addGlobs(std::string_view text, bool hasWeights);
  void addGlob(std::string_view line, bool hasWeight, std::set<std::string> &ends);

  std::string passedOver_;
  std::map<std::string, Claim, std::less<>> claims_; // by extension
  std::set<std::string, std::less<>> ended_; // types whose globs of further databases do not count
  std::map<std::string, std::string, std::less<>> aliases_;
  std::map<std::string, std::vector<std::string>, std::less<>> parents_;
};

} // namespace tesker
