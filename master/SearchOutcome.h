// SearchOutcome.h - what became of one search, and the records that an answer brings.
//
// Plain values; they stay good after the master that made them has gone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace tesker {

// One application, document type, services provider or bundle. docs/json.md says what the keys
// mean; keys and values are bytes, UTF-8 by convention.
struct SearchRecord {
  // In the order of the text; no key stands there twice.
  std::vector<std::pair<std::string, std::string>> pairs;

  // The value, lent until the record changes; nil when there is none for the key.
  [[nodiscard]] const std::string *find(std::string_view key) const;
  bool operator==(const SearchRecord &) const = default;
};

// The records that the encoded text holds; nothing when it is malformed.
[[nodiscard]] std::optional<std::vector<SearchRecord>> decodeRecords(std::string_view text);

// The same one by one, for texts of which the records are not all to be in memory at once. Moves,
// never copies.
class EncodedRecords {
public:
  // The text is borrowed.
  explicit EncodedRecords(std::string_view text);
  EncodedRecords(EncodedRecords &&) noexcept;
  EncodedRecords &operator=(EncodedRecords &&) noexcept;
  ~EncodedRecords();

  // How many there are, as the text announces; 0 when it is malformed at its beginning.
  [[nodiscard]] std::size_t count() const;
  // The next one; nothing after the last and where the text is malformed.
  [[nodiscard]] std::optional<SearchRecord> next();
  // Whether next() has come to something malformed.
  [[nodiscard]] bool isMalformed() const { return malformed_; }
  // Whether all of it is well formed. To be called before the first next().
  [[nodiscard]] bool check();

private:
  template <class Step> void attempt(Step step);

  struct Reader;
  std::unique_ptr<Reader> reader_; // nil for empty text
  bool malformed_ = false;
};

// The encoded text of the records. A key or value that holds a NUL cannot be read back. Of pairs
// with one key the last counts.
[[nodiscard]] std::string encodeRecords(const std::vector<SearchRecord> &records);

// How far a search had come.
enum class SearchStage {
  handOver, // the tool has not connected yet
  search,   // the request is sent or on its way; no answer yet
  end,      // the answer is here, the tool has not ended
};

// How a process ended.
struct ToolEnd {
  enum class Kind { exited, killed, unknown }; // unknown: somebody else took the status
  Kind kind;
  int value; // exit status or signal number
};

// The tool's answer.
struct SearchAnswer {
  std::string text;                  // the encoded records
  std::vector<SearchRecord> records; // the same, decoded
};

// The answer equals the previous text that the request brought.
struct SearchUnchanged {};

struct SearchFailure {
  enum class Kind {
    cannotSearch,    // this side's system refused what a search needs, or the request is too long
    toolMissing,     // the tool is not there or cannot be executed
    noHandOver,      // the tool ended, by itself and without an error, before it connected
    toolDied,        // it was killed, gave an exit status other than 0, or ended before its answer
    timedOut,        // the deadline passed
    protocolBroken,  // the tool sent something it must not send
    malformedAnswer, // the answer is not an encoded list of records
    connectionLost,  // the connection ended while the tool lived on
    cancelled,       // the caller's descriptor became readable
  };
  Kind kind;
  SearchStage stage;
  std::optional<ToolEnd> toolEnd; // when the tool ended by itself
  std::string reason;             // a sentence without its full stop
};

// How far a search has come.
struct SearchProgress {
  std::uint64_t directories = 0; // that it has entered
  std::uint64_t entries = 0;     // that it has seen in them
  std::uint64_t records = 0;
  std::string path;      // the search path
  std::string directory; // that is being searched; the search path before there is one
};

struct SearchOutcome {
  using Result = std::variant<SearchAnswer, SearchUnchanged, SearchFailure>;

  Result result;
  // Whether the answer lacks something, as a line of the tool's log says: what could not be read,
  // lay beyond the most that a search answers, or had not been reached when the search was stopped.
  bool incomplete = false;
  // The last lines that the tool wrote to its log (bytes, without line feeds), and how many it
  // wrote in all.
  std::vector<std::string> logLines;
  std::size_t logLineCount = 0;
  // What the tool has told of its confinement, "limits on, Landlock 6" for example; nothing where
  // FinderMasterOptions::logConfinement has not asked for it, or the tool has not told.
  std::optional<std::string> confinement = {};
  // How many directories the tool has left out, since they lead back to one above them, each named
  // in a line of its log that begins with kSkippedLinkLine (RecordEncoding.h).
  std::size_t skippedLinks = 0;
  // Why the search was ended before its end, of an answer with what was found until then
  // (FinderMasterOptions::takesPartialAnswers): timed out or cancelled.
  std::optional<SearchFailure> cut = {};
  // What the tool has told last; nothing where FinderMasterOptions::onProgress is empty, or the
  // tool has not told.
  std::optional<SearchProgress> progress = {};
};

// "before the hand-over", "during the search", "after its answer".
std::string describe(SearchStage stage);
// "exit status 3", "signal 9 (Killed)".
std::string describe(const ToolEnd &end);

} // namespace tesker
