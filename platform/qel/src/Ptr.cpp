#include "qel/Ptr.h"

namespace Qel {

namespace {
// Added when the last reference goes, so that references taken during destruction never bring the
// count to zero a second time.
constexpr uint32_t kDying = 1U << 30;
}  // namespace

bool detail::threadSafeReferences = false;

void threadSafePointersIs(bool on) { detail::threadSafeReferences = on; }
bool threadSafePointers() { return detail::threadSafeReferences; }

void PtrInterface::lastReferenceGone() const {
  references_.store(kDying, std::memory_order_relaxed);
  const_cast<PtrInterface*>(this)->zeroReferencesIs();
}

void PtrInterface::zeroReferencesIs() { delete this; }

}  // namespace Qel
