#include "master/Search.h"

#include "parsing/RecordEncoding.h"
#include "platform/foundation/OperatingSystem.h"
#include "platform/foundation/ReadFailures.h"
#include "platform/ports/Bootstrap.h"
#include "protocol/BusLibrary.h"
#include "protocol/FinderProtocol.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <new>
#include <utility>

namespace tesker {

namespace {

// How long a tool whose connection has ended gets to end too, so that its exit status can be told.
constexpr std::chrono::seconds kTimeToEnd{2};
// How long a tool that was told to stop gets to hand over what it has.
constexpr std::chrono::seconds kTimeToGive{2};
constexpr std::chrono::milliseconds kTimeBetweenProgress{100};
// Where the tool's end does not wake the one who waits for it.
constexpr int kMillisecondsBetweenLooks = 20;
// A tool that never stops sending must not keep the master from seeing everything else. Not so many
// messages, for each may be of megabytes.
constexpr std::chrono::milliseconds kDispatchingInARow{10};
// Nor must a long answer keep the host from its other work, or files that the tool has left.
constexpr std::chrono::milliseconds kReadingInARow{10};
constexpr std::chrono::milliseconds kRemovingInARow{10};

NSString stringOf(std::optional<std::string_view> text) {
  return text ? NSString::create(*text) : nullptr;
}

// Of a failed check-in.
std::string textOfStatus(kern_return_t status) {
  return status < BOOTSTRAP_NOT_PRIVILEGED ? std::strerror(status)
                                           : "bootstrap status " + std::to_string(status);
}

} // namespace

SearchFailure outOfMemory(SearchStage stage) {
  // So short that it needs no memory itself.
  return {SearchFailure::Kind::cannotSearch, stage, std::nullopt, "out of memory"};
}

Search::Search(FinderMasterOptions options, const FinderSearchRequest &request)
    : options_(std::move(options)), readingAheadWish_(readingAheadWish(options_)),
      kind_(request.kind), argument_(NSString::create(request.argument)),
      previous_(stringOf(request.previous)), deadline_(Deadline::in(options_.timeout)),
      waitingEnds_(deadline_),
      receiver_(AnswerReceiver::create(
          kind_ == FinderSearchRequest::Kind::dockPaths ? NSString::create(kDockKey) : argument_,
          request.previous.has_value())),
      nextTold_(Deadline::in({})) {}

NSConnection *Search::connection() const {
  return handOver_ ? handOver_->connection().pointer() : nullptr;
}

SearchStage Search::stage() const {
  if (connection() == nullptr)
    return SearchStage::handOver;
  return receiver_->answered() ? SearchStage::end : SearchStage::search;
}

std::optional<SearchFailure> Search::begin() {
  if (argument_.length() > NSConnection::kLargestArgument)
    return failure(Kind::cannotSearch, "the request is longer than a message can be");
  if (kind_ == FinderSearchRequest::Kind::dockPaths &&
      countOfDockPaths(argument_.bytes()) > kMostDockPaths)
    return failure(Kind::cannotSearch,
                   "the request has more paths than " + std::to_string(kMostDockPaths));
  if (previous_.length() > NSConnection::kLargestCarriedText)
    return failure(Kind::cannotSearch, "the previous answer is longer than an answer can be");
  Result<PrivateDirectory> directory = PrivateDirectory::create();
  if (!directory)
    return failure(Kind::cannotSearch, std::string("no private directory can be made: ") +
                                           std::strerror(directory.error()));
  directory_.emplace(std::move(*directory));
  Result<MasterHandOver> handOver = MasterHandOver::listen(directory_->bootstrapPath());
  if (!handOver)
    return failure(Kind::cannotSearch, "the service cannot be registered in " +
                                           directory_->bootstrapPath() + ": " +
                                           textOfStatus(handOver.error()));
  handOver_.emplace(std::move(*handOver));
  return startTool();
}

std::optional<SearchFailure> Search::startTool() {
  ToolProcess::Environment environment{{"TESKER_BOOTSTRAP_DIR", directory_->bootstrapPath()},
                                       {"TESKER_LOG_STDERR", "1"}};
  if (!options_.cpu.empty())
    environment.emplace_back("TESKER_HOST_CPU", options_.cpu);
  if (options_.logConfinement)
    environment.emplace_back("TESKER_LOG_CONFINEMENT", "1");
  environment.emplace_back(wishes::kLinkCycles,
                           options_.followLinkCycles ? "follow" : wishes::kSkip);
  if (options_.onProgress || !readingAheadWish_.program.empty())
    environment.emplace_back(wishes::kProgress, wishes::kReport);
  if (options_.takesPartialAnswers)
    environment.emplace_back(wishes::kPartialAnswers, wishes::kGive);
  auto started = ToolProcess::start(options_.tool, environment);
  if (!started)
    return failure(Kind::cannotSearch,
                   std::string("no process can be started: ") + std::strerror(started.error()));
  tool_ = std::move(*started);
  log_ = std::make_unique<LogLines>(tool_->takeLogPipe(),
                                    [this](std::string_view line) { takeLogLine(line); });
  // While the tool starts.
  if (const std::optional<std::string> problem = loadBusLibrary())
    return failure(Kind::cannotSearch, "the bus library cannot be loaded: " + *problem);
  return std::nullopt;
}

// Of its confinement the tool speaks before it has met a file that could make it lie, and only
// what it says first is believed.
void Search::takeLogLine(std::string_view line) {
  incomplete_ = incomplete_ || line.starts_with(kIncompleteLine);
  skippedLinks_ += line.starts_with(kSkippedLinkLine) ? 1 : 0;
  if (options_.logConfinement && !confinement_ && line.starts_with(kConfinementLine))
    confinement_ = line.substr(kConfinementLine.size());
  if (options_.onLogLine)
    options_.onLogLine(line);
}

std::optional<SearchFailure> Search::stepStart() {
  const int error = tool_->startError();
  if (error == 0)
    return std::nullopt;
  if (isExhaustion(error) || error == EAGAIN)
    return failure(Kind::cannotSearch,
                   std::string("no process can be started: ") + std::strerror(error));
  return failure(Kind::toolMissing,
                 "the tool " + options_.tool + " cannot be executed: " + std::strerror(error));
}

void Search::appendPollDescriptors(std::vector<pollfd> &descriptors) const {
  if (tool_)
    descriptors.insert(descriptors.end(), {{tool_->endDescriptor(), POLLIN, 0},
                                           {tool_->startDescriptor(), POLLIN, 0}});
  if (readingAhead_ && hasResult_)
    descriptors.push_back({readingAhead_->endDescriptor(), POLLIN, 0});
  if (hasResult_)
    return;
  descriptors.push_back({log_->descriptor(), POLLIN, 0});
  if (!connectionLost_)
    handOver_->appendPollDescriptors(descriptors);
  if (const NSConnection *connected = connection())
    connected->appendPollDescriptors(descriptors);
}

int Search::pollTimeout() const {
  if (hasResult_)
    return isEnding_ && tool_ ? kMillisecondsBetweenLooks : 0;
  if (moreToDispatch_ || reading_ || cancelled_)
    return 0;
  int timeout = waitingEnds_.pollTimeout();
  if (tool_->endDescriptor() < 0)
    timeout = std::min(timeout, kMillisecondsBetweenLooks);
  if (mayReadAhead())
    timeout = std::min(timeout, readingAhead_->pollTimeout());
  if (hasProgress())
    timeout = std::min(timeout, nextTold_.pollTimeout());
  if (const NSConnection *connected = connection())
    if (const int own = connected->pollTimeout(); own >= 0 && !connectionLost_)
      timeout = std::min(timeout, own);
  return timeout;
}

bool Search::step() {
  if (hasResult_)
    return stepEnd();
  try {
    if (Found found = reading_ ? readAnswer() : serve())
      setResult(std::move(*found));
  } catch (const std::bad_alloc &) {
    setResult(outOfMemory(stage()));
  }
  return false; // what is not waited for any more is closed in the next step
}

void Search::setResult(SearchOutcome::Result result) {
  reading_.reset();
  outcome_.result = std::move(result);
  hasResult_ = true;
  if (readingAhead_)
    readingAhead_->beginToKill();
  tool_->beginToKill();
}

void Search::fail(int error) {
  if (hasResult_)
    return;
  try {
    setResult(failure(Kind::cannotSearch,
                      std::string("the tool cannot be waited for: ") + std::strerror(error)));
  } catch (const std::bad_alloc &) {
    setResult(outOfMemory(stage()));
  }
}

bool Search::stepEnd() {
  isEnding_ = true;
  if (tool_) {
    if (!tool_->end() || (readingAhead_ && !readingAhead_->hasEnded()))
      return false;
    readingAhead_.reset();
    takeRestOfLog();
    tool_.reset();
    handOver_.reset();
  }
  if (!directory_->remove(Deadline::in(kRemovingInARow)))
    return false;
  directory_.reset();
  return true;
}

void Search::takeRestOfLog() {
  if (!log_)
    return;
  const std::unique_ptr<LogLines> log = std::move(log_);
  try {
    if (hasProgress())
      outcome_.progress = receiver_->progress();
    log->finish();
    // A lost line may have said so.
    outcome_.incomplete = outcome_.incomplete || incomplete_ || log->isCutShort();
    outcome_.confinement = std::move(confinement_);
    outcome_.logLines = log->lines();
  } catch (const std::bad_alloc &) {
    // The outcome is good without the lines, but one of them may have said that something is
    // missing.
    outcome_.logLines.clear();
    outcome_.incomplete = true;
  }
  outcome_.logLineCount = log->count();
  outcome_.skippedLinks = skippedLinks_;
}

Search::Found Search::serve() {
  log_->read();
  // Asked first: what the tool sent before it ended is then there to be taken.
  const std::optional<ToolEnd> end = tool_->end();
  if (std::optional<SearchFailure> failed = stepStart())
    return std::move(*failed);
  if (std::optional<SearchFailure> failed = stepHandOver())
    return std::move(*failed);
  stepConnection();
  tellProgress();
  if (mayReadAhead())
    readingAhead_->step(*tool_, receiver_->progress());
  if (const int lack = connection() != nullptr ? connection()->lack() : 0; lack != 0)
    return failure(Kind::cannotSearch,
                   std::string("the tool cannot be talked to: ") + std::strerror(lack));
  if (!receiver_->complaint().empty())
    return failure(Kind::protocolBroken, receiver_->complaint());
  if (end && !moreToDispatch_)
    return judge(*end);
  if (std::optional<SearchFailure> failed = whatEndsTheWaiting())
    return std::move(*failed);
  return std::nullopt;
}

std::optional<SearchFailure> Search::stepHandOver() {
  if (connectionLost_)
    return std::nullopt;
  const bool wasConnected = connection() != nullptr;
  switch (handOver_->step()) {
  case MasterHandOver::State::waiting:
    break;
  case MasterHandOver::State::done:
    if (!wasConnected)
      sendRequest();
    break;
  case MasterHandOver::State::lost:
    connectionHasEnded();
    break;
  case MasterHandOver::State::broken:
    return failure(Kind::protocolBroken, handOver_->reason());
  case MasterHandOver::State::failed:
    return failure(Kind::cannotSearch, handOver_->reason());
  }
  return std::nullopt;
}

void Search::sendRequest() {
  FinderRequests &tool = connection()->rootProxy();
  if (kind_ == FinderSearchRequest::Kind::dockPaths)
    tool.findAppsForDockPaths(argument_, previous_, receiver_);
  else
    tool.findAppsInSearchPath(argument_, previous_, receiver_);
  if (!readingAheadWish_.program.empty())
    readingAhead_.emplace(readingAheadWish_, argument_.bytes(), kind_);
}

void Search::stepConnection() {
  moreToDispatch_ = false;
  NSConnection *connected = connection();
  if (connected == nullptr || connectionLost_)
    return;
  const Deadline pause = Deadline::in(kDispatchingInARow);
  do {
    moreToDispatch_ = connected->dispatch();
  } while (moreToDispatch_ && receiver_->complaint().empty() && !pause.passed());
  if (!connected->isValid())
    connectionHasEnded();
}

// However often the tool tells, and even when it does not any more, so that the caller can show
// that time passes.
void Search::tellProgress() {
  if (!hasProgress() || !nextTold_.passed())
    return;
  options_.onProgress(*receiver_->progress());
  nextTold_ = Deadline::in(kTimeBetweenProgress);
}

void Search::connectionHasEnded() {
  connectionLost_ = true;
  waitingEnds_ = earlier(deadline_, Deadline::in(kTimeToEnd));
}

void Search::stop() {
  if (canBeStopped())
    stopTool(givenUp());
  else if (!cut_ && stage() != SearchStage::end)
    cancel();
}

void Search::stopTool(SearchFailure cut) {
  cut_ = std::move(cut);
  deadline_ = waitingEnds_ = Deadline::in(kTimeToGive);
  tool_->askToEnd();
}

std::optional<SearchFailure> Search::whatEndsTheWaiting() {
  if (cancelled_)
    return givenUp();
  if (!waitingEnds_.passed())
    return std::nullopt;
  if (cut_)
    return cut_;
  if (connectionLost_)
    return failure(Kind::connectionLost,
                   "the connection ended " + describe(stage()) +
                       ": the tool has closed it or sent what is not understood");
  if (!canBeStopped())
    return timedOut();
  stopTool(timedOut());
  return std::nullopt;
}

Search::Found Search::judge(const ToolEnd &end) {
  const bool worked =
      end.kind == ToolEnd::Kind::unknown || (end.kind == ToolEnd::Kind::exited && end.value == 0);
  if (cut_ && !receiver_->answered())
    return *cut_; // it does not give parts
  if (!worked)
    return failure(Kind::toolDied,
                   "the tool died " + describe(stage()) + " (" + describe(end) + ")", end);
  if (stage() == SearchStage::handOver)
    return failure(Kind::noHandOver, "the tool ended without connecting (" + describe(end) + ")",
                   end);
  if (!receiver_->answered())
    return failure(Kind::toolDied, "the tool ended without an answer (" + describe(end) + ")", end);
  if (!receiver_->text())
    return SearchUnchanged{};
  reading_.emplace(receiver_->text());
  if (reading_->count() > kMostRecords)
    return failure(Kind::malformedAnswer, "the tool's answer has more records than one may have");
  return readAnswer();
}

Search::Found Search::readAnswer() {
  if (!reading_->readUntil(earlier(deadline_, Deadline::in(kReadingInARow)))) {
    if (deadline_.passed())
      return timedOut();
    if (cancelled_)
      return givenUp();
    return std::nullopt;
  }
  if (reading_->isMalformed())
    return failure(Kind::malformedAnswer, "the tool's answer is no list of records");
  if (receiver_->isPart()) {
    outcome_.incomplete = true;
    outcome_.cut = cut_;
  }
  return reading_->takeAnswer();
}

} // namespace tesker
