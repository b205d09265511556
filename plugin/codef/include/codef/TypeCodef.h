#pragma once

/// What the two backlog processors share; see AclSnmpTypeCodef.h.
///
/// `Traits` names the input (an ACL agent's per-type collection), the output (a mirror) and the
/// signatures under which the operations appear in traces.

#include <memory>

#include "acl/Types.h"
#include "mek/TaskCodefBase.h"
#include "qel/Collection.h"
#include "qel/Trace.h"
#include "velomark/Velomark.h"

namespace AclSnmp {

/// The trace handle "AclSnmpTypeCodef".
Qel::TraceHandle& codefTrace();

inline constexpr const char* kCodefSource = "AclSnmpTypeCodef";

/// Moves entries of the backlog into the mirror until none is left or the run should yield; returns
/// how many it took. At least one is taken where there is one. An ACL that stands on both sides is
/// removed from the mirror and added again, so that observers rebuild it.
template <class CodefT, class InputT, class OutputT>
uint64_t doProcessing(CodefT& codef, const Qel::Ptr<const InputT>& in, const Qel::Ptr<OutputT>& out,
                      const Qel::Seconds& startTime);

template <class Traits>
class TypeCodef : public Mek::TaskCodefBase {
 public:
  using Input = typename Traits::Input;
  using Output = typename Traits::Output;
  using InputPtr = Qel::Ptr<const Input>;
  using OutputPtr = Qel::Ptr<Output>;
  static constexpr const char* kDoProcessing = Traits::kDoProcessing;

  /// A pending name. Only true is ever written; false counts as absent.
  struct QelBacklog {
    Qel::Name name;
    bool value = false;
    friend bool operator==(const QelBacklog&, const QelBacklog&) = default;
  };
  using Backlog = Qel::HashOrderedCollection<Qel::Name, QelBacklog>;
  using BacklogIterator = typename Backlog::ConstIterator;

  /// Drops what is pending and lets the mirror go, then the input, then the task.
  ~TypeCodef() override { TypeCodef::qelDoZombieReactors(true); }

  /// The input's type; the zero value without an input.
  Acl::AclType type() const { return input() ? input()->type() : Acl::AclType(); }
  bool initialized() const { return initialized_; }
  void initializedIs(bool initialized) { initialized_ = initialized; }
  const Qel::Name& bookmark() const { return bookmark_; }
  void bookmarkIs(const Qel::Name& bookmark) { bookmark_ = bookmark; }

  const Backlog& backlog() const { return backlog_; }
  uint64_t backlogSize() const override { return backlog_.size(); }
  void backlogIs(const Qel::Name& name, bool value) {
    if (QelBacklog* entry = backlog_.find(name)) {
      entry->value = value;
    } else {
      newBacklog(name, value);
    }
  }
  void newBacklog(const Qel::Name& name, bool value) {
    backlog_.insertOrAssign(name, QelBacklog{name, value});
  }
  void backlogDel(const Qel::Name& name) { backlog_.erase(name); }
  void backlogDel(const BacklogIterator& position) { backlogDel(position.key()); }
  void backlogDelAll() {
    for (auto it = backlog_.begin(); it; ++it) backlogDel(it);
  }
  /// The backlog has no observers.
  void backlogNotify(const Qel::Name&) const {}

  uint64_t processBacklog(const Qel::Seconds& startTime) override {
    const Velomark::Block block(1, Traits::kProcessBacklog);
    entryTrace(Traits::kProcessBacklog, __LINE__);
    const OutputPtr out = output_;
    const InputPtr in(input());
    return doProcessing(*this, in, out, startTime);
  }

  void hasNotificationActiveIs(bool active) override {
    if (active == hasNotificationActive()) return;
    TaskCodefBase::hasNotificationActiveIs(active);
    if (reactor_) reactor_->hasNotificationActiveIs(active);
  }

  void qelDoZombieReactors(bool zombie) override {
    if (zombie == isZombie()) return;
    if (reactor_) reactor_->qelDoZombieReactors(zombie);
    TaskCodefBase::qelDoZombieReactors(zombie);
  }

 protected:
  TypeCodef(const Qel::Ptr<Mek::TaskScheduler>& taskScheduler, Mek::TaskPriority taskPriority,
            const Qel::String8& taskName, OutputPtr out)
      : TaskCodefBase(taskScheduler, taskPriority, taskName), output_(std::move(out)) {}

  /// Forwards each change of the input's collection. Each processor has one under its own name.
  class Reactor : public Input::NotifieeConst {
   public:
    Reactor(TypeCodef* owner, const InputPtr& in) : owner_(owner) { this->notifierIs(in); }
    using Input::NotifieeConst::onAcl;
    void onAcl(Qel::Name name) override {
      if (!this->isZombie()) owner_->handleAcl(name);
    }

