// DescriptionJudgement.h - what is said of a description file, with the place in it.
//
// Nothing of this is done unless somebody listens (Judgement.h).
#pragma once

#include "parsing/Judgement.h"
#include "platform/foundation/NSArray.h"
#include "platform/foundation/NSDictionary.h"
#include "platform/foundation/PropertyList.h"

#include <span>
#include <string_view>
#include <vector>

namespace tesker {

// A description's text while its values are looked at.
class JudgedText {
public:
  // Both are borrowed.
  JudgedText(const NSString &path, std::string_view text);
  ~JudgedText();
  JudgedText(const JudgedText &) = delete;
  JudgedText &operator=(const JudgedText &) = delete;

  // For the parser to fill in; nil when nobody listens.
  PropertyListPlaces *places() { return listens_ ? &places_ : nullptr; }

  // Makes a remark with the place of the value in the newest text, or without one where the value
  // is not from it.
  enum class At { value, key };
  static void remarkOn(const NSObject &value, At at, JudgementCode code, std::string detail,
                       bool isTaken = false);
  // The text could not be parsed.
  void remarkOn(const NSException &malformed) const;
  // Details: the keys that do not count, for they are there again.
  void remarkOnRepeatedKeys() const;

private:
  Remark placed(Remark remark, std::size_t offset) const;

  const bool listens_;
  const NSString path_;
  const std::string_view text_;
  PropertyListPlaces places_;
  mutable std::vector<std::size_t> lineStarts_; // once a place has been asked for
  JudgedText *const before_;
};

// The file could not be read, or is too large.
void remarkOnUnreadable(const NSString &path, int error);

// The value when it is of that kind, nil otherwise; a value of another kind is remarked on.
[[nodiscard]] const NSArray *judgedArray(const NSDictionary &list, std::string_view key);
[[nodiscard]] const NSDictionary *judgedDictionary(const NSDictionary &list, std::string_view key);
// Remarks on a value that is there and not a string; isTaken where it goes into a record even so.
void judgeString(const NSDictionary &list, std::string_view key, bool isTaken = false);

// Remarks on keys that are nearly one of the known ones. Details: all others that are not known.
void judgeKeys(const NSDictionary &list, std::span<const std::string_view> known);

} // namespace tesker
