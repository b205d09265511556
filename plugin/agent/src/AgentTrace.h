#pragma once

/// What the state machines' sources share for tracing.

#include "qel/Assert.h"
#include "qel/Trace.h"
#include "velomark/Velomark.h"

namespace AclSnmp {

/// The trace handle "AclSnmpSm".
Qel::TraceHandle& agentTrace();

inline constexpr const char* kAgentSource = "AclSnmpAgent";

}  // namespace AclSnmp

#define ACLSNMP_SM_TRACE(level, message) \
  QEL_TRACE(::AclSnmp::agentTrace(), level, ::AclSnmp::kAgentSource, message)
