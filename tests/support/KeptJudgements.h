// KeptJudgements.h - what a judge was told, by path.
#pragma once

#include "parsing/Judgement.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace tesker::test {

class KeptJudgements final : public Judge {
public:
  void note(const Judgement &judgement) override { all.push_back(judgement); }

  // The word of the verdict on the path, and behind blanks those of its remarks; "" when there is
  // no verdict on it, "twice" when there is more than one.
  std::string of(std::string_view path) const {
    if (std::ranges::count(all, path, &Judgement::path) > 1)
      return "twice";
    const Judgement *judgement = at(path);
    if (judgement == nullptr)
      return {};
    std::string words(wordOf(judgement->verdict.code));
    for (const Remark &remark : judgement->remarks)
      words.append(" ").append(wordOf(remark.code));
    return words;
  }

  // Nil when there is no verdict on it.
  const Judgement *at(std::string_view path) const {
    const auto found = std::ranges::find(all, path, &Judgement::path);
    return found == all.end() ? nullptr : &*found;
  }

  // The remark of that code on the path, or the verdict; an empty one when there is none.
  Remark remarkOn(std::string_view path, JudgementCode code) const {
    const Judgement *judgement = at(path);
    if (judgement == nullptr)
      return {.code = code};
    if (judgement->verdict.code == code)
      return judgement->verdict;
    const auto found = std::ranges::find(judgement->remarks, code, &Remark::code);
    return found == judgement->remarks.end() ? Remark{.code = code} : *found;
  }

  std::size_t records() const {
    std::size_t sum = 0;
    for (const Judgement &judgement : all)
      sum += judgement.records;
    return sum;
  }

  std::vector<Judgement> all;
};

} // namespace tesker::test
