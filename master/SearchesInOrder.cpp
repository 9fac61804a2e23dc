#include "master/SearchesInOrder.h"

#include "platform/foundation/OperatingSystem.h"

#include <algorithm>
#include <deque>
#include <memory>
#include <optional>
#include <utility>

namespace tesker {

namespace {

class SearchesInOrder {
public:
  SearchesInOrder(const std::vector<SearchTask> &tasks, const SearchesInOrderOptions &options)
      : tasks_(tasks), options_(options) {}

  void run() {
    begin();
    while (!begun_.empty()) {
      step();
      while (!begun_.empty() && begun_.front()->outcome) {
        if (!options_.take(taken_, *begun_.front()->outcome))
          return;
        begun_.pop_front();
        ++taken_;
      }
      begin();
    }
  }

private:
  // From its beginning until its outcome is taken.
  struct Begun {
    std::unique_ptr<FinderSearch> search; // nil once it has ended
    std::optional<SearchOutcome> outcome;
  };

  std::size_t underWay() const {
    return static_cast<std::size_t>(
        std::ranges::count_if(begun_, [](const auto &one) { return !one->outcome; }));
  }

  void begin() {
    for (std::size_t next = taken_ + begun_.size();
         next < tasks_.size() && !isEnding_ && underWay() < options_.jobs &&
         begun_.size() < 2 * options_.jobs;
         ++next) {
      auto begun = std::make_unique<Begun>();
      auto started = FinderSearch::start(
          tasks_[next].options, tasks_[next].request,
          [outcome = &begun->outcome](SearchOutcome ended) { outcome->emplace(std::move(ended)); });
      if (auto *failure = std::get_if<SearchFailure>(&started))
        begun->outcome.emplace(SearchOutcome{std::move(*failure), false, {}, 0});
      else
        begun->search = std::move(std::get<0>(started));
      begun_.push_back(std::move(begun));
    }
  }

  // Waits for what there is to do, and does it.
  void step() {
    if (underWay() == 0)
      return;
    std::vector<pollfd> waiting{{options_.controlDescriptor, POLLIN, 0}};
    for (const auto &one : begun_)
      waiting.push_back({one->search ? one->search->descriptor() : -1, POLLIN, 0});
    // Where nothing can be waited for, the searches still see their ends.
    const bool cannotWait = OperatingSystem::current().poll(waiting.data(), waiting.size(), -1) < 0;
    if (waiting[0].revents != 0)
      obey(options_.control());
    for (std::size_t i = 0; i < begun_.size(); ++i)
      if (begun_[i]->search && (cannotWait || waiting[i + 1].revents != 0))
        begun_[i]->search->dispatch();
    for (const auto &one : begun_)
      if (one->outcome)
        one->search.reset();
  }

  void obey(SearchControl control) {
    if (control == SearchControl::goOn)
      return;
    isEnding_ = true;
    for (const auto &one : begun_)
      if (one->search && control == SearchControl::stop)
        one->search->stop();
      else if (one->search)
        one->search->cancel();
  }

  const std::vector<SearchTask> &tasks_;
  const SearchesInOrderOptions &options_;
  std::size_t taken_ = 0; // the first of those that have begun is the one after these
  std::deque<std::unique_ptr<Begun>> begun_;
  bool isEnding_ = false; // no other begins
};

} // namespace

void searchInOrder(const std::vector<SearchTask> &tasks, const SearchesInOrderOptions &options) {
  SearchesInOrder(tasks, options).run();
}

} // namespace tesker
