// Searches.h - the searches of one run: what the tool is asked, and what is said when one fails.
#pragma once

#include "command/Arguments.h"
#include "command/Output.h"
#include "master/FinderMasterOptions.h"
#include "master/SearchOutcome.h"
#include "platform/foundation/Deadline.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tesker {

// What the tool is asked, once for each.
struct SearchRequest {
  bool isDock;
  std::string argument;
  std::vector<std::string> paths; // in the argument
  // The text of the last answer, when there is one.
  std::optional<std::string> previous = {};
  // What is known without a search; then there is none.
  std::optional<SearchAnswer> answer = {};

  const char *name() const { return isDock ? "dock" : "list"; }
  // Nothing where it is about several.
  std::optional<std::string> path() const {
    return isDock ? std::nullopt : std::optional(argument);
  }
  std::string key() const { return isDock ? "Dock" : argument; }
};

// Where is searched when nobody says where. What is wrong with the settings about it is noted.
[[nodiscard]] std::vector<std::string> usualPlaces(Diagnostics &diagnostics);

// The program of the tool: what --tool says, or the one that belongs to this command.
[[nodiscard]] std::string toolFor(const Arguments &arguments);

// The program that reads ahead of the tool, which belongs to this command whatever --tool says;
// empty where none is wanted.
[[nodiscard]] std::string readAheadFor(const Arguments &arguments);

// As an error message names it.
[[nodiscard]] std::string named(const SearchRequest &request);

class SearchesUnderWay;

// Everything that goes wrong is said where it happens, and the worst is the status.
class Searches {
public:
  // Both are borrowed.
  Searches(const Arguments &arguments, Diagnostics &diagnostics)
      : arguments_(arguments), diagnostics_(diagnostics) {}

  // One search for each of the paths, or of the usual places where none is given. False when there
  // is nowhere to search.
  [[nodiscard]] bool addPaths(std::vector<std::string> paths);
  // One search for all of them.
  void addDock(std::vector<std::string> paths);
  // What is to be asked, to be completed before it is.
  std::vector<SearchRequest> &requests() { return requests_; }

  // Called with each outcome that is an answer or unchanged, which it may empty.
  using Take = std::function<void(const SearchRequest &, SearchOutcome &)>;
  void run(const Take &take);

  void fail(ExitStatus status, const std::string &text);
  // For an errno of a file that was named on the command line.
  void failFile(const std::string &name, int error);
  ExitStatus status() const { return status_; }
  // Whether a search failed, or its answer lacks something.
  bool incomplete() const { return incomplete_; }

private:
  // The place is where the path stands in a list, as it follows the path.
  void failAt(ExitStatus status, const std::string &path, const std::string &text,
              const std::string &place = {});
  // Of the search for the request.
  void failSearch(ExitStatus status, const SearchRequest &request, const std::string &text);
  void nameUnsearchablePaths(const std::vector<std::size_t> &numbers);
  // The number is that of the request; the answer, whether the next one has any chance.
  using TakeOne = std::function<bool(std::size_t number, SearchOutcome &outcome)>;
  void search(const std::vector<std::size_t> &numbers, const TakeOne &take);
  FinderMasterOptions optionsFor(std::size_t search, SearchesUnderWay &underWay);
  bool takeOutcome(const SearchRequest &request, SearchOutcome &outcome, const Take &take);
  void say(const SearchRequest &request, const SearchFailure &failure,
           const SearchOutcome &outcome);
  std::string whereItWas(const SearchRequest &request, const SearchProgress &progress) const;
  void keepLog(const SearchRequest &request, const SearchOutcome &outcome);
  void reportLog(const SearchRequest &request, const SearchOutcome &outcome);

  const Arguments &arguments_;
  Diagnostics &diagnostics_;
  std::vector<SearchRequest> requests_;
  ExitStatus status_ = ExitStatus::done;
  bool incomplete_ = false;
};

} // namespace tesker
