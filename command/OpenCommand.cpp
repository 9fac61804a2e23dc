// OpenCommand.cpp - open: the best application for some files, and its start.
#include "command/Commands.h"
#include "command/DisplayText.h"
#include "command/JSONItems.h"
#include "command/Launch.h"
#include "command/Question.h"
#include "command/SearchPath.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace tesker {

namespace {

// One start of a program, with all files that it is to open.
struct Launch {
  const Program *program;
  std::string name;
  std::vector<std::string> files; // absolute paths
};

// What came of it.
struct Started {
  std::optional<pid_t> process; // none: it was only printed, or has failed
  std::string error;            // empty: it has not failed
};

class OpenRun {
public:
  OpenRun(const Arguments &arguments, Output &output, Diagnostics &diagnostics)
      : arguments_(arguments), output_(output), diagnostics_(diagnostics),
        question_(arguments, diagnostics), status_(question_.answer.status) {}

  ExitStatus run();

private:
  const Program *programToOpenWith();
  void plan(const std::string &file);
  void add(const Program &program, std::string_view name, const std::optional<std::string> &file);
  Started start(const Launch &launch);
  void tell(const Launch &launch);
  std::string objectOf(const Launch &launch, const Started &started) const;
  void fail(ExitStatus status, const std::string &text);
  void failAt(ExitStatus status, const std::string &file, const std::string &text);

  const Arguments &arguments_;
  Output &output_;
  Diagnostics &diagnostics_;
  const Question question_;
  ExitStatus status_;
  const Program *with_ = nullptr; // for all files; nil: the best for each
  std::vector<Launch> launches_;
};

ExitStatus OpenRun::run() {
  if (!question_.answer.isThere)
    return status_;
  if (!arguments_.application.empty()) {
    with_ = programToOpenWith();
    if (with_ == nullptr)
      return status_;
  }
  for (const std::string &file : arguments_.files)
    plan(absoluteSearchPath(file));
  if (arguments_.files.empty() && with_ != nullptr)
    add(*with_, with_->name, std::nullopt);
  std::vector<std::string> objects;
  for (const Launch &launch : launches_) {
    const Started started = arguments_.print ? Started{} : start(launch);
    if (!started.error.empty())
      fail(ExitStatus::failed,
           "cannot start " + nameAndPath(launch.name, *launch.program) + ": " + started.error);
    else if (arguments_.format == Format::table)
      tell(launch);
    objects.push_back(objectOf(launch, started));
  }
  if (arguments_.format != Format::table)
    writeItems(output_, arguments_.format,
               {"open", std::nullopt, question_.answer.incomplete, "launches", "launch", objects},
               diagnostics_.problems());
  return status_;
}

// The worst of all is the status of the run.
void OpenRun::fail(ExitStatus status, const std::string &text) {
  status_ = std::max(status_, status);
  diagnostics_.error(text);
}

void OpenRun::failAt(ExitStatus status, const std::string &file, const std::string &text) {
  status_ = std::max(status_, status);
  diagnostics_.errorAt(file, text);
}

// Nil when there is none, which has been said.
const Program *OpenRun::programToOpenWith() {
  const Program *program = programToStart(
      programsCalled(question_.programs, nameOrAbsolutePath(arguments_.application)));
  if (program == nullptr)
    fail(ExitStatus::no, nothingIsCalled(arguments_.application));
  return program;
}

void OpenRun::plan(const std::string &file) {
  struct stat status {};
  if (OperatingSystem::current().statAt(AT_FDCWD, file.c_str(), true, status) != 0)
    return failAt(ExitStatus::failed, file, std::strerror(errno));
  if (with_ != nullptr)
    return add(*with_, with_->name, file);
  if (const std::optional<std::string> why = whyNotClaimed(file))
    return failAt(ExitStatus::no, file, *why);
  const std::vector<Handler> handlers = question_.types.handlersOf(extensionOf(file));
  if (handlers.empty())
    return failAt(ExitStatus::no, file, nothingOpens(extensionOf(file)));
  add(*handlers.front().program, handlers.front().name, file);
}

// Without a file it is only started.
void OpenRun::add(const Program &program, std::string_view name,
                  const std::optional<std::string> &file) {
  if (!program.suitable) {
    const std::string why = nameAndPath(name, program) + " is not suitable for the processor";
    return file ? failAt(ExitStatus::failed, *file, why) : fail(ExitStatus::failed, why);
  }
  auto launch = std::find_if(launches_.begin(), launches_.end(),
                             [&](const Launch &other) { return other.program == &program; });
  if (launch == launches_.end())
    launch = launches_.insert(launch, {&program, std::string(name), {}});
  if (file)
    launch->files.push_back(*file);
}

Started OpenRun::start(const Launch &launch) {
  if (!launch.program->path.starts_with('/'))
    return {std::nullopt, "not an absolute path"};
  const Result<pid_t> process =
      startDetached(launch.program->path, launch.files, Deadline::in(arguments_.timeout));
  if (!process)
    return {std::nullopt, std::strerror(process.error())};
  return {*process, {}};
}

void OpenRun::tell(const Launch &launch) {
  if (arguments_.print) {
    output_.write(shellLine(launch.program->path, launch.files) + "\n");
    return;
  }
  std::string files;
  for (const std::string &file : launch.files)
    files += (files.empty() ? "" : ", ") + displayText(file);
  output_.write((files.empty() ? "started " : "opened " + files + " with ") +
                nameAndPath(launch.name, *launch.program) + "\n");
}

std::string OpenRun::objectOf(const Launch &launch, const Started &started) const {
  JSONObject object;
  object.addText("name", launch.name)
      .addText("path", launch.program->path)
      .addTexts("files", launch.files)
      .addFlag("started", started.process.has_value());
  if (started.process)
    object.addNumber("process", *started.process);
  if (!started.error.empty())
    object.addText("error", started.error);
  return object.text();
}

} // namespace

ExitStatus openCommand(const Arguments &arguments, Output &output, Diagnostics &diagnostics) {
  return OpenRun(arguments, output, diagnostics).run();
}

} // namespace tesker
