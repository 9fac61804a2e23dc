// Question.h - what every question about applications stands on: an answer, its programs, what they
// open and what the person prefers.
#pragma once

#include "catalog/Handlers.h"
#include "command/Answers.h"

#include <optional>
#include <string>
#include <vector>

namespace tesker {

struct Question {
  // Makes the searches; what goes wrong is said.
  Question(const Arguments &arguments, Diagnostics &diagnostics);
  // The members point into each other.
  Question(const Question &) = delete;
  Question &operator=(const Question &) = delete;

  const Answer answer;
  const std::vector<Program> programs;
  const PreferredApplications preferred;
  const FileTypes types;
};

// What the person prefers; what is wrong with the files that say so is noted.
[[nodiscard]] PreferredApplications preferencesOrNote(Diagnostics &diagnostics);

// Why no application can claim the file by its extension, as a phrase that follows its name and a
// colon; nothing when one can. The file need not be there.
[[nodiscard]] std::optional<std::string> whyNotClaimed(const std::string &file);

// "no application opens txt files"
[[nodiscard]] std::string nothingOpens(std::string_view extension);

// The word as programsCalled takes it: a path is made absolute.
[[nodiscard]] std::string nameOrAbsolutePath(const std::string &word);
// "no application is called Edit", or for a path, "no application was found at /Apps/Edit"
[[nodiscard]] std::string nothingIsCalled(const std::string &word);

// "Edit (/Apps/Edit.app/Edit)"
[[nodiscard]] std::string nameAndPath(std::string_view name, const Program &program);

} // namespace tesker
