#pragma once

/// How much a line of the log matters.

namespace Qel {

enum class Severity { error, warning, info, debug };

}  // namespace Qel
