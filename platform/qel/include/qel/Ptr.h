#pragma once

/// Reference-counted objects and the counted pointers that hold them.
///
/// An object derived from `PtrInterface` lives on the heap, starts without a reference and is gone
/// when its last `Ptr` lets go. Counts are plain numbers unless `threadSafePointersIs(true)` was
/// called before the first object was shared between threads.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <new>
#include <type_traits>
#include <utility>

#include "qel/Exception.h"

namespace Qel {

/// Switches atomic reference counting on or off for the whole process; off at start.
void threadSafePointersIs(bool on);
bool threadSafePointers();

namespace detail {
extern bool threadSafeReferences;
}

class PtrInterface {
 public:
  PtrInterface(const PtrInterface&) = delete;
  PtrInterface& operator=(const PtrInterface&) = delete;

  uint32_t references() const { return references_.load(std::memory_order_relaxed); }

  void newReference() const {
    if (detail::threadSafeReferences) {
      references_.fetch_add(1, std::memory_order_relaxed);
    } else {
      references_.store(references() + 1, std::memory_order_relaxed);
    }
  }
  void deleteReference() const {
    uint32_t left = 0;
    if (detail::threadSafeReferences) {
      left = references_.fetch_sub(1, std::memory_order_acq_rel) - 1;
    } else {
      left = references() - 1;
      references_.store(left, std::memory_order_relaxed);
    }
    if (left == 0) lastReferenceGone();
  }

 protected:
  PtrInterface() = default;
  virtual ~PtrInterface() = default;

  /// Called once, when the last reference has gone. The default destroys the object. References
  /// taken and released from here on do not call it again.
  virtual void zeroReferencesIs();

 private:
  void lastReferenceGone() const;

  mutable std::atomic<uint32_t> references_{0};
};

template <class T>
class Ptr {
 public:
  using element_type = T;

  constexpr Ptr() = default;
  constexpr Ptr(std::nullptr_t) {}
  explicit Ptr(T* object) : object_(object) { acquire(); }
  Ptr(const Ptr& other) : object_(other.object_) { acquire(); }
  Ptr(Ptr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
  Ptr(const Ptr<U>& other) : object_(other.get()) {
    acquire();
  }
  ~Ptr() { release(); }

  Ptr& operator=(const Ptr& other) {
    Ptr(other).swap(*this);
    return *this;
  }
  Ptr& operator=(Ptr&& other) noexcept {
    Ptr(std::move(other)).swap(*this);
    return *this;
  }

  void swap(Ptr& other) noexcept { std::swap(object_, other.object_); }

  T* get() const { return object_; }
  T* operator->() const { return object_; }
  T& operator*() const { return *object_; }
  explicit operator bool() const { return object_ != nullptr; }

 private:
  void acquire() const {
    if (object_ != nullptr) object_->newReference();
  }
  void release() const {
    if (object_ != nullptr) object_->deleteReference();
  }

  T* object_ = nullptr;
};

/// Pointers are equal when they hold the same object.
template <class T, class U>
bool operator==(const Ptr<T>& a, const Ptr<U>& b) {
  return a.get() == b.get();
}
template <class T>
bool operator==(const Ptr<T>& a, std::nullptr_t) {
  return a.get() == nullptr;
}

/// A new object, or null when there is no memory for it. Exceptions of the constructor pass.
template <class T, class... Args>
Ptr<T> make(Args&&... args) {
  return Ptr<T>(new (std::nothrow) T(std::forward<Args>(args)...));
}

/// The same object as a `T`, or null when it is none.
template <class T, class U>
Ptr<T> ptrCast(const Ptr<U>& pointer) {
  return Ptr<T>(dynamic_cast<T*>(pointer.get()));
}

/// Keeps an object for the length of one of its own callbacks. One that is still being constructed
/// has no reference yet and nobody else who could end it: null.
template <class T>
[[nodiscard]] Ptr<T> keep(T* object) {
  return Ptr<T>(object->references() == 0 ? nullptr : object);
}

/// The pointer itself; a null one throws `RangeException` "null ValidPtr".
template <class T>
const Ptr<T>& validPtr(const Ptr<T>& pointer) {
  if (!pointer) throw RangeException("null ValidPtr");
  return pointer;
}

}  // namespace Qel

template <class T>
struct std::hash<Qel::Ptr<T>> {
  size_t operator()(const Qel::Ptr<T>& pointer) const { return std::hash<T*>()(pointer.get()); }
};
