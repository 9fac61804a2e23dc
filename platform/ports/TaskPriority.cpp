#include "platform/ports/TaskPriority.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <sys/resource.h>
#include <unistd.h>

namespace tesker {

namespace {

constexpr int kPriorityOfNiceZero = 10;
constexpr int kMostNice = 19;
constexpr int kLeastNice = -20;

int niceOfPriority(int priority) {
  return kPriorityOfNiceZero -
         std::clamp(priority, kPriorityOfNiceZero - kMostNice, kPriorityOfNiceZero - kLeastNice);
}

// Answers 0, or the positive errno. A thread that has ended meanwhile is as good as changed.
int setNice(id_t thread, int nice) {
  if (::setpriority(PRIO_PROCESS, thread, nice) == 0 || errno == ESRCH)
    return 0;
  return errno;
}

int setNiceOfAllThreads(int nice) {
  const auto threads = OperatingSystem::current().openDirectory("/proc/self/task");
  if (threads == nullptr)
    return errno;
  while (const auto name = threads->next()) {
    id_t thread = 0;
    const char *end = name->data() + name->size();
    const auto parsed = std::from_chars(name->data(), end, thread);
    if (parsed.ec != std::errc() || parsed.ptr != end)
      continue; // "." and ".."
    if (const int error = setNice(thread, nice); error != 0)
      return error;
  }
  return 0;
}

} // namespace

kern_return_t task_priority(port_t task, int priority, bool changeThreads) {
  if (task != task_self())
    return EINVAL;
  const int nice = niceOfPriority(priority);
  return changeThreads ? setNiceOfAllThreads(nice) : setNice(0, nice);
}

} // namespace tesker
