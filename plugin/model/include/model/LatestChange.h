#pragma once

/// When the statistics rows of one ACL changed last: a time that none of them is later than. It
/// lets the time filter pass over an ACL without a look at each of its rows. Rows tell it what they
/// go by; it reads the statuses' own latest update each time, so it is never too early.

#include <algorithm>
#include <cstddef>
#include <limits>
#include <vector>

#include "acl/Config.h"
#include "acl/Status.h"
#include "qel/Ptr.h"

namespace AclSnmp {

class LatestChange : public Qel::PtrInterface {
 public:
  using StatusPtr = Qel::Ptr<const Acl::AclStatus>;
  using ConfigPtr = Qel::Ptr<const Acl::AclConfig>;

  /// Rows of the ACL that stand in the table.
  size_t rows() const { return rows_; }
  void rowIs() { ++rows_; }
  void rowDel() { --rows_; }

  /// One more row, with its creation time and the configuration that it reads.
  void creationIs(Qel::Seconds time, const ConfigPtr& config) {
    created_ = std::max(created_, time);
    if (!config_) config_ = config;
    mixed_ = mixed_ || config_ != config;
  }
  Qel::Seconds created() const { return created_; }
  /// One more row goes by the status, or one less; null is no status.
  void statusIs(const StatusPtr& status);
  void statusDel(const StatusPtr& status);

  Qel::Seconds time() const;

  /// The status and the configuration that every row goes by; null where they may differ.
  const Acl::AclStatus* commonStatus() const {
    return sources_.size() == 1 ? sources_.front().status.get() : nullptr;
  }
  const Acl::AclConfig* commonConfig() const { return mixed_ ? nullptr : config_.get(); }

 private:
  struct Source {
    StatusPtr status;
    size_t rows;
  };

  size_t rows_ = 0;
  Qel::Seconds created_ = -std::numeric_limits<Qel::Seconds>::infinity();
  ConfigPtr config_;
  bool mixed_ = false;
  std::vector<Source> sources_;  // one, but while the rows move to another
};

}  // namespace AclSnmp
