#pragma once

/// Entities: named, reference-counted objects that notify observers of changes to their attributes.
/// One thread, the event thread, owns all of them. `QEL_ATTRIBUTE` and its siblings give an entity
/// class its attributes with the names that the framework uses: `x`, `xIs`, `xDel`, `xDelAll`,
/// `xNotify`, and in its `NotifieeConst` the callback `onX`.

#include "qel/Collection.h"
#include "qel/Notifiee.h"
#include "qel/Ptr.h"
#include "qel/String8.h"

namespace Qel {

class Entity : public PtrInterface {
 public:
  explicit Entity(Name name) : name_(std::move(name)) {}

  const Name& name() const { return name_; }
  /// The type's name as registered, for example "AclSnmp::AclMib".
  virtual String8 fwkType() const { return "Qel::Entity"; }

  /// The object that owns this one, not held; null for a free-standing entity.
  const PtrInterface* parent() const { return parent_; }
  /// The parent's attribute under which this entity stands.
  const String8& parentAttrName() const { return parentAttrName_; }
  void parentIs(const PtrInterface* parent, const String8& attrName) {
    parent_ = parent;
    parentAttrName_ = attrName;
  }
  /// The names from the outermost entity down, joined by "/".
  String8 fullName() const;

  NotifieeList& notifieeList() const { return notifieeList_; }

 protected:
  /// Tells every notifiee with `onZeroReferences()`, then destroys the entity.
  void zeroReferencesIs() override;

  /// Calls `callback` with every active notifiee; the entity lives until the last one returned.
  template <class N, class Callback>
  void notify(Callback&& callback) const {
    if (notifieeList_.empty()) return;
    const Ptr<const Entity> self(this);
    notifieeList_.notify<N>(callback);
  }

 private:
  Name name_;
  const PtrInterface* parent_ = nullptr;
  String8 parentAttrName_;
  mutable NotifieeList notifieeList_;
};

}  // namespace Qel

/// A single-valued attribute; its notifiee has `onUpper()`. Setting the value it already has does
/// nothing.
#define QEL_ATTRIBUTE(Type, lower, Upper)                           \
 public:                                                            \
  const Type& lower() const { return lower##_; }                    \
  void lower##Is(const Type& value) {                               \
    if (lower##_ == value) return;                                  \
    lower##_ = value;                                               \
    notify<NotifieeConst>([](NotifieeConst& n) { n.on##Upper(); }); \
  }                                                                 \
                                                                    \
 private:                                                           \
  Type lower##_{};                                                  \
                                                                    \
 public:

/// The three callbacks of a collection: one key changed, changed as a whole, immediate.
#define QEL_COLLECTION_CALLBACKS(Upper, Key) \
  virtual void on##Upper(Key) {}             \
  virtual void on##Upper() {}                \
  virtual void on##Upper##qelImmediate() {}

/// A keyed attribute of plain values. The accessor gives `absent` for an absent key; setting the
/// value that a key already has does nothing.
#define QEL_VALUE_COLLECTION(Container, Key, Value, lower, Upper, absent)     \
 public:                                                                      \
  using Upper##Collection = Container<Key, Value>;                            \
  const Upper##Collection& lower() const { return lower##_; }                 \
  Value lower(const Key& key) const { return lower##_.valueOr(key, absent); } \
  void lower##Is(const Key& key, const Value& value) {                        \
    if (lower##_.insertOrAssign(key, value)) lower##Notify(key);              \
  }                                                                           \
  bool lower##Del(const Key& key) {                                           \
    const Key removed = key; /* which may be the collection's own */          \
    if (!lower##_.erase(removed)) return false;                               \
    lower##Notify(removed);                                                   \
    return true;                                                              \
  }                                                                           \
  void lower##DelAll() {                                                      \
    lower##_.forEachKey([this](const Key& key) { lower##Del(key); });         \
  }                                                                           \
  void lower##Notify(const Key& key) const {                                  \
    notify<NotifieeConst>([&key](NotifieeConst& n) { n.on##Upper(key); });    \
  }                                                                           \
                                                                              \
 private:                                                                     \
  Upper##Collection lower##_;                                                 \
                                                                              \
 public:
