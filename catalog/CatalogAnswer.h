// CatalogAnswer.h - what a catalog knows of one search path, and which outcomes of searches it
// takes. Internal to the catalog.
#pragma once

#include "catalog/ApplicationCatalog.h"
#include "catalog/SavedAnswers.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tesker {

class CatalogAnswer {
public:
  CatalogAnswer(std::string path, const ApplicationCatalogOptions &options);

  const std::string &path() const { return path_; }
  const CatalogPathState &state() const { return state_; }
  // What a search is to be compared with; nothing where no answer is known.
  [[nodiscard]] std::optional<std::string_view> text() const;

  // The records that were saved; none where nothing was.
  std::vector<SearchRecord> load();

  // What is to be done with the records of before, and what is to be told.
  struct Judged {
    std::optional<std::vector<SearchRecord>> records = {}; // that take their place
    std::optional<CatalogProblem> problem = {};
  };
  // wasThere: the path, when the search began. hasRecords, isFile: there are some now; one is of
  // the path itself.
  Judged take(SearchOutcome outcome, bool wasThere, bool hasRecords, bool isFile);

  // Has the next search bring all records, whatever was taken before.
  void forget() { state_.isKnown = false; }

  // Saves the answer unless the file has it and is young. A problem is told once.
  std::optional<CatalogProblem> save(const Deadline &deadline);
  // Whether save() has something to do that it could not do for somebody else's lock.
  bool isSaveOwed() const { return isSaveOwed_; }
  // Says to others that the answer on disk is kept current where that is so, and only as long as
  // the last search was a good one.
  void markCurrent(bool isKept);

private:
  CatalogProblem problem(CatalogProblem::Kind kind, std::string reason) const {
    return {kind, path_, std::move(reason)};
  }

  std::string path_;
  SavedAnswerFile file_;
  CatalogPathState state_;
  std::string text_;
  bool isTextSaved_ = false; // in the file of the version
  std::optional<FileVersion> savedVersion_;
  std::int64_t savedTime_ = 0;
  bool isSaveOwed_ = false;
  bool isGood_ = false; // the last search has brought a whole answer
  int saveError_ = 0;   // that was told last
  FileDescriptor mark_;
};

} // namespace tesker
