#include "master/FinderMaster.h"

#include "master/AnswerReceiver.h"
#include "master/Deadline.h"
#include "master/HandOver.h"
#include "master/LogLines.h"
#include "master/PrivateDirectory.h"
#include "master/ToolProcess.h"
#include "parsing/RecordEncoding.h"

#include <cerrno>
#include <cstring>

namespace tesker {

namespace {

// How long a tool whose connection has ended gets to end too, so that its exit status can be told.
constexpr std::chrono::seconds kTimeToEnd{2};
// A tool that never stops sending must not keep the master from seeing everything else.
constexpr int kDispatchesInARow = 1000;

enum class Request { searchPath, dockPaths };

// One search, from start to end.
class Search {
public:
  Search(const FinderMasterOptions &options, Request request, std::string_view argument,
         const NSString *previous)
      : options_(options), request_(request), argument_(NSString::create(argument)),
        previous_(previous), deadline_(Deadline::in(options.timeout)),
        receiver_(AnswerReceiver::create(
            request == Request::dockPaths ? "Dock" : std::string(argument), previous != nullptr)) {}

  SearchOutcome run();

private:
  using Kind = SearchFailure::Kind;
  using Result = std::variant<SearchAnswer, SearchUnchanged, SearchFailure>;

  std::optional<SearchFailure> begin();
  std::optional<SearchFailure> startTool();
  Result serve();
  void wait();
  std::optional<SearchFailure> stepHandOver();
  void sendRequest();
  void stepConnection();
  std::optional<SearchFailure> whatEndsTheWaiting();
  void connectionHasEnded();
  Result judge(const ToolEnd &end);
  Result answer();

  SearchStage stage() const;
  SearchFailure failure(Kind kind, std::string reason,
                        std::optional<ToolEnd> end = std::nullopt) const {
    return {kind, stage(), end, std::move(reason)};
  }

  const FinderMasterOptions &options_;
  const Request request_;
  const Ref<NSString> argument_;
  const NSString *const previous_;
  Deadline deadline_;
  const Ref<AnswerReceiver> receiver_;

