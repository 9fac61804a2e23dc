// ChangeTest.h - whether something has changed since it was cached. Internal to the caches.
#pragma once

#include "caching/FilerTS.h"
#include "filesystem/TSStatMethods.h"

namespace tesker {

// The later of the moments at which contents and status last changed; nil for no attributes.
[[nodiscard]] RefPtr<NSDate> changeDateOf(const NSFileAttributes *attributes);

// Whether the present attributes show a change since changeDate was stored, in an entry with that
// stamp. Nil attributes always do.
//
// Change dates have whole seconds, so a change can hide behind an earlier one of the same second.
// Where that second is the stamp's own, the answer is therefore always "changed": a directory that
// was written to in the second of the validation is looked at again, at the cost of sometimes
// doing so without need. It does not help where a directory is cached later than the validation
// that its stamp carries, in the very second of its last change, and is changed once more in that
// second; that change goes unseen until the next one.
bool hasChanged(const NSFileAttributes *attributes, const NSDate *changeDate, const FilerTS &stamp);

} // namespace tesker
