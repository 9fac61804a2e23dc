#include "command/CommandOptions.h"

#include "platform/foundation/Text.h"
#include "platform/ports/ElfProcessors.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>

namespace tesker {

namespace {

constexpr double kLongestTimeout = 1e6;
constexpr int kMostJobs = 1000;

std::string knownCpus() {
  std::string names;
  const auto known = knownProcessors();
  for (const QXArchInfo &processor : known)
    names += (names.empty() ? "" : ", ") + std::string(processor.name);
  for (const ElfProcessor &processor : elfProcessors())
    if (std::ranges::find(known, processor.name, &QXArchInfo::name) == known.end())
      names += ", " + std::string(processor.name);
  return names;
}

std::string checkCode(const std::string &word) {
  if (judgementCodeOf(word))
    return "";
  std::string known;
  for (std::size_t i = 0; i < kJudgementCodes; ++i)
    known.append(i == 0 ? "" : ", ").append(wordOf(static_cast<JudgementCode>(i)));
  return "CODE is one of " + known;
}

std::string checkCpu(const std::string &text) {
  if (processorFromText(text))
    return {};
  return "unknown processor '" + text + "'; known are " + knownCpus() +
         ", and TYPE/SUBTYPE in decimal";
}

std::string checkTimeout(const std::string &text) {
  double seconds = 0;
  if (CLI::detail::lexical_cast(text, seconds) && std::isfinite(seconds) && seconds > 0 &&
      seconds <= kLongestTimeout)
    return {};
  return "must be a number of seconds above 0 and up to 1000000";
}

std::string checkJobs(const std::string &text) {
  int number = 0;
  if (CLI::detail::lexical_cast(text, number) && number >= 1 && number <= kMostJobs)
    return {};
  return "must be a number from 1 to " + std::to_string(kMostJobs);
}

std::string checkNotEmpty(const std::string &text) {
  return text.empty() ? "must not be empty" : std::string();
}

// The words as they stand there: the option library would take some for lists.
CLI::callback_t keptIn(std::vector<std::string> &list) {
  return [&list](const CLI::results_t &words) {
    list = words;
    return true;
  };
}

} // namespace

CLI::Option *CommandOptions::words(const char *name, std::vector<std::string> &list,
                                   const char *description) {
  return command_.add_option(name, keptIn(list), description)
      ->expected(CLI::detail::expected_max_vector_size)
      ->option_text(" ");
}

CLI::Option *CommandOptions::word(const char *name, std::string &word, const char *description) {
  return value(name, " ", word, description);
}

CLI::Option *CommandOptions::value(const char *name, const char *valueName, std::string &value,
                                   const char *description) {
  return command_.add_option(name, value, description)
      ->check(CLI::Validator(checkNotEmpty, valueName))
      ->option_text(valueName);
}

CLI::Option *CommandOptions::values(const char *name, const char *valueName,
                                    std::vector<std::string> &list, const char *description) {
  return command_.add_option(name, keptIn(list), description)
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
      ->option_text(valueName);
}

CLI::Option *CommandOptions::flag(const char *name, bool &isGiven, const char *description) {
  return command_.add_flag(name, isGiven, description)->option_text(" ");
}

void CommandOptions::formats(const std::vector<std::string> &names,
                             const std::string &description) {
  static const std::map<std::string, Format> formats{{"table", Format::table},
                                                     {"json", Format::json},
                                                     {"jsonl", Format::jsonl},
                                                     {"raw", Format::raw}};
  command_
      .add_option_function<std::string>(
          "-f,--format", [this](const std::string &name) { arguments.format = formats.at(name); },
          description)
      ->check(CLI::IsMember(names))
      ->option_text("FORMAT");
}

void CommandOptions::format(bool raw) {
  std::vector<std::string> names{"table", "json", "jsonl"};
  std::string description = "table (for people; the default), json (one\n"
                            "document), jsonl (one object a line)";
  if (raw) {
    names.emplace_back("raw");
    description += ", raw (the\nencoded text, byte for byte)";
  }
  formats(names, description);
}

void CommandOptions::lines() {
  formats({"table", "jsonl"}, "table (for people; the default), jsonl (one\nobject a line)");
}

void CommandOptions::table(std::span<const TextColumn> columns) {
  std::vector<std::string> keys;
  std::string listed;
  for (const TextColumn &column : columns) {
    keys.push_back(withoutCase(column.name));
    listed += (listed.empty() ? "" : ", ") + keys.back();
  }
  flag("--no-header", noHeader_, "Write rows alone, without anything above them");
  value("--sort", "KEY", arguments.table.sortBy,
        ("Sort the rows by a column; those that are equal\n"
         "there stay in the order of the answer:\n" +
         listed)
            .c_str())
      ->check(CLI::IsMember(keys))
      ->option_text("KEY");
  check([this]() -> std::string {
    arguments.table.header = !noHeader_;
    const bool isAsked = noHeader_ || !arguments.table.sortBy.empty();
    return isAsked && arguments.format != Format::table
               ? "--no-header and --sort are for tables, not for other formats"
               : "";
  });
}

void CommandOptions::cached() {
  flag("--cached", arguments.cached,
       "Answer at once with what was found last, and\n"
       "search only where nothing was");
  check([this]() -> std::string {
    if (!arguments.cached)
      return "";
    return !arguments.answerFile.empty()     ? "--cached excludes --from"
           : !arguments.previousFile.empty() ? "--cached excludes --previous"
           : !arguments.tool.empty()         ? "--cached excludes --tool"
                                             : "";
  });
}

void CommandOptions::lastAnswer() {
  file("--previous", arguments.previousFile,
       "The last answer; when nothing has changed, the\ntool says only so");
  file("--save", arguments.saveFile, "Write the answer's encoded text to FILE, too");
}

void CommandOptions::judging() {
  command_
      .add_option("--cpu", arguments.cpu, "Search as for this processor (a name or\nTYPE/SUBTYPE)")
      ->check(CLI::Validator(checkCpu, "NAME"))
      ->option_text("NAME");
  timeout();
  linkCycles();
}

void CommandOptions::timeout() {
  command_
      .add_option_function<double>(
          "--timeout",
          [this](const double &seconds) {
            arguments.timeout = std::chrono::duration_cast<std::chrono::nanoseconds>(
                std::chrono::duration<double>(seconds));
          },
          "Give up a search after this time (120)")
      ->check(CLI::Validator(checkTimeout, "SECONDS"))
      ->option_text("SECONDS");
}

void CommandOptions::pollInterval() {
  command_
      .add_option_function<double>(
          "--poll",
          [this](const double &seconds) {
            arguments.pollInterval = std::chrono::duration_cast<std::chrono::nanoseconds>(
                std::chrono::duration<double>(seconds));
          },
          "Also search every so many seconds, for what\n"
          "cannot be seen to change")
      ->check(CLI::Validator(checkTimeout, "SECONDS"))
      ->option_text("SECONDS");
}

void CommandOptions::linkCycles() {
  command_
      .add_option_function<std::string>(
          "--link-cycles",
          [this](const std::string &word) { arguments.followLinkCycles = word == "follow"; },
          "Links that lead back to a directory above them:\n"
          "skip (the default) or follow")
      ->check(CLI::IsMember({"skip", "follow"}))
      ->option_text("WHAT");
}

void CommandOptions::jobs() {
  command_
      .add_option("--jobs", arguments.jobs,
                  "Search so many directories at a time (as many as\nthere are processors)")
      ->check(CLI::Validator(checkJobs, "NUMBER"))
      ->option_text("NUMBER");
}

void CommandOptions::search() {
  judging();
  value("--tool", "PATH", arguments.tool, "The tool's program");
  flag("--no-read-ahead", arguments.noReadAhead,
       "Do not read ahead of a tool that often waits for\nits disk or server");
}

CLI::Option *CommandOptions::code(const char *name, std::optional<JudgementCode> &code,
                                  const char *description) {
  return command_
      .add_option_function<std::string>(
          name, [&code](const std::string &word) { code = judgementCodeOf(word); }, description)
      ->check(CLI::Validator(checkCode, "CODE"))
      ->option_text("CODE");
}

CLI::Option *CommandOptions::places() {
  return values("--in", "PATH", arguments.paths,
                "Search here, a directory or application, instead\n"
                "of the usual places; may stand several times");
}

void CommandOptions::question() {
  format(false);
  file("--from", arguments.answerFile,
       "Ask an answer that --save or --format raw has\n"
       "written (- is standard input), without a search")
      ->excludes(places());
  cached();
  search();
  jobs();
}

void CommandOptions::check(std::function<std::string()> problem) {
  checks_.push_back(std::move(problem));
  command_.callback([this] {
    for (const auto &check : checks_)
      if (const std::string text = check(); !text.empty())
        throw CLI::ValidationError(command_.get_name(), text);
  });
}

} // namespace tesker
