#include "tests/master/HostileTools.h"

namespace tesker::test {

Ending endingOf(const SearchOutcome &outcome) {
  const auto *failure = std::get_if<SearchFailure>(&outcome.result);
  if (failure == nullptr)
    return Ending::answered;
  switch (failure->kind) {
  case SearchFailure::Kind::noHandOver:
    return Ending::noHandOver;
  case SearchFailure::Kind::toolDied:
    return Ending::toolDied;
  case SearchFailure::Kind::timedOut:
    return Ending::timedOut;
  case SearchFailure::Kind::protocolBroken:
    return Ending::protocolBroken;
  case SearchFailure::Kind::malformedAnswer:
    return Ending::malformedAnswer;
  case SearchFailure::Kind::connectionLost:
    return Ending::connectionLost;
  case SearchFailure::Kind::cancelled:
    return Ending::cancelled;
  default:
    return Ending::cannotSearch;
  }
}

const char *nameOf(Ending ending) {
  switch (ending) {
  case Ending::answered:
    return "answered";
  case Ending::cannotSearch:
    return "cannot search";
  case Ending::noHandOver:
    return "no hand-over";
  case Ending::toolDied:
    return "tool died";
  case Ending::timedOut:
    return "timed out";
  case Ending::protocolBroken:
    return "protocol broken";
  case Ending::malformedAnswer:
    return "malformed answer";
  case Ending::connectionLost:
    return "connection lost";
  case Ending::cancelled:
    return "cancelled";
  }
  return "";
}

const std::vector<HostileToolKind> &hostileTools() {
  static const std::vector<HostileToolKind> tools{
      {"exit-0", Ending::noHandOver},
      {"exit-3", Ending::toolDied},
      {"kill-itself", Ending::toolDied},
      {"never-connect", Ending::timedOut},
      {"log-much", Ending::toolDied},
      {"connect-and-hang", Ending::timedOut},
      {"connect-and-close", Ending::connectionLost},
      {"send-31-bytes", Ending::protocolBroken},
      {"send-33-bytes", Ending::protocolBroken},
      {"send-no-descriptor", Ending::protocolBroken},
      {"send-two-descriptors", Ending::protocolBroken},
      {"send-a-file", Ending::protocolBroken},
      {"send-number-80", Ending::protocolBroken},
      {"hang-after-hand-over", Ending::timedOut},
      {"garbage-bus", Ending::connectionLost},
      {"flood", Ending::timedOut},
      {"no-answer", Ending::toolDied},
      {"crash-in-search", Ending::toolDied},
      {"hang-in-search", Ending::timedOut},
      {"empty-answer", Ending::answered},
      {"garbage-answer", Ending::malformedAnswer},
      {"index-outside", Ending::malformedAnswer},
      {"always-unchanged", Ending::protocolBroken},
      {"wrong-key", Ending::protocolBroken},
      {"answer-twice", Ending::protocolBroken},
      {"exit-9-after-answer", Ending::toolDied},
      {"hang-after-answer", Ending::timedOut},
      {"leave-a-grandchild", Ending::answered},
      {"exit-255", Ending::toolDied},
      {"segfault", Ending::toolDied},
      {"exec-another", Ending::noHandOver},
      {"stop-itself", Ending::timedOut},
      {"stop-itself-in-the-search", Ending::timedOut},
      {"ignore-signals", Ending::timedOut},
      {"leave-its-group", Ending::timedOut},
      {"leave-many", Ending::noHandOver, Leaves::processes},
      {"leave-the-connection", Ending::toolDied, Leaves::processes},
      {"leave-the-service", Ending::noHandOver, Leaves::processes},
      {"leave-one-that-writes-files", Ending::noHandOver, Leaves::processes},
      {"fill-the-directory", Ending::noHandOver, Leaves::deepDirectories},
      {"remove-the-directory", Ending::noHandOver},
      {"replace-the-service", Ending::noHandOver},
      {"close-the-directory", Ending::noHandOver},
      {"close-its-log", Ending::timedOut},
      {"log-without-pause", Ending::timedOut},
      {"log-empty-lines-without-pause", Ending::timedOut},
      {"log-one-line-without-end", Ending::timedOut},
      {"log-nuls", Ending::timedOut},
      {"connect-often", Ending::timedOut},
      {"connect-without-end", Ending::connectionLost},
      {"connect-from-many", Ending::connectionLost, Leaves::processes},
      {"send-an-empty-packet", Ending::connectionLost},
      {"send-64-bytes", Ending::protocolBroken},
      {"send-many-descriptors", Ending::protocolBroken},
      {"send-a-packet-socket", Ending::protocolBroken},
      {"send-a-datagram-socket", Ending::protocolBroken},
      {"send-number-79", Ending::protocolBroken},
      {"send-a-dead-port", Ending::connectionLost},
      {"send-a-full-port", Ending::connectionLost},
      {"hand-over-twice", Ending::timedOut},
      {"auth-nothing", Ending::timedOut},
      {"auth-half", Ending::timedOut},
      {"auth-half-and-exit", Ending::toolDied},
      {"auth-without-nul", Ending::connectionLost},
      {"auth-begin-first", Ending::timedOut},
      {"auth-unknown", Ending::timedOut},
      {"auth-endless-line", Ending::connectionLost},
      {"auth-without-end", Ending::connectionLost, Leaves::nothing, 256, Ending::toolDied},
      {"auth-for-descriptors", Ending::timedOut},
      {"auth-and-nuls", Ending::timedOut},
      {"close-its-input", Ending::connectionLost},
      {"close-its-output", Ending::connectionLost},
      {"send-a-descriptor-on-the-bus", Ending::connectionLost},
      {"half-a-header", Ending::timedOut},
      {"half-a-message", Ending::timedOut},
      {"half-a-message-and-exit", Ending::toolDied},
      {"huge-body-announced", Ending::connectionLost},
      {"large-body-announced", Ending::timedOut},
      {"huge-header-announced", Ending::connectionLost},
      {"wrong-order-mark", Ending::connectionLost},
      {"wrong-version", Ending::timedOut},
      {"wrong-type", Ending::timedOut},
      {"no-serial", Ending::timedOut},
      {"wrong-body-length", Ending::connectionLost},
      {"wrong-signature", Ending::timedOut},
      {"two-texts", Ending::timedOut},
      {"array-beyond-the-message", Ending::connectionLost},
      {"unknown-client", Ending::timedOut},
      {"unknown-member", Ending::timedOut},
      {"unknown-interface", Ending::timedOut},
      {"ask-the-master-to-search", Ending::timedOut},
      {"unasked-reply", Ending::timedOut},
      {"self-first-and-exit", Ending::toolDied},
      {"self-without-end", Ending::timedOut},
      {"ping-without-end", Ending::timedOut},
      {"unknown-without-end", Ending::timedOut},
      {"long-names-without-end", Ending::timedOut},
      {"carry-and-hang", Ending::timedOut},
      {"carry-garbage", Ending::malformedAnswer},
      {"carry-wrong-signature", Ending::timedOut},
      {"carry-without-end", Ending::toolDied, Leaves::nothing, 2048},
      {"progress-and-hang", Ending::timedOut},
      {"progress-in-the-other-order", Ending::timedOut},
      {"progress-of-long-paths", Ending::timedOut},
      {"progress-wrong-signature", Ending::timedOut},
      {"progress-without-end", Ending::timedOut},
      {"progress-of-megabytes-without-end", Ending::timedOut},
      {"progress-for-replies-without-end", Ending::timedOut},
      {"progress-after-the-answer", Ending::answered},
      {"another-key", Ending::protocolBroken},
      {"no-key", Ending::protocolBroken},
      {"huge-key", Ending::protocolBroken},
      {"nil-unasked", Ending::protocolBroken},
      {"empty-text", Ending::answered},
      {"only-nuls", Ending::malformedAnswer},
      {"a-count-beyond-reason", Ending::malformedAnswer},
      {"more-records-than-allowed", Ending::malformedAnswer},
      {"an-index-beyond-reason", Ending::malformedAnswer},
      {"many-brackets", Ending::malformedAnswer},
      {"twice", Ending::protocolBroken},
      {"twice-with-self", Ending::protocolBroken},
      {"answer-and-close", Ending::connectionLost},
      {"answer-and-die", Ending::toolDied},
      {"answer-and-garbage", Ending::connectionLost},
      {"answer-and-exit", Ending::answered},
      {"answer-in-the-other-order", Ending::answered},
  };
  return tools;
}

} // namespace tesker::test
