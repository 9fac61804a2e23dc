// WhyCommand.cpp - why: what became of a path in a search, and what to do about it.
#include "command/Commands.h"
#include "command/DisplayText.h"
#include "command/JSONItems.h"
#include "command/JudgementTexts.h"
#include "command/Question.h"
#include "command/RecordJSON.h"
#include "command/SearchPath.h"
#include "command/Searches.h"
#include "command/TextTable.h"
#include "command/Why.h"
#include "platform/foundation/Text.h"
#include "platform/images/HostArchitecture.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <set>

namespace tesker {

namespace {

std::string placeText(const Remark &remark, std::string_view path) {
  std::string text =
      displayPlace(remark.file.empty() ? path : remark.file, remark.line, remark.column);
  if (remark.offset)
    text += " at byte " + std::to_string(*remark.offset);
  return text;
}

std::string countedRecords(std::size_t count) {
  return std::to_string(count) + (count == 1 ? " record" : " records");
}

// A verdict that a part has brought about is a complaint, too.
bool complains(const Judgement &judgement) {
  return isComplaint(judgement.verdict.code) || !judgement.verdict.file.empty() ||
         std::ranges::any_of(judgement.remarks, isComplaint, &Remark::code);
}

// What is said first, where something is to be said at all: a remark of a part explains more than
// the verdict on the whole.
struct Cause {
  const Remark *remark;
  std::string_view path; // of the entry
};

class Why {
public:
  Why(const Arguments &arguments, Output &output, Diagnostics &diagnostics)
      : arguments_(arguments), output_(output), diagnostics_(diagnostics),
        places_(arguments.paths.empty() ? usualPlaces(diagnostics) : arguments.paths),
        preferred_(preferencesOrNote(diagnostics)) {
    for (std::string &place : places_)
      place = absoluteSearchPath(place);
  }

  ExitStatus answer() {
    for (const std::string &word : arguments_.files)
      answerOne(std::string(withoutSlashesAtItsEnd(absoluteSearchPath(word))));
    if (isJSON())
      writeDocument();
    else
      writeWhatCounted();
    return status_;
  }

private:
  bool isJSON() const { return arguments_.format != Format::table; }
  void raise(ExitStatus status) { status_ = std::max(status_, status); }

  void answerOne(const std::string &path) {
    const auto place = placeOf(path, places_);
    const WhyQuestion question{path,
                               place.value_or(path),
                               arguments_.timeout,
                               arguments_.followLinkCycles,
                               place ? places_ : std::vector<std::string>(),
                               preferred_};
    const WhyAnswer answer = searchForReasons(question);
    if (answer.failure) {
      diagnostics_.errorAt(question.searchPath, *answer.failure);
      raise(ExitStatus::failed);
    }
    const Judgement *itself = answer.itself(path);
    if (itself != nullptr && itself->verdict.code == JudgementCode::searched)
      answerDirectory(path, answer);
    else
      answerApplication(question, answer);
  }

  // ---- one application, or what might be one ----

  void answerApplication(const WhyQuestion &question, const WhyAnswer &answer) {
    const std::string &path = question.path;
    const Judgement *itself = answer.itself(path);
    const bool isFound = itself != nullptr && itself->verdict.code == JudgementCode::found;
    const bool isFine = isFound && std::ranges::none_of(answer.judgements, [&](const auto &part) {
                          return isAtOrBelow(part.path, path) && complains(part);
                        });
    if (!isFine)
      raise(ExitStatus::no);
    if (isJSON() || arguments_.all || arguments_.code) {
      writeEntries(answer.judgements);
      return;
    }
    output_.write(displayText(path) + ": " + headline(path, answer, isFound) + "\n");
    if (const auto cause = isFine ? std::nullopt : causeOf(path, answer))
      if (const std::string advice = adviceOn(*cause->remark, cause->path); !advice.empty())
        output_.write("to do: " + advice + "\n");
    if (placeOf(path, places_) == std::nullopt)
      output_.write("It lies in none of the places that are searched, and was judged by itself.\n");
    if (!answer.judgements.empty())
      output_.write("\nHow it was judged:\n");
    writeEntries(answer.judgements);
    output_.write("\n");
  }

