// Listener.h - a judge that wants to be told everything, and holds it to what Judgement.h promises.
#pragma once

#include "fuzz/Check.h"
#include "parsing/Judgement.h"

#include <set>
#include <string>

class Listener final : public tesker::Judge {
public:
  void note(const tesker::Judgement &judgement) override {
    check(paths_.insert(judgement.path).second); // one verdict for each entry
    check((judgement.verdict.code == tesker::JudgementCode::found) == (judgement.records > 0));
    checkRemark(judgement.verdict);
    check(judgement.remarks.size() <= tesker::kMostRemarks + 1);
    for (const tesker::Remark &remark : judgement.remarks)
      checkRemark(remark);
    records_ += judgement.records;
  }
  bool wantsDetails() const override { return true; }
  void noteDetail(const std::string & /*path*/, const tesker::Remark &detail) override {
    check(tesker::isDetail(detail.code));
    check((detail.line > 0) == (detail.column > 0));
  }

  // Those of all verdicts together.
  std::size_t records() const { return records_; }

private:
  static void checkRemark(const tesker::Remark &remark) {
    check(!tesker::isDetail(remark.code));
    check(tesker::judgementCodeOf(tesker::wordOf(remark.code)) == remark.code);
    check((remark.line > 0) == (remark.column > 0));
  }

  std::set<std::string> paths_;
  std::size_t records_ = 0;
};
