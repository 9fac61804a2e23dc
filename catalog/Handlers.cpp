#include "catalog/Handlers.h"

#include "platform/foundation/Text.h"

#include <algorithm>
#include <functional>
#include <tuple>

namespace tesker {

namespace {

// Smaller is better. Records lie in one list, so their order is that of the answer.
bool isBetter(const Handler &a, const Handler &b) {
  const auto rank = [](const Handler &handler) {
    return std::tuple(!handler.preferred, !handler.program->suitable, !handler.primary);
  };
  if (rank(a) != rank(b))
    return rank(a) < rank(b);
  return std::less<>()(a.record, b.record);
}

bool isPrimary(const SearchRecord &record) { return valueOf(record, "priority") == "NSPrimary"; }

Handler handlerOf(const Program &program, const SearchRecord &record) {
  const std::string_view name = valueOf(record, "appName");
  return {.program = &program,
          .record = &record,
          .name = name.empty() ? std::string_view(program.name) : name,
          .primary = isPrimary(record),
          .preferred = false};
}

} // namespace

const PreferredApplications::value_type *preferredFor(const PreferredApplications &preferred,
                                                      std::string_view extension) {
  if (const auto exact = preferred.find(extension); exact != preferred.end())
    return &*exact;
  for (const auto &choice : preferred)
    if (equalButForCase(choice.first, extension))
      return &choice;
  return nullptr;
}

std::string_view extensionOf(std::string_view file) {
  const std::string_view name = file.substr(file.rfind('/') + 1);
  const std::size_t dot = name.rfind('.');
  return dot == std::string_view::npos || dot == 0 ? std::string_view() : name.substr(dot + 1);
}

FileTypes::FileTypes(const std::vector<Program> &programs, const PreferredApplications &preferred)
    : preferred_(preferred) {
  for (const Program &program : programs)
    for (const SearchRecord *record : program.records) {
      const std::string_view extension = valueOf(*record, "name");
      if (valueOf(*record, "type") != "extension" || extension.empty())
        continue;
      std::vector<Claim> &claims = claims_[extension];
      if (claims.empty())
        spellings_[withoutCase(extension)].push_back(extension);
      claims.push_back({&program, record});
    }
}

std::vector<std::string_view> FileTypes::extensions() const {
  std::vector<std::string_view> all;
  all.reserve(claims_.size());
  for (const auto &[extension, claims] : claims_)
    all.push_back(extension);
  return all;
}

std::vector<Handler> FileTypes::handlersOf(std::string_view extension,
                                           const PreferredApplications &preferred) const {
  std::vector<std::string_view> matching;
  if (claims_.contains(extension))
    matching.push_back(extension);
  else if (const auto found = spellings_.find(withoutCase(extension)); found != spellings_.end())
    matching = found->second;

  std::map<const Program *, Handler> byProgram;
  for (const std::string_view spelling : matching)
    for (const auto &[program, record] : claims_.at(spelling)) {
      Handler &handler = byProgram.try_emplace(program, handlerOf(*program, *record)).first->second;
      const bool primary = handler.primary || isPrimary(*record);
      if (std::less<>()(record, handler.record))
        handler = handlerOf(*program, *record);
      handler.primary = primary;
    }
  std::vector<Handler> handlers;
  for (const auto &[program, handler] : byProgram)
    handlers.push_back(handler);
  std::sort(handlers.begin(), handlers.end(), isBetter);

  // Of several that are called so, the best.
  if (const auto *choice = preferredFor(preferred, extension)) {
    const auto best = std::find_if(handlers.begin(), handlers.end(), [&](const Handler &handler) {
      return handler.name == choice->second || isCalled(*handler.program, choice->second);
    });
    if (best != handlers.end()) {
      best->preferred = true;
      std::rotate(handlers.begin(), best, best + 1);
    }
  }
  return handlers;
}

} // namespace tesker
