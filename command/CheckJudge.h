// CheckJudge.h - listens to the parsers, and makes findings of what it is told, as it is told.
#pragma once

#include "command/CheckFindings.h"
#include "parsing/TKLine.h"

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace tesker {

// The wrapper that a description at the path lies in, itself or in its Resources; empty where there
// is none.
[[nodiscard]] std::string wrapperOf(const std::string &path);

// Whether there is a description, readable or not, that counts for the wrapper.
[[nodiscard]] bool hasDescription(const std::string &wrapper);

class CheckJudge final : public Judge {
public:
  using Sink = std::function<void(const Finding &)>;
  // The path is what is checked. A description by itself has no verdict that counts. A finding may
  // be told twice.
  CheckJudge(std::string path, bool isDescription, Sink sink)
      : path_(std::move(path)), isDescription_(isDescription), sink_(std::move(sink)) {}

  void note(const Judgement &judgement) override;
  [[nodiscard]] bool wantsDetails() const override { return true; }
  void noteDetail(const std::string &path, const Remark &detail) override;

  // Once everything is parsed: whether the programs are there that the records speak of, and what
  // nothing else was said of.
  void finish(const Records &records);

private:
  void judgeExtension(const Finding &place, const std::string &extension);
  void judgeIcon(const Finding &place, const std::string &icon);
  void judgeTakenName(const Finding &place, const std::string &name);
  void judgeRecords(const Records &records);
  void judgeVerdict(const Judgement &judgement);
  void judgeRemarks(const Judgement &judgement);
  void judgePassedOver(const Judgement &judgement);
  void judgeOrder(const std::string &path);
  void judgeName(const std::string &path);
  void judgeSilence(Finding finding);
  void judgeChecked(Finding finding, JudgementCode code);
  void warn(Finding place, std::string_view word, std::string text);
  void add(Finding finding);

  const std::string path_;
  const bool isDescription_;
  const Sink sink_;
  std::optional<std::pair<Finding, JudgementCode>> checked_; // the verdict on what is checked
  std::vector<Finding> silent_;                              // what has no description
  std::set<std::string> recorded_;                           // paths of entries that made records
  std::set<std::string> faulty_;                             // those of files with an error
  // Of each program or wrapper, where its extensions were claimed first.
  std::map<std::string, std::map<std::string, std::string>> claims_;
};

} // namespace tesker
