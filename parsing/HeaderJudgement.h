// HeaderJudgement.h - what is said of the text of an icon header, with the place in it.
//
// Nothing of this is done unless somebody listens (Judgement.h).
#pragma once

#include "parsing/Judgement.h"

#include <cstddef>
#include <string_view>

namespace tesker {

// Line and column, from 1; the column in bytes.
struct HeaderPlace {
  std::size_t line;
  std::size_t column;
};

// A line, or braces, that makes no record.
void remarkOnHeader(HeaderPlace place, std::string_view what);

// The same of braces that could not be read, which are asked once more for the cause. The text is
// what was made of them: "{ " and a body in which bytes beyond ASCII have become two, then " }".
void remarkOnBraces(HeaderPlace start, std::string_view text);

// Details: what braces that were read say without effect.
void tellOfBraces(HeaderPlace start, std::string_view text);

// A detail with its place; the text is made only where it is wanted.
void tellOfHeader(HeaderPlace place, JudgementCode code, std::string_view detail);

} // namespace tesker
