// PreferCommand.cpp - prefer: the applications that a person has chosen for types of files.
#include "command/Commands.h"
#include "command/DisplayText.h"
#include "command/JSONItems.h"
#include "command/Preferences.h"
#include "command/Question.h"
#include "command/RecordTable.h"
#include "command/TextTable.h"

#include <algorithm>
#include <functional>

namespace tesker {

namespace {

// How long another process that changes the preferences is waited for.
constexpr std::chrono::seconds kTimeToWait{10};

void write(const Arguments &arguments, Output &output, const PreferredApplications &preferred) {
  if (arguments.format != Format::table) {
    JSONItems items{.request = "prefer",
                    .key =
                        arguments.subject.empty() ? std::nullopt : std::optional(arguments.subject),
                    .listName = "preferences",
                    .itemName = "preference",
                    .items = {}};
    for (const auto &[extension, application] : preferred)
      items.items.push_back(
          JSONObject().addText("extension", extension).addText("application", application).text());
    writeItems(output, arguments.format, items);
    return;
  }
  if (preferred.empty() && arguments.table.header) {
    output.write(
        "no application is preferred" +
        (arguments.subject.empty() ? "" : " for " + displayText(arguments.subject) + " files") +
        "\n");
    return;
  }
  TextTable table(kPreferenceColumns);
  for (const auto &[extension, application] : preferred)
    table.add({{textCell(displayText(extension)), textCell(displayText(application))}});
  table.write(output, arguments.table);
}

ExitStatus failure(Diagnostics &diagnostics, ExitStatus status, const std::string &text) {
  diagnostics.error(text);
  return status;
}

// One or all of them.
ExitStatus show(const Arguments &arguments, Output &output, Diagnostics &diagnostics) {
  PreferredApplications preferred = preferencesOrNote(diagnostics);
  if (!arguments.subject.empty()) {
    const auto *choice = preferredFor(preferred, arguments.subject);
    preferred = choice != nullptr ? PreferredApplications{*choice} : PreferredApplications{};
  }
  write(arguments, output, preferred);
  return arguments.subject.empty() || !preferred.empty() ? ExitStatus::done : ExitStatus::no;
}

ExitStatus forget(const Arguments &arguments, Output &output, Diagnostics &diagnostics) {
  const PreferredApplications before = preferencesOrNote(diagnostics);
  const auto *choice = preferredFor(before, arguments.subject);
  if (choice == nullptr)
    return failure(diagnostics, ExitStatus::no,
                   "no application is preferred for " + displayText(arguments.subject) + " files");
  if (const auto problem = keepPreference(choice->first, "", Deadline::in(kTimeToWait)))
    return failure(diagnostics, ExitStatus::failed, *problem);
  // What a site's files say is not the user's to forget.
  NSUserDefaults defaults;
  const PreferredApplications after = preferredApplications(defaults);
  if (const auto left = after.find(choice->first); left != after.end())
    return failure(diagnostics, ExitStatus::failed,
                   "the settings of this site still prefer " + displayText(left->second) + " for " +
                       displayText(choice->first) + " files");
  write(arguments, output, {});
  return ExitStatus::done;
}

// The handler that is called so: by exactly that name or path, or else but for the case of letters.
// Nil when there is none.
const Handler *handlerCalled(const std::vector<Handler> &handlers, const std::string &name,
                             const std::vector<const Program *> &called) {
  const auto byName = std::find_if(handlers.begin(), handlers.end(),
                                   [&](const Handler &handler) { return handler.name == name; });
  const auto found =
      byName != handlers.end()
          ? byName
          : std::find_if(handlers.begin(), handlers.end(), [&](const Handler &handler) {
              return std::binary_search(called.begin(), called.end(), handler.program,
                                        std::less<>()); // they are in the order of their list
            });
  return found != handlers.end() ? &*found : nullptr;
}

std::string whyNotPreferred(const Arguments &arguments, const std::vector<Handler> &handlers,
                            bool isKnown) {
  if (!isKnown)
    return nothingIsCalled(arguments.application);
  if (handlers.empty())
    return nothingOpens(arguments.subject);
  DisplayTexts names;
  for (const Handler &handler : handlers)
    names.add(handler.name);
  return displayText(arguments.application) + " does not open " + displayText(arguments.subject) +
         " files; what does: " + listCell(names.list()).front();
}

ExitStatus keep(const Arguments &arguments, Output &output, Diagnostics &diagnostics) {
  const Question question(arguments, diagnostics);
  if (!question.answer.isThere)
    return question.answer.status;
  const std::vector<Handler> handlers = question.types.handlersOf(arguments.subject);
  const std::vector<const Program *> called =
      programsCalled(question.programs, nameOrAbsolutePath(arguments.application));
  const Handler *handler = handlerCalled(handlers, arguments.application, called);
  if (handler == nullptr)
    return failure(diagnostics, std::max(question.answer.status, ExitStatus::no),
                   whyNotPreferred(arguments, handlers, !called.empty()));
  const std::string application =
      isPath(arguments.application) ? handler->program->path : std::string(handler->name);
  if (const auto problem =
          keepPreference(arguments.subject, application, Deadline::in(kTimeToWait)))
    return failure(diagnostics, ExitStatus::failed, *problem);
  write(arguments, output, {{arguments.subject, application}});
  return question.answer.status;
}

} // namespace

ExitStatus preferCommand(const Arguments &arguments, Output &output, Diagnostics &diagnostics) {
  Arguments asked = arguments;
  if (asked.subject.starts_with('.'))
    asked.subject.erase(0, 1);
  if (isPath(asked.subject) || (asked.subject.empty() && !arguments.subject.empty()))
    return failure(diagnostics, ExitStatus::usage,
                   displayText(arguments.subject) + " is not an extension");
  if (asked.forget)
    return forget(asked, output, diagnostics);
  return asked.application.empty() ? show(asked, output, diagnostics)
                                   : keep(asked, output, diagnostics);
}

} // namespace tesker
