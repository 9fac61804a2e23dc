#include "tests/soak/RandomTree.h"
#include "tests/support/DescribingImage.h"

#include "examples/MachOWriter.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>
#include <utility>

namespace tesker::soak {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kRequests = 8;
constexpr std::size_t kMostDockPaths = 6;

void write(const std::string &path, std::string_view bytes, bool executable) {
  fs::create_directories(fs::path(path).parent_path());
  std::ofstream(path, std::ios::binary).write(bytes.data(), std::ssize(bytes));
  fs::permissions(path, fs::perms(executable ? 0755 : 0644));
}

std::string image(const std::string &header) { return test::imageWithHeader(header); }

std::string stem(const std::string &path) { return fs::path(path).stem().string(); }

// In one order, so that records can be compared whatever theirs was.
std::vector<SearchRecord> sorted(std::vector<SearchRecord> records) {
  for (SearchRecord &record : records)
    std::ranges::sort(record.pairs);
  std::ranges::sort(records, {}, &SearchRecord::pairs);
  return records;
}

std::string listOfThoseOnlyIn(const std::vector<SearchRecord> &some,
                              const std::vector<SearchRecord> &others) {
  std::vector<SearchRecord> only;
  std::ranges::set_difference(some, others, std::back_inserter(only), {}, &SearchRecord::pairs,
                              &SearchRecord::pairs);
  std::string text;
  for (const SearchRecord &record : only) {
    text += " {";
    for (const auto &[key, value] : record.pairs)
      text.append(" ").append(key).append(" = ").append(value).append(";");
    text += " }";
  }
  return text.empty() ? " nothing" : text;
}

} // namespace

std::size_t below(std::size_t bound, Random &random) {
  return std::uniform_int_distribution<std::size_t>(0, bound - 1)(random);
}

std::string Request::faultOf(const SearchAnswer &answer) {
  const auto right = sorted(expected), given = sorted(answer.records);
  if (given != right)
    return "a wrong answer, that lacks" + listOfThoseOnlyIn(right, given) + " and has" +
           listOfThoseOnlyIn(given, right);
  if (text && answer.text != *text)
    return "the right records in another order than before";
  text = answer.text;
  return "";
}

RandomTree::RandomTree(std::string path, Random &random) : path_(std::move(path)) {
  fs::create_directories(path_);
  std::vector<std::string> directories{path_};
  for (std::size_t i = below(5, random); i > 0; --i)
    directories.push_back(directories[below(directories.size(), random)] + "/d" +
                          std::to_string(directories.size()));
  for (const std::string &directory : directories) {
    fs::create_directories(directory);
    places_.push_back(directory);
    for (std::size_t i = below(10, random); i > 0; --i)
      addEntry(directory, random);
  }
  addRequests(random);
}

RandomTree::~RandomTree() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

void RandomTree::addEntry(const std::string &directory, Random &random) {
  const std::string path = directory + "/e" + std::to_string(places_.size());
  const std::size_t kind = below(6, random);
  if (kind == 0)
    addOldWrapper(path + ".app");
  else if (kind == 1)
    addNewWrapper(path + (below(2, random) == 0 ? ".app" : ".debug"), random);
  else if (kind == 2)
    addNothing(path, random);
  else
    addExecutable(path, random);
}

void RandomTree::expect(const std::string &path, SearchRecord record) {
  findings_.push_back({path, std::move(record)});
}

void RandomTree::addExecutable(const std::string &path, Random &random) {
  places_.push_back(path);
  const std::string name = "App" + std::to_string(below(1000, random));
  std::string header = "F\t" + name + "\t" + name + "\ticon\n";
  expect(path,
         {{{"type", "app"}, {"path", path}, {"name", name}, {"icon", "icon"}, {"appName", name}}});
  for (std::size_t i = below(4, random); i > 0; --i) {
    const std::string extension = "x" + std::to_string(i);
    header += "S\t" + extension + "\t" + name + "\tpaper\n";
    expect(path, {{{"type", "extension"},
                   {"name", extension},
                   {"appName", name},
                   {"icon", "paper"},
                   {"path", path}}});
  }
  write(path, image(header), true);
}

void RandomTree::addOldWrapper(const std::string &path) {
  places_.push_back(path);
  write(path + "/registry.table", "{}", false);
  expect(path, {{{"type", "app"},
                 {"path", path + "/" + stem(path)},
                 {"name", stem(path)},
                 {"icon", "NSApplicationIcon"}}});
}

void RandomTree::addNewWrapper(const std::string &path, Random &random) {
  places_.push_back(path);
  const std::string inside = path + "/" + stem(path);
  std::string types;
  for (std::size_t i = below(3, random); i > 0; --i) {
    const std::string extension = "y" + std::to_string(i);
    types += "{ NSExtensions = (" + extension + "); NSIcon = paper; }" + (i > 1 ? "," : "");
    expect(path, {{{"path", inside},
                   {"type", "extension"},
                   {"name", extension},
                   {"appName", stem(path)},
                   {"icon", "paper"},
                   {"priority", "NSPrimary"}}});
  }
  expect(path, {{{"path", inside}, {"type", "app"}, {"name", "Inner"}, {"icon", "edit"}}});
  write(path + "/Resources/Info-quorvale.plist",
        "{ NSExecutable = Inner; NSIcon = edit; NSTypes = (" + types + "); }", false);
}

void RandomTree::addNothing(const std::string &path, Random &random) {
  places_.push_back(path);
  const std::string whole = image("F\tNever\tNever\ticon\n");
  switch (below(5, random)) {
  case 0:
    return write(path, "#!/bin/sh\n", true);
  case 1:
    return write(path, whole, false);
  case 2:
    return write(path, whole.substr(0, 1 + below(28, random)), true); // in its first header
  case 3:
    return write(path + "~", whole, true);
  default:
    return fs::create_symlink("nowhere", path);
  }
}

std::vector<SearchRecord> RandomTree::foundAt(const std::string &path) const {
  std::vector<SearchRecord> found;
  for (const Finding &finding : findings_)
    if (finding.path == path || finding.path.starts_with(path + "/"))
      found.push_back(finding.record);
  return found;
}

void RandomTree::addRequests(Random &random) {
  while (requests_.size() < kRequests) {
    Request request;
    request.isDock = below(2, random) == 0;
    for (std::size_t i = request.isDock ? 1 + below(kMostDockPaths, random) : 1; i > 0; --i) {
      const std::string &place = places_[below(places_.size(), random)];
      request.argument += (request.argument.empty() ? "" : std::string(1, '\0')) + place;
      std::ranges::move(foundAt(place), std::back_inserter(request.expected));
    }
    if (request.expected.empty())
      request.text = "(0)";
    requests_.push_back(std::move(request));
  }
}

} // namespace tesker::soak
