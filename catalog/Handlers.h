// Handlers.h - what opens which files, by the extension records of an answer.
//
// Extensions are bytes and written without a dot. One matches as it is written; where no record
// claims it so, those match that claim it but for the case of the letters A to Z.
#pragma once

#include "catalog/Programs.h"

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace tesker {

// The applications that a person prefers, by extension: names or paths (isCalled).
using PreferredApplications = std::map<std::string, std::string, std::less<>>;

// The preferred one for the extension, which matches as above; nil when there is none.
[[nodiscard]] const PreferredApplications::value_type *
preferredFor(const PreferredApplications &preferred, std::string_view extension);

// The extension of a file's name or path: what stands behind the last dot. Empty where there is
// none, for a leading dot alone (.profile) does not make one.
[[nodiscard]] std::string_view extensionOf(std::string_view file);

// A program that opens files with an extension.
struct Handler {
  const Program *program;
  const SearchRecord *record; // the first that claims the extension
  std::string_view name;      // the record's appName, else the program's name
  bool primary;               // a record claims it with priority NSPrimary
  bool preferred;             // the person's choice
};

class FileTypes {
public:
  // The programs and what is preferred are borrowed.
  FileTypes(const std::vector<Program> &programs, const PreferredApplications &preferred);

  // Each that a record claims, as it is written there, in the order of their bytes.
  [[nodiscard]] std::vector<std::string_view> extensions() const;

  // Best first: the preferred one, then suitable ones before those that are not, then primary ones
  // before others, then in the order of the answer. Each program once.
  [[nodiscard]] std::vector<Handler> handlersOf(std::string_view extension) const {
    return handlersOf(extension, preferred_);
  }
  // The same for what somebody else prefers.
  [[nodiscard]] std::vector<Handler> handlersOf(std::string_view extension,
                                                const PreferredApplications &preferred) const;

private:
  struct Claim {
    const Program *program;
    const SearchRecord *record;
  };
  const PreferredApplications &preferred_;
  std::map<std::string_view, std::vector<Claim>> claims_;
  // The extensions that are equal but for case, by their lower-case form.
  std::map<std::string, std::vector<std::string_view>, std::less<>> spellings_;
};

} // namespace tesker
