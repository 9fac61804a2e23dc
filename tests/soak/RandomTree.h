// RandomTree.h - a small random tree of applications, and what searches of it have to find.
#pragma once

#include "master/SearchOutcome.h"

#include <optional>
#include <random>
#include <string>
#include <vector>

namespace tesker::soak {

using Random = std::mt19937;

// A number from 0 to below.
std::size_t below(std::size_t bound, Random &random);

// A question to the tool, and its right answer.
struct Request {
  bool isDock = false;
  std::string argument; // one path, or some with a NUL between neighbours
  std::vector<SearchRecord> expected;
  // The right answer's text, where it is known: of records it depends on the order of a listing,
  // which stays while nothing changes, and is known once it has been given.
  std::optional<std::string> text = {};

  // What is wrong about the answer, which has to have the expected records, in any order, and the
  // text that is known; empty when nothing is. A right answer's text is known from then on.
  std::string faultOf(const SearchAnswer &answer);
};

// The tree in its own directory. Once made it never changes.
class RandomTree {
public:
  // Makes the tree in a new directory of this path.
  RandomTree(std::string path, Random &random);
  ~RandomTree();
  RandomTree(const RandomTree &) = delete;
  RandomTree &operator=(const RandomTree &) = delete;

  // One of the tree's requests, which live as long as the tree.
  Request &anyRequest(Random &random) { return requests_[below(requests_.size(), random)]; }

private:
  struct Finding {
    std::string path; // of the entry
    SearchRecord record;
  };

  void addEntry(const std::string &directory, Random &random);
  void addExecutable(const std::string &path, Random &random);
  void addOldWrapper(const std::string &path);
  void addNewWrapper(const std::string &path, Random &random);
  void addNothing(const std::string &path, Random &random);
  void expect(const std::string &path, SearchRecord record);
  // What a search of the path finds.
  std::vector<SearchRecord> foundAt(const std::string &path) const;
  void addRequests(Random &random);

  const std::string path_;
  std::vector<std::string> places_; // to search: directories and what is in them
  std::vector<Finding> findings_;
  std::vector<Request> requests_;
};

} // namespace tesker::soak
