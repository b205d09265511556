#pragma once

/// What the plug-in's tables are compared with, served by the same process: the rules of an IPv4
/// model in the agent library's own sorted-container tables, and an object that says whether
/// deferred work is pending.
///
///     1.3.6.1.4.1.32473.99.1.1.2        one integer column
///     1.3.6.1.4.1.32473.99.2.1.(2..21)  the columns of zorlenIpAclRuleTable
///     1.3.6.1.4.1.32473.99.9.0          1 while a task is pending, else 0

#include <functional>

#include "Shape.h"

namespace Bench {

/// Registers the tables, empty, and the object. Once in a process, for good.
void registerPeers(const std::function<bool()>& pending);
/// Fills both tables with the rows of a shape. Once as well.
void peerRowsAre(const Shape& shape);

}  // namespace Bench
