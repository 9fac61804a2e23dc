#include "parsing/DescriptionJudgement.h"

#include "platform/foundation/NearWords.h"

#include <cerrno>
#include <string>
#include <utility>

namespace tesker {

namespace {

thread_local JudgedText *newest = nullptr;

void remarkOnKind(const NSDictionary &list, std::string_view key, const char *expected) {
  if (const NSObject *value = list.objectForKey(key))
    JudgedText::remarkOn(*value, JudgedText::At::value, JudgementCode::wrongKind,
                         std::string(key) + " is not " + expected);
}

} // namespace

JudgedText::JudgedText(const NSString &path, std::string_view text)
    : listens_(Judge::current() != nullptr), path_(path), text_(text),
      before_(std::exchange(newest, this)) {}

JudgedText::~JudgedText() { newest = before_; }

Remark JudgedText::placed(Remark remark, std::size_t offset) const {
  const TextPlace place = placeInText(text_, offset);
  remark.file = path_.bytes();
  remark.line = place.line;
  remark.column = place.column;
  return remark;
}

void JudgedText::remarkOn(const NSObject &value, At at, JudgementCode code, std::string detail) {
  remark([&] {
    Remark made{.code = code, .detail = std::move(detail)};
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

void remarkOnUnreadable(const NSString &path, int error) {
  remark([&] {
    JudgementCode code = codeOfError(error, JudgementCode::noDescription);
    if (code == JudgementCode::noPermission)
      code = JudgementCode::notReadable;
    if (error == EFBIG)
      code = JudgementCode::descriptionTooLarge;
    if (error == EINVAL) // what is opened and is not a regular file
      code = JudgementCode::specialFile;
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

void judgeString(const NSDictionary &list, std::string_view key) {
  if (!list.stringForKey(key))
    remarkOnKind(list, key, "a string");
}

void judgeKeys(const NSDictionary &list, std::span<const std::string_view> known) {
  if (Judge::current() == nullptr)
    return;
  for (const auto &[key, value] : list) {
    const std::string_view near = nearestWord(key.bytes(), known);
    if (!near.empty())
      JudgedText::remarkOn(*value, JudgedText::At::key, JudgementCode::unknownKey,
                           std::string(key.bytes()) + ": did you mean " + std::string(near) + "?");
  }
}

} // namespace tesker
