#include "model/LatestChange.h"

namespace AclSnmp {

void LatestChange::statusIs(const StatusPtr& status) {
  if (!status) return;
  for (Source& source : sources_) {
    if (source.status == status) {
      ++source.rows;
      return;
    }
  }
  sources_.push_back({status, 1});
}

void LatestChange::statusDel(const StatusPtr& status) {
  std::erase_if(sources_, [&status](Source& source) {
    return source.status == status && --source.rows == 0;
  });
}

Qel::Seconds LatestChange::time() const {
  Qel::Seconds latest = created_;
  for (const Source& source : sources_) {
    latest = std::max(latest, source.status->ruleStatus().latestUpdate());
  }
  return latest;
}

}  // namespace AclSnmp
