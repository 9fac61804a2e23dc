#include "command/ResultWriter.h"

#include "command/JSONItems.h"
#include "command/RecordJSON.h"
#include "command/RecordTable.h"

namespace tesker {

namespace {

// Nothing where an answer is all there is.
std::string incompleteMember(const SearchResult &result) {
  return result.incomplete ? ",\"incomplete\":true" : "";
}

std::string confinementMember(const SearchResult &result) {
  return result.confinement ? ",\"confinement\":" + textAsJSON(*result.confinement) : "";
}

// The answer text, byte for byte.
class RawWriter final : public ResultWriter {
public:
  explicit RawWriter(Output &output) : output_(output) {}
  void add(const SearchResult &result) override {
    if (result.text != nullptr)
      output_.write(*result.text);
  }

private:
  Output &output_;
};

// One document, with one record on a line.
class JSONWriter final : public ResultWriter {
public:
  explicit JSONWriter(Output &output) : output_(output) {}
  void begin() override { output_.write("{" + schemaMember() + ",\"results\":["); }
  void add(const SearchResult &result) override {
    output_.write(std::string(first_ ? "\n{" : ",\n{") +
                  requestMembers(result.request, result.key) +
                  ",\"unchanged\":" + (result.text != nullptr ? "false" : "true") +
                  incompleteMember(result) + confinementMember(result) + ",\"records\":[");
    first_ = false;
    addRecords(result);
    output_.write("]}");
  }
  void end(const Problems &problems) override {
    output_.write("\n]" + problemMembers(problems) + "}\n");
  }

private:
  void addRecords(const SearchResult &result) {
    const char *separator = "\n";
    const char *end = "";
    forEachRecord(result.records, [&](const SearchRecord &record) {
      output_.write(separator);
      output_.write(recordAsJSON(record));
      separator = ",\n";
      end = "\n";
    });
    output_.write(end);
  }
  Output &output_;
  bool first_ = true;
};

// One document for each record, and for each unchanged or incomplete answer, on a line of its own.
class JSONLinesWriter final : public ResultWriter {
public:
  explicit JSONLinesWriter(Output &output) : output_(output) {}
  void add(const SearchResult &result) override {
    const std::string members =
        "{" + schemaMember() + "," + requestMembers(result.request, result.key);
    if (result.text == nullptr)
      output_.write(members + ",\"unchanged\":true}\n");
    forEachRecord(result.records, [&](const SearchRecord &record) {
      output_.write(members + ",\"record\":" + recordAsJSON(record) + "}\n");
    });
    if (result.incomplete)
      output_.write(members + incompleteMember(result) + "}\n");
  }

private:
  Output &output_;
};

class TableWriter final : public ResultWriter {
public:
  TableWriter(Output &output, TableForm form) : output_(output), form_(std::move(form)) {}
  void add(const SearchResult &result) override {
    if (!first_ && form_.header)
      output_.write("\n");
    first_ = false;
    writeTable(output_, result, form_);
    // A person sees each answer when it is there.
    output_.flush();
  }

private:
  Output &output_;
  const TableForm form_;
  bool first_ = true;
};

} // namespace

RecordSource recordsIn(const std::vector<SearchRecord> &list) {
  return [next = list.begin(), end = list.end()]() mutable {
    return next == end ? nullptr : &*next++;
  };
}

SearchResult resultOf(std::string request, std::optional<std::string> key,
                      const SearchAnswer *answer, bool incomplete) {
  if (answer == nullptr)
    return {std::move(request), std::move(key), nullptr, incomplete};
  return {std::move(request), std::move(key), &answer->text, incomplete,
          recordsIn(answer->records)};
}

std::unique_ptr<ResultWriter> makeResultWriter(Format format, Output &output, TableForm form) {
  switch (format) {
  case Format::raw:
    return std::make_unique<RawWriter>(output);
  case Format::json:
    return std::make_unique<JSONWriter>(output);
  case Format::jsonl:
    return std::make_unique<JSONLinesWriter>(output);
  case Format::table:
    break;
  }
  return std::make_unique<TableWriter>(output, std::move(form));
}

} // namespace tesker
