#pragma once

/// Times of documents, nanoseconds since 1970 in UTC, for seconds on the framework's clock.
///
/// How far the two clocks are apart is measured once in a process: a document says the same time
/// whenever it is read, and a time that is written is read as the same one, even when the wall
/// clock is set meanwhile. Any thread.

#include <cstdint>
#include <optional>

#include "qel/Time.h"

namespace OpenConfig {

/// A time that has not come yet counts as now.
Qel::Seconds fromEpoch(uint64_t nanoseconds);

/// Nothing for what is no time since 1970.
std::optional<uint64_t> toEpoch(Qel::Seconds time);

}  // namespace OpenConfig