  // In the order in which they are made; the tool is ended before its service goes.
  PrivateDirectory directory_;
  HandOver handOver_;
  std::optional<LogLines> log_;
  std::unique_ptr<ToolProcess> tool_;
  bool connectionLost_ = false;
  bool cancelled_ = false;
  bool moreToDispatch_ = false; // what has come is not all taken yet
};

SearchStage Search::stage() const {
  if (!handOver_.connection())
    return SearchStage::handOver;
  return receiver_->answered() ? SearchStage::end : SearchStage::search;
}

std::optional<SearchFailure> Search::begin() {
  if (argument_->length() > NSConnection::kLargestArgument)
    return failure(Kind::cannotSearch, "the request is longer than a message can be");
  if (previous_ != nullptr && previous_->length() > NSConnection::kLargestCarriedText)
    return failure(Kind::cannotSearch, "the previous answer is longer than an answer can be");
  if (directory_.path().empty())
    return failure(Kind::cannotSearch, std::string("no private directory can be made: ") +
                                           std::strerror(directory_.error()));
  if (const kern_return_t status = handOver_.listen(directory_.path()))
    return failure(Kind::cannotSearch, "the service cannot be registered in " + directory_.path() +
                                           ": " +
                                           (status < BOOTSTRAP_NOT_PRIVILEGED
                                                ? std::string(std::strerror(status))
                                                : "bootstrap status " + std::to_string(status)));
  return startTool();
}

std::optional<SearchFailure> Search::startTool() {
  ToolProcess::Environment environment{{"TESKER_BOOTSTRAP_DIR", directory_.path()},
                                       {"TESKER_LOG_STDERR", "1"}};
  if (!options_.cpu.empty())
    environment.emplace_back("TESKER_HOST_CPU", options_.cpu);
  const int error = ToolProcess::start(options_.tool, environment, tool_);
  if (error == EMFILE || error == ENFILE || error == ENOMEM || error == EAGAIN)
    return failure(Kind::cannotSearch,
                   std::string("no process can be started: ") + std::strerror(error));
  if (error != 0)
    return failure(Kind::toolMissing,
                   "the tool " + options_.tool + " cannot be executed: " + std::strerror(error));
  log_.emplace(tool_->takeLogPipe(), options_.onLogLine);
  return std::nullopt;
}

SearchOutcome Search::run() {
  SearchOutcome outcome{SearchUnchanged{}, {}, 0};
  if (std::optional<SearchFailure> failed = begin())
    outcome.result = std::move(*failed);
  else
    outcome.result = serve();
  if (log_) {
    tool_->kill();
    log_->finish();
    outcome.logLines = log_->lines();
    outcome.logLineCount = log_->count();
  }
  return outcome;
}

Search::Result Search::serve() {
  for (;;) {
    wait();
    log_->read();
    // Asked first: what the tool sent before it ended is then there to be taken.
    const std::optional<ToolEnd> end = tool_->end();
    if (std::optional<SearchFailure> failed = stepHandOver())
      return std::move(*failed);
    stepConnection();
    if (!receiver_->complaint().empty())
      return failure(Kind::protocolBroken, receiver_->complaint());
    if (end && !moreToDispatch_)
      return judge(*end);
    if (std::optional<SearchFailure> failed = whatEndsTheWaiting())
      return std::move(*failed);
  }
}

void Search::wait() {
  std::vector<pollfd> descriptors{{tool_->endDescriptor(), POLLIN, 0},
                                  {log_->descriptor(), POLLIN, 0},
                                  {options_.cancelDescriptor, POLLIN, 0}};
  int timeout = moreToDispatch_ ? 0 : deadline_.pollTimeout();
  if (!connectionLost_)
    handOver_.appendPollDescriptors(descriptors);
  if (const RefPtr<NSConnection> &connection = handOver_.connection()) {
    connection->appendPollDescriptors(descriptors);
    if (const int own = connection->pollTimeout(); own >= 0 && !connectionLost_)
      timeout = std::min(timeout, own);
  }
  // Interrupted by a signal it has nothing to report, and the loop goes round once more.
  const int ready = ::poll(descriptors.data(), descriptors.size(), timeout);
  cancelled_ = ready > 0 && descriptors[2].revents != 0;
}

std::optional<SearchFailure> Search::stepHandOver() {
  const bool connected = static_cast<bool>(handOver_.connection());
  if (connectionLost_)
    return std::nullopt;
  switch (handOver_.step()) {
  case HandOver::State::waiting:
    break;
  case HandOver::State::done:
    if (!connected)
      sendRequest();
    break;
  case HandOver::State::lost:
    connectionHasEnded();
    break;
  case HandOver::State::broken:
    return failure(Kind::protocolBroken, handOver_.reason());
  case HandOver::State::failed:
    return failure(Kind::cannotSearch, handOver_.reason());
  }
  return std::nullopt;
}

void Search::sendRequest() {
  FinderRequests &tool = handOver_.connection()->rootProxy();
  if (request_ == Request::dockPaths)
    tool.findAppsForDockPaths(*argument_, previous_, receiver_);
  else
    tool.findAppsInSearchPath(*argument_, previous_, receiver_);
}

void Search::stepConnection() {
  moreToDispatch_ = false;
  const RefPtr<NSConnection> &connection = handOver_.connection();
  if (!connection || connectionLost_)
    return;
  moreToDispatch_ = true;
  for (int i = 0; i < kDispatchesInARow && moreToDispatch_ && receiver_->complaint().empty(); ++i)
    moreToDispatch_ = connection->dispatch();
  if (!connection->isValid())
    connectionHasEnded();
}

void Search::connectionHasEnded() {
  connectionLost_ = true;
  deadline_ = earlier(deadline_, Deadline::in(kTimeToEnd));
}

std::optional<SearchFailure> Search::whatEndsTheWaiting() {
  if (cancelled_)
    return failure(Kind::cancelled, "the search was given up");
  if (!deadline_.passed())
    return std::nullopt;
  if (connectionLost_)
    return failure(Kind::connectionLost,
                   "the connection ended " + describe(stage()) +
                       ": the tool has closed it or sent what is not understood");
  return failure(Kind::timedOut, "timed out " + describe(stage()));
}

Search::Result Search::judge(const ToolEnd &end) {
  const bool worked =
      end.kind == ToolEnd::Kind::unknown || (end.kind == ToolEnd::Kind::exited && end.value == 0);
  if (!worked)
    return failure(Kind::toolDied,
                   "the tool died " + describe(stage()) + " (" + describe(end) + ")", end);
  if (stage() == SearchStage::handOver)
    return failure(Kind::noHandOver, "the tool ended without connecting (" + describe(end) + ")",
                   end);
  if (!receiver_->answered())
    return failure(Kind::toolDied, "the tool ended without an answer (" + describe(end) + ")", end);
  return answer();
}

Search::Result Search::answer() {
  const RefPtr<NSString> &text = receiver_->text();
  if (!text)
    return SearchUnchanged{};
  RefPtr<NSMutableArray> records = decodeParsedApp(*text, NSDefaultMallocZone());
  if (!records)
    return failure(Kind::malformedAnswer, "the tool's answer is no list of records");
  return SearchAnswer{text.toRef(), records.toRef()};
}

} // namespace

SearchOutcome FinderMaster::findAppsInSearchPath(std::string_view path,
                                                 const NSString *previous) const {
  return Search(options_, Request::searchPath, path, previous).run();
}

SearchOutcome FinderMaster::findAppsForDockPaths(std::string_view paths,
                                                 const NSString *previous) const {
  return Search(options_, Request::dockPaths, paths, previous).run();
}

} // namespace tesker
