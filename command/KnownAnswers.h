// KnownAnswers.h - what was found last, for the searches of one run: to be compared with, or to be
// answered with.
//
// It is kept for the tool that belongs to this command alone. That it cannot be kept is nothing
// that a person has asked for, and only said with -v.
#pragma once

#include "catalog/SavedAnswers.h"
#include "command/Arguments.h"
#include "command/Output.h"
#include "command/Searches.h"

#include <map>
#include <string>

namespace tesker {

class KnownAnswers {
public:
  // Both are borrowed.
  KnownAnswers(const Arguments &arguments, Diagnostics &diagnostics);

  // Has each request compared with what was found last; or, where that is asked for, answered with
  // it, and says how old it is, and for which requests there is nothing.
  void prepare(Searches &searches);

  // Takes the outcome of a request: an unchanged one becomes the answer that it was compared with,
  // and a good one is what the next run knows.
  void take(const SearchRequest &request, SearchOutcome &outcome);

private:
  void compare(Searches &searches);
  void answer(Searches &searches);
  SavedAnswerFile fileOf(const SearchRequest &request) const;
  void save(const SearchRequest &request, const std::string &text, const SavedAnswer *same);

  const Arguments &arguments_;
  Diagnostics &diagnostics_;
  const std::string directory_; // empty: nothing is kept
  std::map<const SearchRequest *, SavedAnswer> known_;
};

} // namespace tesker