  std::string headline(const std::string &path, const WhyAnswer &answer, bool isFound) const {
    if (isFound) {
      const std::string text = "found, " + countedRecords(answer.itself(path)->records);
      if (const auto cause = causeOf(path, answer))
        return text + "; but " + sentenceOf(*cause->remark);
      return text + (hasShadows(answer)
                         ? "; but for some of its claims another application comes first"
                         : "");
    }
    const Judgement *nearest = answer.nearest(path);
    if (nearest == nullptr)
      return "not found";
    const std::string reason = sentenceOf(nearest->verdict);
    if (nearest->path == path)
      return "not found: " + reason;
    if (nearest->verdict.code == JudgementCode::searched)
      return "not found: there is no such entry in " + displayText(nearest->path);
    return "not found: of " + displayText(nearest->path) + " is to be said: " + reason;
  }

  static bool hasShadows(const WhyAnswer &answer) {
    return std::ranges::any_of(answer.judgements, [](const Judgement &judgement) {
      return std::ranges::find(judgement.remarks, JudgementCode::shadowed, &Remark::code) !=
             judgement.remarks.end();
    });
  }

  // The first complaint about the path or a part of it; else the verdict that it ends with.
  static std::optional<Cause> causeOf(const std::string &path, const WhyAnswer &answer) {
    for (const Judgement &judgement : answer.judgements) {
      if (!isAtOrBelow(judgement.path, path))
        continue;
      for (const Remark &remark : judgement.remarks)
        if (isComplaint(remark.code))
          return Cause{&remark, judgement.path};
      if (isComplaint(judgement.verdict.code) &&
          judgement.verdict.code != JudgementCode::noDescription)
        return Cause{&judgement.verdict, judgement.path};
    }
    const Judgement *nearest = answer.nearest(path);
    if (nearest == nullptr || nearest->verdict.code == JudgementCode::found)
      return std::nullopt;
    return Cause{&nearest->verdict, nearest->path};
  }

  // ---- a directory ----

  void answerDirectory(const std::string &path, const WhyAnswer &answer) {
    std::vector<Judgement> below;
    std::ranges::copy_if(answer.judgements, std::back_inserter(below),
                         [&](const Judgement &one) { return isAtOrBelow(one.path, path); });
    const auto isFound = [](const Judgement &one) {
      return one.verdict.code == JudgementCode::found;
    };
    if (std::ranges::none_of(below, isFound) || std::ranges::any_of(below, complains))
      raise(ExitStatus::no);
    if (arguments_.all || arguments_.code)
      writeEntries(below);
    else
      writeCounts(path, below);
  }

  void writeCounts(const std::string &path, const std::vector<Judgement> &below) {
    std::map<JudgementCode, std::size_t> counts;
    for (const Judgement &judgement : below) {
      ++counts[judgement.verdict.code];
      for (const Remark &remark : judgement.remarks)
        ++counts[remark.code];
    }
    if (isJSON()) {
      JSONObject numbers;
      for (const auto &[code, count] : counts)
        numbers.addNumber(wordOf(code).data(), static_cast<long long>(count));
      writeObject(JSONObject()
                      .addText("path", path)
                      .addText("code", wordOf(JudgementCode::searched))
                      .addValue("counts", numbers.text())
                      .text());
      return;
    }
    output_.write(displayText(path) + ":\n");
    TextTable table(kCountColumns);
    for (const auto &[code, count] : counts)
      table.add({{textCell(std::to_string(count)), textCell(std::string(wordOf(code))),
                  textCell(sentenceOf({.code = code}))}});
    table.write(output_, {});
    output_.write("\n");
    writeWhatToLookAt(below, counts.contains(JudgementCode::found));
  }

  // Where nothing is found and nothing complains, it may be one of those about which something can
  // be done, though most are there as they should be.
  void writeWhatToLookAt(const std::vector<Judgement> &below, bool isAnyFound) {
    constexpr std::size_t most = 10;
    std::vector<Judgement> entries;
    std::ranges::copy_if(below, std::back_inserter(entries), complains);
    std::size_t more = 0;
    if (entries.empty() && !isAnyFound) {
      std::ranges::copy_if(below, std::back_inserter(entries),
                           [](const Judgement &one) { return !firstAdviceOn(one).empty(); });
      more = entries.size() - std::min(entries.size(), most);
      entries.resize(entries.size() - more);
    }
    if (entries.empty())
      return;
    output_.write(std::ranges::any_of(entries, complains) ? "To be looked at:\n"
                                                          : "What was meant may be among these:\n");
    std::set<std::string> advices;
    for (const Judgement &entry : entries) {
      output_.write(linesOf(entry));
      const std::string advice = firstAdviceOn(entry);
      if (!advice.empty() && advices.insert(advice).second)
        output_.write("    to do: " + advice + "\n");
    }
    output_.write(more == 0 ? "\n"
                            : "  and " + std::to_string(more) + " more; --all prints them\n\n");
  }

