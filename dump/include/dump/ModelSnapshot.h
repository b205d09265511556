#pragma once

/// The ACL model read back as a snapshot: what the tables show. The opposite of what an applier
/// does.

#include "acl/Config.h"
#include "acl/Status.h"
#include "snapshot/Snapshot.h"

namespace Dump {

/// What a configuration and the status beside it publish. A sequence number whose rule is missing
/// has the rule that matches all, as its row has. Event thread; the strings inside are those of the
/// model, so the snapshot stays on it.
Sources::Snapshot snapshotOf(const Acl::Config& config, const Acl::StatusBase& status);

}  // namespace Dump
