// MakeCommand.cpp - make: describes an application of one's own, in a wrapper or in a header.
#include "command/Check.h"
#include "command/CheckJudge.h"
#include "command/Commands.h"
#include "command/DisplayText.h"
#include "command/Interrupts.h"
#include "command/Launch.h"
#include "command/SearchPath.h"
#include "making/AmbiguousNames.h"
#include "making/WrapperWriter.h"
#include "platform/foundation/Text.h"

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <sys/stat.h>

namespace tesker {

namespace {

// "txt,md:icons/text.png"
WrapperType typeIn(std::string_view words) {
  const std::size_t colon = std::min(words.find(':'), words.size());
  WrapperType type;
  for (const std::string_view extension : piecesOf(words.substr(0, colon), ','))
    type.extensions.emplace_back(extension);
  type.icon = words.substr(std::min(colon + 1, words.size()));
  return type;
}

std::string nameOf(const std::string &path) { return path.substr(path.rfind('/') + 1); }

// Icons are files on the command line, and from here on names, under which they are to be copied.
// What is wrong with one, as a sentence; empty where nothing is.
std::string nameIcon(std::string &icon, WrapperDescription &description) {
  if (icon.empty())
    return {};
  const CopyOf file{std::exchange(icon, nameOf(icon))};
  if (icon.empty())
    return file.path + " is not the name of an icon's file";
  if (std::ranges::any_of(icon, isControl))
    return "the name of an icon has control characters in it";
  const auto [known, isNew] = description.files.try_emplace(icon, file);
  const bool isSame = isNew || std::get<CopyOf>(known->second).path == file.path;
  return isSame ? "" : "two icons have the same name";
}

// Nothing, and an error message, where the words do not make sense.
std::optional<WrapperDescription> descriptionIn(const MakeArguments &make,
                                                Diagnostics &diagnostics) {
  WrapperDescription description{.name = make.name,
                                 .program = CopyOf{make.executable},
                                 .icon = make.icon,
                                 .offersServices = make.services};
  if (const std::string oddity = oddityOfWrapperName(make.name + ".app"); !oddity.empty()) {
    diagnostics.error("--name " + displayText(make.name) + ": " + oddity);
    return std::nullopt;
  }
  for (const std::string &words : make.types)
    description.types.push_back(typeIn(words));
  std::string problem = nameIcon(description.icon, description);
  for (WrapperType &type : description.types)
    if (problem.empty())
      problem = nameIcon(type.icon, description);
  if (problem.empty())
    return description;
  diagnostics.error(displayText(problem));
  return std::nullopt;
}

// What check would complain of is not made.
ExitStatus refuse(const std::vector<Finding> &findings, Diagnostics &diagnostics) {
  for (const Finding &finding : findings) {
    std::string line = lineOf(finding);
    line.pop_back();
    diagnostics.error(line);
  }
  diagnostics.error("nothing was made");
  return ExitStatus::no;
}

ExitStatus failed(const FileFailure &failure, Diagnostics &diagnostics) {
  diagnostics.fileError(failure.path, failure.error);
  return ExitStatus::failed;
}

bool isExecutable(const std::string &program, Diagnostics &diagnostics) {
  struct stat status {};
  const bool isThere =
      OperatingSystem::current().statAt(AT_FDCWD, program.c_str(), true, status) == 0;
  if (!isThere)
    diagnostics.fileError(program, errno);
  else if ((status.st_mode & 0111) == 0)
    diagnostics.errorAt(program, "it has no execute permission");
  return isThere && (status.st_mode & 0111) != 0;
}

ExitStatus makeWrapper(const Arguments &arguments, const WrapperDescription &description,
                       Output &output, Diagnostics &diagnostics) {
  if (!isExecutable(arguments.make.executable, diagnostics))
    return ExitStatus::failed;
  const Interrupts interrupts; // they do their work when what is not finished is gone
  WrapperWriter writer(std::string(withoutSlashesAtItsEnd(arguments.make.place)));
  if (const auto failure = writer.write(description))
    return failed(*failure, diagnostics);
  CheckAnswer answer = check(writer.path(), std::nullopt, arguments.timeout);
  if (answer.error != 0)
    return failed({writer.place(), answer.error}, diagnostics);
  if (answer.failure) {
    diagnostics.errorAt(writer.place(), *answer.failure);
    return ExitStatus::failed;
  }
  for (Finding &finding : answer.findings)
    finding.file = writer.inPlace(finding.file);
  if (!answer.findings.empty())
    return refuse(answer.findings, diagnostics);
  if (const auto failure = writer.putInPlace(WrapperWriter::Former::stays))
    return failed(*failure, diagnostics);
  output.write(displayText(writer.place()) + "\n");
  return ExitStatus::done;
}

// Whether a description stands beside the program that is to carry the header.
bool isDescribedAlready(const std::string &program) {
  const std::string wrapper = program.empty() ? "" : wrapperOf(absoluteSearchPath(program));
  return !wrapper.empty() && hasDescription(wrapper);
}

// The header's file, or a word that stands for it.
std::string headerFile(const MakeArguments &make) {
  return make.place.empty() ? "HEADER" : make.place;
}

// What makes the program carry the header.
std::string embeddingLine(const MakeArguments &make) {
  const std::string file = headerFile(make);
  std::vector<std::string> words;
  for (const char *section : {"__ICON.__header", "__ICON.__services"})
    if (section != std::string_view("__ICON.__services") || make.services) {
      words.insert(words.end(), {"--add-section", section + ("=" + file), "--set-section-flags",
                                 section + std::string("=noload,readonly")});
    }
  words.push_back(make.executable.empty() ? "PROGRAM" : make.executable);
  return shellLine("objcopy", words);
}

ExitStatus makeHeader(const MakeArguments &make, const WrapperDescription &description,
                      Output &output, Diagnostics &diagnostics) {
  if (isDescribedAlready(make.executable)) {
    diagnostics.errorAt(make.executable,
                        "its wrapper has a description, beside which a header counts "
                        "or not as the directory is listed");
    return ExitStatus::no;
  }
  const std::string text = headerOf(description);
  if (const auto findings = checkHeader(text, headerFile(make)); !findings.empty())
    return refuse(findings, diagnostics);
  struct stat status {};
  if (make.place.empty())
    output.write(text);
  else if (OperatingSystem::current().statAt(AT_FDCWD, make.place.c_str(), false, status) == 0)
    return failed({make.place, EEXIST}, diagnostics);
  else if (const Result<> saved = saveFile(make.place, text); !saved)
    return failed({make.place, saved.error()}, diagnostics);
  diagnostics.note("to have it carried: " + embeddingLine(make));
  return ExitStatus::done;
}

} // namespace

ExitStatus makeCommand(const Arguments &arguments, Output &output, Diagnostics &diagnostics) {
  const auto description = descriptionIn(arguments.make, diagnostics);
  if (!description)
    return ExitStatus::no;
  return arguments.subject == "wrapper"
             ? makeWrapper(arguments, *description, output, diagnostics)
             : makeHeader(arguments.make, *description, output, diagnostics);
}

} // namespace tesker
