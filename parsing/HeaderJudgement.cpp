#include "parsing/HeaderJudgement.h"

#include "platform/foundation/PropertyList.h"

#include <algorithm>
#include <string>

namespace tesker {

namespace {

// Told of one pair of braces. Each place is counted out in the whole text.
constexpr std::size_t kMostRepeatedKeys = 100;

// From a place in the text that was made of braces to the one in the header.
HeaderPlace placeInHeader(HeaderPlace start, std::string_view text, TextPlace place) {
  std::size_t lineStart = 0;
  for (std::size_t line = 1; line < place.line; ++line)
    lineStart = text.find('\n', lineStart) + 1;
  // The last blank is not in the header, and nothing of these braces stands behind their end.
  const std::size_t offset = std::min(lineStart + place.column - 1, text.size() - 2);
  const std::string_view before = text.substr(lineStart, offset - lineStart);
  const auto second = [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; };
  std::size_t column =
      before.size() + 1 - static_cast<std::size_t>(std::ranges::count_if(before, second));
  if (place.line == 1) // where the text has a blank more
    column = start.column + std::max<std::size_t>(column, 2) - 2;
  return {start.line + place.line - 1, column};
}

} // namespace

void remarkOnHeader(HeaderPlace place, std::string_view what) {
  remark([&] {
    return Remark{.code = JudgementCode::malformedHeaderLine,
                  .detail = std::string(what),
                  .line = place.line,
                  .column = place.column};
  });
}

void remarkOnBraces(HeaderPlace start, std::string_view text) {
  if (Judge::current() == nullptr)
    return;
  try {
    (void)propertyList(text);
    remarkOnHeader(start, "braces that do not hold a dictionary");
  } catch (const PropertyListError &error) {
    remarkOnHeader(placeInHeader(start, text, error.where()), error.expected());
  }
}

void tellOfBraces(HeaderPlace start, std::string_view text) {
  if (!Judge::currentWantsDetails())
    return;
  PropertyListPlaces places;
  const auto pairs = propertyList(text, &places);
  const auto tell = [&](JudgementCode code, std::size_t offset, const char *what) {
    tellOfHeader(placeInHeader(start, text, placeInText(text, offset)), code, what);
  };
  for (std::size_t i = 0; i < std::min(places.repeatedKeys.size(), kMostRepeatedKeys); ++i)
    tell(JudgementCode::repeatedKey, places.repeatedKeys[i], "");
  if (const NSObject *path = pairs->asDictionary()->objectForKey("path"))
    tell(JudgementCode::ignored, places.of.at(path).key, "the path is always the executable's");
}

void tellOfHeader(HeaderPlace place, JudgementCode code, std::string_view detail) {
  if (Judge::currentWantsDetails())
    remark([&] {
      return Remark{
          .code = code, .detail = std::string(detail), .line = place.line, .column = place.column};
    });
}

} // namespace tesker
