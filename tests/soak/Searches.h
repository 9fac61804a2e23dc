// Searches.h - the kinds of searches that a soak is mixed of, each with what it may end in.
#pragma once

#include "master/FinderMaster.h"
#include "tests/master/HostileTools.h"
#include "tests/soak/RandomTree.h"

#include <chrono>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

namespace tesker::soak {

// What became of one search.
struct Done {
  std::string kind;
  std::string ending = {};
  std::vector<std::string> wrong = {}; // none: it ended as it may
  bool mayLeaveProcesses = false;
};

// What is being made, for one who has to say where it hangs.
inline const char *volatile currentSearch = "the first one";

class Searches {
public:
  // Trees are made in the directory. Times are chosen by how long searches take, which is measured
  // first.
  Searches(std::string directory, unsigned seed);

  // One of a random kind. What is asked, and what happens to whom, depends on the seed and the
  // number only.
  Done make(std::size_t number);
  // One of the first kind.
  Done makeOrdinary();

private:
  struct Kind {
    const char *name;
    std::size_t weight;
    void (Searches::*search)(Done &done);
  };
  static const std::vector<Kind> &kinds();

  void ordinary(Done &done);
  void cancelled(Done &done);
  void endedByItsDeadline(Done &done);
  void killed(Done &done);
  void stopped(Done &done);
  void slowed(Done &done);
  void withHostileTool(Done &done);
  void ofHostileMaster(Done &done);

  // Asks one of the trees; the search may also fail in these ways.
  void ask(Done &done, FinderMasterOptions options,
           std::initializer_list<test::Ending> alsoAllowed = {});
  void askMeddledTool(Done &done, const std::string &plan, std::chrono::nanoseconds timeout,
                      std::initializer_list<test::Ending> alsoAllowed = {});
  void measure();
  FinderMasterOptions options(const char *tool, std::chrono::nanoseconds timeout) const;
  std::unique_ptr<RandomTree> makeTree(std::size_t number);
  std::optional<std::string> anyPrevious(const Request &request);
  // A time at which an ordinary search has not begun, runs, or is over.
  std::chrono::nanoseconds anyMoment();

  const std::string directory_;
  const unsigned seed_;
  Random random_;
  std::vector<std::unique_ptr<RandomTree>> trees_;
  std::chrono::nanoseconds ordinaryTime_{}; // of a search, as of late
  // How many times as long a hostile tool needs until it has come to its deed.
  double hostileTimes_ = 1;
};

} // namespace tesker::soak
