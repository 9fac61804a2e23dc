// TaskPriority.h - the scheduling priority of the task.
#pragma once

#include "platform/ports/Port.h"

namespace tesker {

// Sets the priority: 10 is nice 0, each step up one nice step down, absolutely. With changeThreads
// every thread of the task gets it, without it the calling thread and those it makes from now on.
// Answers 0, or the positive errno: EINVAL when the task is not this one; where the system does not
// permit it nothing changes.
kern_return_t task_priority(port_t task, int priority, bool changeThreads);

} // namespace tesker
