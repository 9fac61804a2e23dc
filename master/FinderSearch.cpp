#include "master/FinderSearch.h"

#include "master/ReadySet.h"
#include "master/Search.h"

#include <cstring>
#include <new>
#include <string>
#include <utility>

namespace tesker {

FinderSearch::Started FinderSearch::start(const FinderMasterOptions &options,
                                          const FinderSearchRequest &request, EndHandler onEnd) {
  try {
    Result<ReadySet> ready = ReadySet::create();
    if (!ready)
      return SearchFailure{SearchFailure::Kind::cannotSearch, SearchStage::handOver, std::nullopt,
                           std::string("nothing can be waited for: ") +
                               std::strerror(ready.error())};
    auto search = std::make_unique<Search>(options, request);
    if (std::optional<SearchFailure> failed = search->begin())
      return std::move(*failed);
    std::unique_ptr<FinderSearch> started(
        new FinderSearch(std::move(*ready), std::move(search), std::move(onEnd)));
    started->watch();
    return started;
  } catch (const std::bad_alloc &) {
    return outOfMemory(SearchStage::handOver);
  }
}

FinderSearch::FinderSearch(ReadySet ready, std::unique_ptr<Search> search, EndHandler onEnd)
    : ready_(std::make_unique<ReadySet>(std::move(ready))), search_(std::move(search)),
      onEnd_(std::move(onEnd)) {}

FinderSearch::~FinderSearch() = default;

int FinderSearch::descriptor() const { return ready_->descriptor(); }

void FinderSearch::watch() {
  int failed = 0;
  try {
    std::vector<pollfd> descriptors;
    search_->appendPollDescriptors(descriptors);
    failed = ready_->watch(descriptors, search_->pollTimeout());
  } catch (const std::bad_alloc &) {
    failed = ENOMEM;
  }
  if (failed != 0) {
    search_->fail(failed);
    ready_->wake();
  }
}

void FinderSearch::dispatch() {
  if (search_ == nullptr || isDispatching_)
    return;
  ready_->forget();
  isDispatching_ = true;
  bool isOver = false;
  try {
    isOver = search_->step();
  } catch (...) { // of a callback
    isDispatching_ = false;
    watch();
    throw;
  }
  isDispatching_ = false;
  if (!isOver)
    return watch();
  SearchOutcome outcome = search_->takeOutcome();
  search_.reset();
  const EndHandler onEnd = std::move(onEnd_); // which may destroy this
  onEnd(std::move(outcome));
}

void FinderSearch::stop() {
  if (search_ == nullptr)
    return;
  search_->stop();
  ready_->wake();
}

void FinderSearch::cancel() {
  if (search_ == nullptr)
    return;
  search_->cancel();
  ready_->wake();
}

} // namespace tesker
