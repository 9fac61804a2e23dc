// Why.h - what a search makes of some paths, and why: the question that `why` answers.
//
// The search is the tool's own walk, made in a confined child while a judge listens.
#pragma once

#include "catalog/Handlers.h"
#include "parsing/Judgement.h"

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tesker {

struct WhyQuestion {
  std::string path;       // absolute
  std::string searchPath; // that is searched to find it: itself, or a directory above
  std::chrono::nanoseconds timeout;
  bool followLinkCycles = false; // as the search is to do it
  // The places that are searched, the search path among them, and what the person prefers: what
  // comes before an application that is found. Without places that is not asked.
  std::vector<std::string> places = {};
  PreferredApplications preferred = {};
};

struct WhyAnswer {
  // Of the directories above the path, from the search path on, of the path itself and of what is
  // below it, in the order of their paths.
  std::vector<Judgement> judgements;
  std::optional<std::string> failure; // why the search did not come to its end, as a phrase

  // Of the path itself. Nil when the search did not come to it: then it is the last of those above
  // it that says why.
  const Judgement *itself(std::string_view path) const;
  // The deepest judged entry on the way to the path, itself included; nil when there is none.
  const Judgement *nearest(std::string_view path) const;
};

[[nodiscard]] WhyAnswer searchForReasons(const WhyQuestion &question);

// The first of the places that the path is or lies below; nothing when it lies in none.
[[nodiscard]] std::optional<std::string> placeOf(std::string_view path,
                                                 const std::vector<std::string> &places);

} // namespace tesker
