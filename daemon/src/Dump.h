#pragma once

/// What the sources publish, read once, without an agent and without plug-ins.

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "apply/Source.h"
#include "snapshot/Snapshot.h"

namespace Daemon {

using SourceList = std::vector<std::unique_ptr<Sources::Source>>;

/// Makes the sources, merges what they publish as an agent would and reads it back when each of
/// them has published once. Nothing where one has failed. Errors and warnings are lines on standard
/// error.
std::optional<Sources::Snapshot> readOnce(
    const std::function<SourceList(const Sources::Mount&)>& makeSources);

}  // namespace Daemon