   private:
    TypeCodef* owner_;
  };

  /// The end of construction.
  template <class ReactorT>
  void start(const InputPtr& in) {
    if (in) newReactor<ReactorT>(in);
    handleInitialized();
  }

  const Input* input() const { return reactor_ ? reactor_->notifier() : nullptr; }
  const OutputPtr& output() const { return output_; }

  /// Replaces the input; null disconnects. Nothing is queued.
  template <class ReactorT>
  void inputIs(const InputPtr& in) {
    if (in.get() == input()) return;
    if (!in) {
      inputDel();
    } else if (reactor_) {
      reactor_->notifierIs(in);
    } else {
      newReactor<ReactorT>(in);
    }
  }
  template <class ReactorT>
  void newReactor(const InputPtr& in) {
    reactor_ = std::make_unique<ReactorT>(this, in);
    reactor_->hasNotificationActiveIs(hasNotificationActive());
    reactor_->qelDoZombieReactors(isZombie());
  }
  InputPtr inputDel() {
    const InputPtr previous(input());
    if (reactor_) {
      reactor_->qelDoZombieReactors(true);
      reactor_->hasNotificationActiveIs(false);
      reactor_.reset();
    }
    return previous;
  }

  void handleInitialized() {
    const Velomark::Block block(1, Traits::kHandleInitialized);
    entryTrace(Traits::kHandleInitialized, __LINE__);
    QEL_ASSERT_TEXT(!initialized(), "!initialized()", kCodefSource);
    initialized_ = true;
    if (input() == nullptr) return;
    for (auto it = input()->acl().begin(); it; ++it) handleAcl(it.key());
  }

  void handleAcl(const Qel::Name& name) {
    const Velomark::Block block(1, Traits::kHandleAcl);
    entryTrace(Traits::kHandleAcl, __LINE__);
    QEL_ASSERT_TEXT(initialized(), "initialized()", kCodefSource);
    const QelBacklog* pending = backlog_.find(name);
    if (pending == nullptr || !pending->value) {
      detail(Traits::kHandleAcl, " Adding ", name, " config to backlog");
      backlogIs(name, true);
    } else if (input() != nullptr && input()->acl(name)) {
      detail(Traits::kHandleAcl, " Got add for ", name, " before delete was processed");
    } else {
      detail(Traits::kHandleAcl, " Got delete for ", name, " before add was processed");
    }
    updatesSeenInc(1);
    scheduleCodef();
  }

 private:
  template <class CodefT, class InputT, class OutputT>
  friend uint64_t doProcessing(CodefT& codef, const Qel::Ptr<const InputT>& in,
                               const Qel::Ptr<OutputT>& out, const Qel::Seconds& startTime);

  static void entryTrace(const char* signature, int line) {
    const Qel::Site site{kCodefSource, line, signature};
    QEL_TRACE_AT(codefTrace(), 7, site, signature);
  }
  /// The line is the caller's.
  template <class Value>
  static void detail(const char* signature, const char* before, const Value& value,
                     const char* after = "", int line = __builtin_LINE()) {
    const Qel::Site site{kCodefSource, line, signature};
    QEL_TRACE_AT(codefTrace(), 8, site, signature << before << value << after);
  }

  std::unique_ptr<Reactor> reactor_;  // first: the input goes after the mirror
  OutputPtr output_;
  Backlog backlog_;
  Qel::Name bookmark_;
  bool initialized_ = false;
};

template <class CodefT, class InputT, class OutputT>
uint64_t doProcessing(CodefT& codef, const Qel::Ptr<const InputT>& in, const Qel::Ptr<OutputT>& out,
                      const Qel::Seconds& /*startTime*/) {
  if (!codef.initialized()) return 0;
  const char* signature = CodefT::kDoProcessing;
  uint64_t count = 0;
  auto it = codef.backlog().startAt(codef.bookmark());
  while (true) {
    if (it.atEnd()) it = codef.backlog().begin();
    if (it.atEnd()) break;
    const Qel::Name name = it.key();
    // An observer may have taken it out of the backlog since the walk got there.
    if (!codef.backlog().contains(name)) {
      ++it;
      continue;
    }
    if (count != 0 && codef.taskShouldYield()) {
      codef.bookmarkIs(name);
      break;
    }
    codef.backlogDel(it);
    ++it;
    ++count;
    const auto wanted = in ? in->acl(name) : nullptr;
    const auto mirrored = out->acl(name);
    if (mirrored) out->aclDel(name);
    if (wanted) {
      codef.detail(signature, " Added acl ", name);
      out->aclIs(wanted);
    } else if (mirrored) {
      codef.detail(signature, "Deleted acl ", name);
    }
  }
  codef.detail(signature, " processed ", count);
  return count;
}

}  // namespace AclSnmp
