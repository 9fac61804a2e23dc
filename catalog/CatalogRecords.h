// CatalogRecords.h - the records of several answers in one list, and what they answer. Internal to
// the catalog.
//
// One list, in the order of the answers, since that order says which of several applications comes
// first.
#pragma once

#include "catalog/AnswerDiff.h"
#include "catalog/Handlers.h"
#include "catalog/Programs.h"

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace tesker {

class CatalogRecords {
public:
  // So many answers, without records.
  explicit CatalogRecords(std::size_t answers) : ends_(answers) {}

  const std::vector<SearchRecord> &all() const { return all_; }
  [[nodiscard]] std::span<const SearchRecord> of(std::size_t answer) const;

  // An answer's new records.
  struct Fresh {
    std::size_t answer;
    std::vector<SearchRecord> records;
  };
  // What was replaced, and how it differs from what is there now. Good until the records are
  // replaced again.
  struct Replaced {
    struct Changes {
      std::size_t answer;
      std::vector<RecordChange> list;
    };
    std::vector<std::vector<SearchRecord>> before;
    std::vector<Changes> changes; // of those answers that were given
  };
  // The answers in their order. After an exception nothing is changed.
  Replaced replace(std::vector<Fresh> fresh);

  // Made when they are first asked for; good until the records are replaced.
  [[nodiscard]] const std::vector<Program> &programs() const;
  [[nodiscard]] const FileTypes &types() const;

private:
  struct Index {
    explicit Index(const std::vector<SearchRecord> &records)
        : programs(programsIn(records)), types(programs, nobodysPreference) {}
    const std::vector<Program> programs;
    const PreferredApplications nobodysPreference = {};
    const FileTypes types;
  };
  const Index &index() const;
  std::size_t beginningOf(std::size_t answer) const { return answer == 0 ? 0 : ends_[answer - 1]; }

  std::vector<SearchRecord> all_;
  std::vector<std::size_t> ends_; // of each answer, in all_
  mutable std::unique_ptr<const Index> index_;
};

} // namespace tesker
