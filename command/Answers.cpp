#include "command/Answers.h"

#include "command/KnownAnswers.h"
#include "command/Searches.h"
#include "parsing/RecordEncoding.h"

#include <iterator>

namespace tesker {

namespace {

Answer searched(const Arguments &arguments, Diagnostics &diagnostics) {
  Answer answer;
  Searches searches(arguments, diagnostics);
  KnownAnswers known(arguments, diagnostics);
  if (searches.addPaths(arguments.paths)) {
    known.prepare(searches);
    searches.run([&](const SearchRequest &request, SearchOutcome &outcome) {
      known.take(request, outcome);
      answer.isThere = true;
      auto &records = std::get<SearchAnswer>(outcome.result).records;
      answer.records.insert(answer.records.end(), std::make_move_iterator(records.begin()),
                            std::make_move_iterator(records.end()));
    });
  }
  answer.status = searches.status();
  answer.incomplete = searches.incomplete();
  return answer;
}

} // namespace

Answer answerIn(const std::string &file, const Deadline &deadline, Diagnostics &diagnostics) {
  const Result<std::string> text = readInput(file, kLargestContents, deadline);
  if (!text) {
    diagnostics.fileError(file, text.error());
    return {.records = {}, .status = ExitStatus::failed};
  }
  const auto refused = [&](const char *why) -> Answer {
    diagnostics.error(inputName(file) + ": " + why);
    return {.records = {}, .status = ExitStatus::failed};
  };
  // Text is short where records are equal, and records are not.
  if (EncodedRecords(*text).count() > kMostRecords)
    return refused("more records than a search answers");
  std::optional<std::vector<SearchRecord>> records = decodeRecords(*text);
  if (!records)
    return refused(kNotEncodedRecords);
  return {.records = std::move(*records), .isThere = true};
}

Answer answerFor(const Arguments &arguments, Diagnostics &diagnostics) {
  if (arguments.answerFile.empty())
    return searched(arguments, diagnostics);
  return answerIn(arguments.answerFile, Deadline::in(arguments.timeout), diagnostics);
}

} // namespace tesker
