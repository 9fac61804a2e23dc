#include "parsing/DescriptionJudgement.h"

#include "platform/foundation/NearWords.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <string>
#include <utility>

namespace tesker {

namespace {

thread_local JudgedText *newest = nullptr;

void remarkOnKind(const NSDictionary &list, std::string_view key, const char *expected,
                  bool isTaken = false) {
  if (Judge::current() == nullptr)
    return;
  if (const NSObject *value = list.objectForKey(key))
    JudgedText::remarkOn(*value, JudgedText::At::value, JudgementCode::wrongKind,
                         std::string(key) + " is not " + expected, isTaken);
}

} // namespace

JudgedText::JudgedText(const NSString &path, std::string_view text)
    : listens_(Judge::current() != nullptr), path_(path), text_(text),
      before_(std::exchange(newest, this)) {}

JudgedText::~JudgedText() { newest = before_; }

Remark JudgedText::placed(Remark remark, std::size_t offset) const {
  if (lineStarts_.empty()) {
    lineStarts_.push_back(0);
    for (std::size_t i = text_.find('\n'); i != std::string_view::npos; i = text_.find('\n', i + 1))
      lineStarts_.push_back(i + 1);
  }
  const auto next = std::ranges::upper_bound(lineStarts_, offset);
  remark.file = path_.bytes();
  remark.line = static_cast<std::size_t>(next - lineStarts_.begin());
  remark.column = offset - *std::prev(next) + 1;
  return remark;
}

void JudgedText::remarkOn(const NSObject &value, At at, JudgementCode code, std::string detail,
                          bool isTaken) {
  if (isDetail(code) && !Judge::currentWantsDetails())
    return;
  remark([&] {
    Remark made{.code = code, .detail = std::move(detail), .isTaken = isTaken};
    if (newest == nullptr)
      return made;
    const auto found = newest->places_.of.find(&value);
    if (found == newest->places_.of.end())
      return made;
    return newest->placed(std::move(made), at == At::key ? found->second.key : found->second.value);
  });
}

void JudgedText::remarkOn(const NSException &malformed) const {
  remark([&] {
    Remark made{.code = JudgementCode::malformedList,
                .detail = malformed.reason(),
                .file = std::string(path_.bytes())};
    if (const auto *error = dynamic_cast<const PropertyListError *>(&malformed)) {
      made.detail = error->expected();
      made.line = error->where().line;
      made.column = error->where().column;
    }
    return made;
  });
}

void JudgedText::remarkOnRepeatedKeys() const {
  if (Judge::currentWantsDetails())
    for (const std::size_t offset : places_.repeatedKeys)
      remark([&] { return placed({.code = JudgementCode::repeatedKey}, offset); });
}

void remarkOnUnreadable(const NSString &path, int error) {
  remark([&] {
    const JudgementCode code = error == EFBIG ? JudgementCode::descriptionTooLarge
                                              : codeOfError(error, JudgementCode::noDescription,
                                                            JudgementCode::notReadable);
    return Remark{.code = code,
                  .detail = code == JudgementCode::noDescription ? "there is no such file" : "",
                  .file = std::string(path.bytes())};
  });
}

const NSArray *judgedArray(const NSDictionary &list, std::string_view key) {
  const NSArray *array = list.arrayForKey(key);
  if (array == nullptr)
    remarkOnKind(list, key, "an array");
  return array;
}

const NSDictionary *judgedDictionary(const NSDictionary &list, std::string_view key) {
  const NSDictionary *dictionary = list.dictionaryForKey(key);
  if (dictionary == nullptr)
    remarkOnKind(list, key, "a dictionary");
  return dictionary;
}

void judgeString(const NSDictionary &list, std::string_view key, bool isTaken) {
  if (Judge::current() != nullptr && !list.stringForKey(key))
    remarkOnKind(list, key, "a string", isTaken);
}

void judgeKeys(const NSDictionary &list, std::span<const std::string_view> known) {
  if (Judge::current() == nullptr)
    return;
  for (const auto &[key, value] : list) {
    const std::string_view near = nearestWord(key.bytes(), known);
    if (!near.empty())
      JudgedText::remarkOn(*value, JudgedText::At::key, JudgementCode::unknownKey,
                           std::string(key.bytes()) + ": did you mean " + std::string(near) + "?");
    else if (std::ranges::find(known, key.bytes()) == known.end())
      JudgedText::remarkOn(*value, JudgedText::At::key, JudgementCode::ignored,
                           "nobody looks for " + std::string(key.bytes()));
  }
}

} // namespace tesker
