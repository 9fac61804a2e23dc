#include "parsing/WayDown.h"

#include "parsing/Judgement.h"
#include "parsing/RecordEncoding.h"
#include "platform/foundation/NSLog.h"

#include <algorithm>
#include <string>

namespace tesker {

namespace {

NSString pathOf(const Entry &entry) {
  return entry.dir.stringByAppendingPathComponent(entry.file.bytes());
}

} // namespace

bool WayDown::leadsBack(const Entry &directory) const {
  const auto found = std::ranges::find_if(directories_, [&](const Entry *above) {
    return above->attributes.areEqualUID(directory.attributes);
  });
  if (found == directories_.end())
    return false;
  const NSString above = pathOf(**found);
  syslogError(std::string(kSkippedLinkLine).append("%s: %s"),
              {above.bytes(), pathOf(directory).bytes()});
  giveVerdict([&] {
    return Remark{.code = JudgementCode::skippedLink, .detail = std::string(above.bytes())};
  });
  return true;
}

} // namespace tesker
