#pragma once

/// When the statistics rows of one ACL changed last: a time that none of them is later than. It
/// lets the time filter pass over an ACL without a look at each of its rows. Rows tell it what they
/// go by; it reads the statuses' own latest update each time, so it is never too early.

#include <algorithm>
#include <cstddef>
#include <limits>
#include <vector>

#include "acl/Status.h"
#include "qel/Ptr.h"

namespace AclSnmp {

class LatestChange : public Qel::PtrInterface {
 public:
  using StatusPtr = Qel::Ptr<const Acl::AclStatus>;

  /// Rows of the ACL that stand in the table.
  size_t rows() const { return rows_; }
  void rowIs() { ++rows_; }
  void rowDel() { --rows_; }

  void creationIs(Qel::Seconds time) { created_ = std::max(created_, time); }
  /// One more row goes by the status, or one less; null is no status.
  void statusIs(const StatusPtr& status);
  void statusDel(const StatusPtr& status);

  Qel::Seconds time() const;

 private:
  struct Source {
    StatusPtr status;
    size_t rows;
  };

  size_t rows_ = 0;
  Qel::Seconds created_ = -std::numeric_limits<Qel::Seconds>::infinity();
  std::vector<Source> sources_;  // one, but while the rows move to another
};

}  // namespace AclSnmp