  static std::string firstAdviceOn(const Judgement &judgement) {
    const auto remark = std::ranges::find_if(judgement.remarks, isComplaint, &Remark::code);
    return adviceOn(remark == judgement.remarks.end() ? judgement.verdict : *remark,
                    judgement.path);
  }

  // ---- entries ----

  bool isWanted(const Judgement &judgement) const {
    return !arguments_.code || judgement.verdict.code == *arguments_.code ||
           std::ranges::find(judgement.remarks, *arguments_.code, &Remark::code) !=
               judgement.remarks.end();
  }

  void writeEntries(const std::vector<Judgement> &judgements) {
    for (const Judgement &judgement : judgements)
      if (isWanted(judgement) && isJSON())
        writeObject(objectOf(judgement));
      else if (isWanted(judgement))
        output_.write(linesOf(judgement));
  }

  static std::string linesOf(const Judgement &judgement) {
    std::string text = "  " + displayText(judgement.path) + ": " + sentenceOf(judgement.verdict);
    if (judgement.records > 0)
      text += ", with " + countedRecords(judgement.records);
    text += " [" + std::string(wordOf(judgement.verdict.code)) + "]\n";
    for (const Remark &remark : judgement.remarks)
      text += "    " + placeText(remark, judgement.path) + ": " + sentenceOf(remark) + " [" +
              std::string(wordOf(remark.code)) + "]\n";
    return text;
  }

  static JSONObject &addRemark(JSONObject &object, const Remark &remark) {
    object.addText("code", wordOf(remark.code)).addText("text", sentenceOf(remark));
    if (!remark.detail.empty())
      object.addText("detail", remark.detail);
    if (!remark.file.empty())
      object.addText("file", remark.file);
    return object.addPlace(remark.line, remark.column, remark.offset);
  }

  static std::string objectOf(const Judgement &judgement) {
    JSONObject object;
    object.addText("path", judgement.path);
    addRemark(object, judgement.verdict);
    if (judgement.records > 0)
      object.addNumber("records", static_cast<long long>(judgement.records));
    std::vector<std::string> remarks;
    for (const Remark &remark : judgement.remarks) {
      JSONObject one;
      remarks.push_back(addRemark(one, remark).text());
    }
    if (!remarks.empty())
      object.addValues("remarks", remarks);
    return object.text();
  }

  // ---- JSON: a line for each object, or all of them in one document ----

  void writeObject(std::string object) {
    if (arguments_.format == Format::jsonl)
      output_.write(object + "\n");
    else
      objects_.push_back(std::move(object));
  }

  void writeDocument() {
    if (arguments_.format == Format::json)
      writeItems(output_, Format::json,
                 {"why", std::nullopt, status_ == ExitStatus::failed, "entries", "entry", objects_},
                 diagnostics_.problems());
  }

  // ---- what it was judged by ----

  void writeWhatCounted() {
    std::string searched;
    for (const std::string &place : places_)
      searched += (searched.empty() ? "" : ", ") + displayText(place);
    const std::string settings = fileOfDefaultSearchPaths();
    output_.write("Judged by\n  search paths: " + (searched.empty() ? "none" : searched) +
                  "\n  settings:     " + (settings.empty() ? "none" : settings) +
                  "\n  processor:    " + processorText() + "\n");
  }

  // The family's, as for Mach-O files; of a machine that they do not know, the one of ELF files.
  static std::string processorText() {
    if (const QXArchInfo *processor = hostArchitecture())
      return std::string(processor->description);
    const auto &machine = elfHost().machine;
    return machine ? std::string(descriptionOf(*machine)) : "unknown";
  }

  const Arguments &arguments_;
  Output &output_;
  Diagnostics &diagnostics_;
  std::vector<std::string> places_;
  const PreferredApplications preferred_;
  std::vector<std::string> objects_;
  ExitStatus status_ = ExitStatus::done;
};

} // namespace

ExitStatus whyCommand(const Arguments &arguments, Output &output, Diagnostics &diagnostics) {
  if (arguments.explain) {
    output.write(std::string(wordOf(*arguments.explain)) + ": " +
                 sentenceOf({.code = *arguments.explain}) + "\n\n" +
                 explanationOf(*arguments.explain));
    return ExitStatus::done;
  }
  if (!arguments.cpu.empty())
    ::setenv("TESKER_HOST_CPU", arguments.cpu.c_str(), 1);
  return Why(arguments, output, diagnostics).answer();
}

} // namespace tesker
