// JudgementTexts.h - what the codes of judgements mean, in words for people.
//
// What is quoted from files is made fit to be shown (DisplayText.h).
#pragma once

#include "parsing/Judgement.h"

#include <string>
#include <string_view>

namespace tesker {

// One clause without a full stop: "it has no execute permission".
[[nodiscard]] std::string sentenceOf(const Remark &remark);

// What to do about it, as an order; empty where there is nothing to do. The path is the entry's.
[[nodiscard]] std::string adviceOn(const Remark &remark, std::string_view path);

// Some lines that say what the code means, each with a line feed.
[[nodiscard]] std::string explanationOf(JudgementCode code);

// Whether the code says that something may be wrong; the others are the ordinary course of things.
[[nodiscard]] bool isComplaint(JudgementCode code);

} // namespace tesker
