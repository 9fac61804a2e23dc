// Judgement.h - what became of each entry that a search met, told to anyone who asks.
//
// A search passes over in silence what is not an application. While a Judge lives, the walk and the
// parsers tell it of every entry: a search path, a name in a walked directory, a name directly in a
// wrapper that is parsed; behind a link an entry is judged under the link's path. Each gets one
// verdict and any number of remarks. Without a Judge nothing of this costs more than a look at a
// pointer, and with one the records are the same.
//
// What finds something out about the entry that is being judged calls giveVerdict or remark with a
// function that makes the remark, which is called only when somebody listens.
#pragma once

#include "platform/foundation/NSException.h"
#include "platform/foundation/NSString.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tesker {

// Every code is a verdict or a remark; its word (wordOf) never changes.
enum class JudgementCode : std::uint8_t {
  found,               // records were made
  searched,            // a directory that is not a wrapper: its entries are judged by themselves
  wrapperPart,         // an ordinary part of a wrapper
  notThere,            // a search path that names nothing
  danglingLink,        // a link that leads nowhere
  linkCycle,           // the system refuses the path: too many links (ELOOP)
  skippedLink,         // it leads back to a directory above it, and is left out (WayDown.h)
  pathTooLong,         // the system refuses the path: too long (ENAMETOOLONG)
  vanished,            // it was listed, and then not there
  noPermission,        // a directory on the way may not be searched
  notSearchable,       // a directory without search or read permission
  notExecutable,       // a file without execute permission
  notReadable,         // it may not be read
  readError,           // reading it failed
  specialFile,         // not a regular file
  dotName,             // the name begins with "."
  backupName,          // the name ends in "~"
  noDescription,       // a wrapper without a description
  descriptionTooLarge, // a description of more bytes than are read
  descriptionTooDeep,  // a description is looked for below this entry, where it cannot be
  malformedList,       // a property list that cannot be parsed
  wrongKind,           // a value of another kind than the key's
  typesCutShort,       // an element that ends the list of types
  unknownKey,          // a key that is nearly one that is looked for
  missingKey,          // a key without which a record lacks something
  passedOver,          // not looked at, since a description was seen first
  noSelfDescription,   // an executable that says nothing of itself
  malformedHeaderLine, // a line of an icon header that is not a command
  damagedImage,        // an executable image that contradicts itself
  otherProcessor,      // it does not run on this machine
  nearSuffix,          // a directory whose suffix is nearly a wrapper's
  limitsReached,       // there is more than a search answers, or a file may hold
  failed,              // judging it raised an exception
  shadowed,            // it is found, and another application comes before it

  // Details: never a verdict, and told only to a judge that wants them.
  ignored,        // what is passed over without harm, or what nobody looks for
  repeatedKey,    // a key that stands again further down, where it counts
  extensionTaken, // a record was made of this extension
  iconTaken,      // a description's icon
  nameTaken,      // an application's name
};
inline constexpr auto kJudgementCodes = static_cast<std::size_t>(JudgementCode::shadowed) + 1;
inline constexpr auto kAllCodes = static_cast<std::size_t>(JudgementCode::nameTaken) + 1;
inline constexpr bool isDetail(JudgementCode code) { return code > JudgementCode::shadowed; }

// "not-executable"; and back, nothing for other words.
[[nodiscard]] std::string_view wordOf(JudgementCode code);
[[nodiscard]] std::optional<JudgementCode> judgementCodeOf(std::string_view word);

// What was found out, and what it rests on. All texts are bytes.
struct Remark {
  JudgementCode code;
  std::string detail = {};                  // a key, a line's text, what was expected, ...
  std::string file = {};                    // what it is about, where that is not the entry itself
  std::size_t line = 0;                     // in the file, from 1; 0 where there is none
  std::size_t column = 0;                   // in bytes, from 1; 0 where there is none
  std::optional<std::uint64_t> offset = {}; // in the file
  bool isTaken = false;                     // what it is about went into a record all the same
};

struct Judgement {
  std::string path;
  Remark verdict;
  std::size_t records = 0;     // that it made; those of nested wrappers count for these
  std::vector<Remark> remarks; // the first of them, and limitsReached for more than kMostRemarks
};
inline constexpr std::size_t kMostRemarks = 10'000;

inline Remark failed(const NSException &exception) {
  return {.code = JudgementCode::failed, .detail = exception.reason()};
}

class Judge {
public:
  // The new judge is the one that is told, until it goes.
  Judge() : before_(std::exchange(current_, this)) {}
  virtual ~Judge() { current_ = before_; }
  Judge(const Judge &) = delete;
  Judge &operator=(const Judge &) = delete;

  // Nil when nobody listens.
  static Judge *current() { return current_; }

  // An entry is judged. Those directly in a wrapper come behind the wrapper.
  virtual void note(const Judgement &judgement) = 0;

  // Whether details are told, which is done as they come, with the path of their entry.
  [[nodiscard]] virtual bool wantsDetails() const { return false; }
  virtual void noteDetail(const std::string & /*path*/, const Remark & /*detail*/) {}
  static bool currentWantsDetails() { return current_ != nullptr && current_->wantsDetails(); }

  // ---- for those who judge: judged(), giveVerdict() and remark() ----

  void open(const NSString &dir, std::string_view file);
  void close();
  void setVerdict(Remark verdict);
  void addRemark(Remark remark);
  void countRecords(std::size_t number);
  // The entry is a wrapper: its parts wait for its verdict.
  void enterWrapper();

private:
  struct Open {
    Judgement judgement;
    std::optional<Remark> verdict;
    std::size_t recordsOfParts = 0; // which parts have counted
    bool isWrapper = false;
    std::vector<Judgement> parts; // of a wrapper, done
  };
  void settle(Open &entry);

  inline static constinit thread_local Judge *current_ = nullptr;
  Judge *const before_;
  std::vector<Open> open_;
};

// Judges dir/file in the body; a nil dir is the file's own. What the body raises passes.
template <class Body> void judged(const NSString &dir, std::string_view file, Body body) {
  Judge *judge = Judge::current();
  if (judge == nullptr)
    return body();
  judge->open(dir, file);
  try {
    body();
  } catch (const NSException &exception) {
    judge->setVerdict(failed(exception));
    judge->close();
    throw;
  }
  judge->close();
}

// The verdict of the entry that is being judged, unless it has one already or records are counted.
template <class Make> void giveVerdict(Make make) {
  if (Judge *judge = Judge::current())
    judge->setVerdict(make());
}
inline void giveVerdict(JudgementCode code) {
  giveVerdict([code] { return Remark{.code = code}; });
}

// A remark on it.
template <class Make> void remark(Make make) {
  if (Judge *judge = Judge::current())
    judge->addRemark(make());
}

// It has made so many records, those of its parts among them.
inline void countRecords(std::size_t number) {
  if (Judge *judge = Judge::current())
    judge->countRecords(number);
}

// What a failure to examine, open or read with that errno says of an entry: `missing` where it is
// not there, `forbidden` where this user may not. What opens and is not a regular file fails with
// EINVAL (openRegularFile).
[[nodiscard]] JudgementCode codeOfError(int error, JudgementCode missing,
                                        JudgementCode forbidden = JudgementCode::noPermission);

// The verdict that follows from the call that failed last (lastReadFailure).
void giveVerdictOfFailure(JudgementCode missing,
                          JudgementCode forbidden = JudgementCode::noPermission);

} // namespace tesker
