#include "command/ChildMessages.h"

#include "platform/foundation/Text.h"

#include <charconv>
#include <utility>
#include <vector>

namespace tesker {

namespace {

// A message is fields with NULs between them, of which the first says what it is.
constexpr std::string_view kJudgement = "judgement"; // path, records, verdict, remarks
constexpr std::string_view kLateRemark = "late";     // path, remark
constexpr std::string_view kFinding = "finding";
constexpr std::string_view kError = "error"; // the errno

using Fields = std::vector<std::string_view>;

// A remark: code, detail, file and place; of a place: line, column and offset.
constexpr std::size_t kFieldsOfRemark = 6;
constexpr std::size_t kFieldsOfFinding = 7;

class FieldWriter {
public:
  explicit FieldWriter(std::string_view kind) : message_(kind) {}

  FieldWriter &add(std::string_view text) {
    message_ += '\0';
    for (const char byte : text)
      message_ += byte == '\0' ? ' ' : byte;
    return *this;
  }
  FieldWriter &add(std::uint64_t number) { return add(std::to_string(number)); }
  template <class Told> FieldWriter &addPlace(const Told &told) {
    return add(told.line).add(told.column).add(told.offset ? std::to_string(*told.offset) : "");
  }
  FieldWriter &add(const Remark &remark) {
    return add(wordOf(remark.code)).add(remark.detail).add(remark.file).addPlace(remark);
  }
  std::string message() { return std::move(message_); }

private:
  std::string message_;
};

template <class Number> Number numberIn(std::string_view text) {
  Number number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

template <class Told> void readPlace(const std::string_view *fields, Told &told) {
  told.line = numberIn<std::size_t>(fields[0]);
  told.column = numberIn<std::size_t>(fields[1]);
  if (!fields[2].empty())
    told.offset = numberIn<std::uint64_t>(fields[2]);
}

Remark remarkIn(const std::string_view *fields) {
  Remark remark{.code = judgementCodeOf(fields[0]).value_or(JudgementCode::failed),
                .detail = std::string(fields[1]),
                .file = std::string(fields[2])};
  readPlace(fields + 3, remark);
  return remark;
}

// The fields of a message of that kind, the first among them; none of another.
Fields fieldsIn(std::string_view message, std::string_view kind) {
  if (!message.starts_with(kind))
    return {};
  Fields fields = piecesOf(message, '\0');
  return fields.front() == kind ? fields : Fields();
}

} // namespace

std::string messageOf(const Judgement &judgement) {
  FieldWriter writer(kJudgement);
  writer.add(judgement.path).add(judgement.records).add(judgement.verdict);
  for (const Remark &remark : judgement.remarks)
    writer.add(remark);
  return writer.message();
}

std::optional<Judgement> judgementIn(std::string_view message) {
  const Fields fields = fieldsIn(message, kJudgement);
  constexpr std::size_t kRemarks = 3;
  if (fields.size() < kRemarks + kFieldsOfRemark ||
      (fields.size() - kRemarks) % kFieldsOfRemark != 0)
    return std::nullopt;
  Judgement judgement{
      std::string(fields[1]), remarkIn(&fields[kRemarks]), numberIn<std::size_t>(fields[2]), {}};
  for (std::size_t i = kRemarks + kFieldsOfRemark; i < fields.size(); i += kFieldsOfRemark)
    judgement.remarks.push_back(remarkIn(&fields[i]));
  return judgement;
}

std::string messageOf(const LateRemark &late) {
  return FieldWriter(kLateRemark).add(late.path).add(late.remark).message();
}

std::optional<LateRemark> lateRemarkIn(std::string_view message) {
  const Fields fields = fieldsIn(message, kLateRemark);
  if (fields.size() != 2 + kFieldsOfRemark)
    return std::nullopt;
  return LateRemark{std::string(fields[1]), remarkIn(&fields[2])};
}

std::string messageOf(const Finding &finding) {
  return FieldWriter(kFinding)
      .add(finding.file)
      .addPlace(finding)
      .add(finding.isError ? "1" : "0")
      .add(finding.word)
      .add(finding.text)
      .message();
}

std::optional<Finding> findingIn(std::string_view message) {
  const Fields fields = fieldsIn(message, kFinding);
  if (fields.size() != 1 + kFieldsOfFinding)
    return std::nullopt;
  Finding finding{.file = std::string(fields[1]),
                  .isError = fields[5] == "1",
                  .word = std::string(fields[6]),
                  .text = std::string(fields[7])};
  readPlace(&fields[2], finding);
  return finding;
}

std::string messageOfError(int error) {
  return FieldWriter(kError).add(static_cast<std::uint64_t>(error)).message();
}

std::optional<int> errorIn(std::string_view message) {
  const Fields fields = fieldsIn(message, kError);
  return fields.size() == 2 ? std::optional(numberIn<int>(fields[1])) : std::nullopt;
}

} // namespace tesker
