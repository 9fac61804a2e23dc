// CheckJudge.h - listens to the parsers, and makes findings of what it is told.
#pragma once

#include "command/CheckFindings.h"
#include "parsing/TKLine.h"

#include <map>
#include <set>
#include <string>
#include <vector>

namespace tesker {

// The wrapper that a description at the path lies in, itself or in its Resources; empty where there
// is none.
[[nodiscard]] std::string wrapperOf(const std::string &path);

class CheckJudge final : public Judge {
public:
  // The path is what is checked. A description by itself has no verdict that counts.
  CheckJudge(std::string path, bool isDescription)
      : path_(std::move(path)), isDescription_(isDescription) {}

  void note(const Judgement &judgement) override { judgements_.push_back(judgement); }
  [[nodiscard]] bool wantsDetails() const override { return true; }
  void noteDetail(const std::string &path, const Remark &detail) override;

  // Once everything is parsed: whether the programs are there that the records speak of.
  void judgeRecords(const Records &records);

  [[nodiscard]] std::vector<Finding> findings() &&;

private:
  void judgeExtension(const Finding &place, const std::string &extension);
  void judgeIcon(const Finding &place, const std::string &icon);
  void judgeVerdict(const Judgement &judgement);
  void judgeRemarks(const Judgement &judgement);
  void judgePassedOver(const Judgement &judgement);
  void warn(Finding place, const char *word, std::string text);
  void judgeSilence(const Judgement &judgement);
  void add(Finding finding);

  const std::string path_;
  const bool isDescription_;
  std::vector<Judgement> judgements_;
  std::set<std::string> recorded_; // paths of entries that made records
  std::set<std::string> faulty_;   // those of files with an error
  // Of each program or wrapper, where its extensions were claimed first.
  std::map<std::string, std::map<std::string, std::string>> claims_;
  Findings findings_;
};

} // namespace tesker
