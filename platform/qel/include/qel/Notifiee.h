#pragma once

/// Observers. A `Notifiee` is registered with at most one notifier at a time and receives its
/// callbacks synchronously, inside the operation that caused them, in the order of registration.
/// During a callback any notifiee may be added, removed or destroyed: one that goes is not called
/// any more, one that comes is called from the next notification on.

#include <cstddef>
#include <vector>

#include "qel/Ptr.h"

namespace Qel {

class NotifieeList;

class Notifiee {
 public:
  Notifiee() = default;
  Notifiee(const Notifiee&) = delete;
  Notifiee& operator=(const Notifiee&) = delete;
  virtual ~Notifiee();

  /// Callbacks are delivered only while the flag is on; on at start.
  bool hasNotificationActive() const { return active_; }
  virtual void hasNotificationActiveIs(bool active) { active_ = active; }

  /// A zombie belongs to something that is being torn down and receives no callbacks.
  bool isZombie() const { return zombie_; }
  virtual void qelDoZombieReactors(bool zombie) { zombie_ = zombie; }

  /// The notifier's last reference has gone; it is destroyed right after.
  virtual void onZeroReferences() {}

 protected:
  void join(NotifieeList& list);
  void leave();

 private:
  friend class NotifieeList;
  // The notifier is being destroyed; forget it.
  virtual void notifierGone() {}

  NotifieeList* list_ = nullptr;
  bool active_ = true;
  bool zombie_ = false;
};

class NotifieeList {
 public:
  NotifieeList() = default;
  NotifieeList(const NotifieeList&) = delete;
  NotifieeList& operator=(const NotifieeList&) = delete;
  /// Lets the remaining notifiees go without a callback.
  ~NotifieeList();

  bool empty() const { return notifiees_.empty(); }
  size_t size() const;

  /// Calls `callback` with every active notifiee that was registered when the call began.
  template <class N, class Callback>
  void notify(Callback&& callback) {
    const Walk walk(*this);
    const size_t count = notifiees_.size();
    for (size_t i = 0; i < count; ++i) {
      Notifiee* notifiee = notifiees_[i];
      if (notifiee != nullptr && notifiee->active_ && !notifiee->zombie_) {
        callback(static_cast<N&>(*notifiee));
      }
    }
  }

 private:
  friend class Notifiee;

  // While a walk is under way the list only grows; slots that were left are null.
  class Walk {
   public:
    explicit Walk(NotifieeList& list) : list_(list) { ++list_.walks_; }
    ~Walk() {
      if (--list_.walks_ == 0) list_.compact();
    }
    Walk(const Walk&) = delete;
    Walk& operator=(const Walk&) = delete;

   private:
    NotifieeList& list_;
  };

  void add(Notifiee* notifiee) { notifiees_.push_back(notifiee); }
  void remove(Notifiee* notifiee);
  void compact();

  std::vector<Notifiee*> notifiees_;
  size_t walks_ = 0;
};

/// Whether a notifiee keeps its notifier alive.
enum class Hold { counted, weak };

/// The base of an entity type's `NotifieeConst`.
template <class EntityT>
class NotifieeOf : public Notifiee {
 public:
  explicit NotifieeOf(Hold hold = Hold::counted) : hold_(hold) {}
  ~NotifieeOf() override { leave(); }

  const EntityT* notifier() const { return notifier_; }

  /// Moves to another notifier, or to none. No callback runs.
  virtual void notifierIs(const Ptr<const EntityT>& notifier) {
    if (notifier.get() == notifier_) return;
    leave();
    const Ptr<const EntityT> previous = keeper_;
    notifier_ = notifier.get();
    keeper_ = hold_ == Hold::counted ? notifier : nullptr;
    if (notifier_ != nullptr) join(notifier_->notifieeList());
  }

 private:
  void notifierGone() override { notifier_ = nullptr; }

  const EntityT* notifier_ = nullptr;
  Ptr<const EntityT> keeper_;  // null when the hold is weak
  Hold hold_;
};

}  // namespace Qel
