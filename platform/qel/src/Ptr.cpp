#include "qel/Ptr.h"

namespace Qel {

namespace {
bool threadSafe = false;

// Added when the last reference goes, so that references taken during destruction never bring the
// count to zero a second time.
constexpr uint32_t kDying = 1U << 30;
}  // namespace

void threadSafePointersIs(bool on) { threadSafe = on; }
bool threadSafePointers() { return threadSafe; }

void PtrInterface::newReference() const {
  if (threadSafe) {
    references_.fetch_add(1, std::memory_order_relaxed);
  } else {
    references_.store(references() + 1, std::memory_order_relaxed);
  }
}

void PtrInterface::deleteReference() const {
  uint32_t left = 0;
  if (threadSafe) {
    left = references_.fetch_sub(1, std::memory_order_acq_rel) - 1;
  } else {
    left = references() - 1;
    references_.store(left, std::memory_order_relaxed);
  }
  if (left == 0) {
    references_.store(kDying, std::memory_order_relaxed);
    const_cast<PtrInterface*>(this)->zeroReferencesIs();
  }
}

void PtrInterface::zeroReferencesIs() { delete this; }

}  // namespace Qel
