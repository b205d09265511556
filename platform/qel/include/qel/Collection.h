#pragma once

/// Keyed collections around well-kept containers. They do not notify; the entity that owns one
/// does.
///
/// `OrderedCollection` walks in key order with iterators that outlive any change: an iterator holds
/// its key and its value, and after a change of the collection it goes on at the first key above
/// its own. Iterators need the collection to live; comparing and moving them is for the event
/// thread.

#include <absl/container/btree_map.h>
#include <absl/container/flat_hash_map.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <optional>
#include <utility>
#include <vector>

namespace Qel {

template <class Key, class Value, class Less = std::less<Key>>
class OrderedCollection {
  /// A place between two keys: the predicate holds for every key before it and for none after it.
  template <class Before>
  struct Cut {
    const Before& before;
  };
  struct Order : Less {
    using is_transparent = void;
    using Less::operator();
    template <class Before>
    bool operator()(const Key& key, const Cut<Before>& cut) const {
      return cut.before(key);
    }
    // Where assert() is on, the container asks both ways.
    template <class Before>
    bool operator()(const Cut<Before>& cut, const Key& key) const {
      return !cut.before(key);
    }
  };
  using Map = absl::btree_map<Key, Value, Order>;

 public:
  class ConstIterator {
   public:
    /// At end of no collection.
    ConstIterator() = default;

    bool atEnd() const { return !entry_; }
    explicit operator bool() const { return !atEnd(); }

    /// The entry on which the iterator stands, as it was when it got there; valid also after the
    /// entry left the collection. Not at end.
    const Key& key() const { return entry_->first; }
    const Value& value() const { return entry_->second; }

    /// Moves to the next entry in key order; stays at end.
    ConstIterator& operator++() {
      if (atEnd()) return *this;
      if (modifications_ == collection_->modifications_) {
        ++position_;
      } else {
        position_ = collection_->map_.upper_bound(entry_->first);
      }
      settle();
      return *this;
    }

    /// Moves on to the first entry, beginning with its own, for which `passed` does not hold, a
    /// predicate of key and value that leaves the collection alone. Costs less than steps do: the
    /// entries between are not held. Stays at end.
    template <class Passed>
    void skip(const Passed& passed) {
      if (atEnd()) return;
      if (modifications_ != collection_->modifications_) {
        position_ = collection_->map_.lower_bound(entry_->first);
      }
      const auto end = collection_->map_.end();
      while (position_ != end && passed(position_->first, position_->second)) ++position_;
      settle();
    }

   private:
    friend class OrderedCollection;

    ConstIterator(const OrderedCollection& collection, typename Map::const_iterator position)
        : collection_(&collection), position_(position) {
      settle();
    }
    /// Takes hold of the entry at the position.
    void settle() {
      modifications_ = collection_->modifications_;
      if (position_ == collection_->map_.end()) {
        entry_.reset();
      } else if (entry_) {
        entry_->first = position_->first;
        entry_->second = position_->second;
      } else {
        entry_.emplace(position_->first, position_->second);
      }
    }

    const OrderedCollection* collection_ = nullptr;
    typename Map::const_iterator position_{};
    uint64_t modifications_ = 0;
    std::optional<std::pair<Key, Value>> entry_;
  };

  size_t size() const { return map_.size(); }
  bool empty() const { return map_.empty(); }
  bool contains(const Key& key) const { return map_.find(key) != map_.end(); }
  /// The value of a key, or null; valid until the collection changes.
  const Value* find(const Key& key) const {
    const auto found = map_.find(key);
    return found == map_.end() ? nullptr : &found->second;
  }
  Value* find(const Key& key) { return const_cast<Value*>(std::as_const(*this).find(key)); }
  Value valueOr(const Key& key, Value absent) const {
    const Value* value = find(key);
    return value == nullptr ? std::move(absent) : *value;
  }
  /// The smallest key; not of an empty collection.
  const Key& firstKey() const { return map_.begin()->first; }

  ConstIterator begin() const { return ConstIterator(*this, map_.begin()); }
  /// At the first entry whose key is not less than `key`; at end when there is none.
  ConstIterator startAt(const Key& key) const {
    return ConstIterator(*this, map_.lower_bound(key));
  }
  /// At the last entry for which `before` holds, a predicate that holds for the keys up to some
  /// place in the order and for none after it; at end when it holds for none.
  template <class Before>
  ConstIterator lastOf(const Before& before) const {
    const auto after = map_.lower_bound(Cut<Before>{before});
    return after == map_.begin() ? ConstIterator(*this, map_.end())
                                 : ConstIterator(*this, std::prev(after));
  }

  /// Calls `callback`, which may change the collection, with every key in order.
  template <class Callback>
  void forEachKey(const Callback& callback) const {
    for (ConstIterator it = begin(); it; ++it) callback(it.key());
  }

  /// False, and nothing done, when the key holds an equal value already.
  bool insertOrAssign(const Key& key, const Value& value) {
    const auto [position, inserted] = map_.try_emplace(key, value);
    if (inserted) {
      ++modifications_;
    } else if (position->second == value) {
      return false;
    } else {
      position->second = value;
    }
    return true;
  }

  /// Removes the entry of a key and gives what it held.
  std::optional<Value> take(const Key& key) {
    const auto found = map_.find(key);
    if (found == map_.end()) return std::nullopt;
    std::optional<Value> value(std::move(found->second));
    map_.erase(found);
    ++modifications_;
    return value;
  }
  bool erase(const Key& key) { return take(key).has_value(); }

 private:
  Map map_;
  uint64_t modifications_ = 0;
};

/// Orders keys by their hash, equal hashes by key: a stable order in which any key has a place,
/// whether or not it is in the collection.
struct HashLess {
  template <class Key>
  bool operator()(const Key& a, const Key& b) const {
    return a.hash() != b.hash() ? a.hash() < b.hash() : a < b;
  }
};

/// A collection that is walked in hash order and whose walk can start at the place of a given key.
template <class Key, class Value>
using HashOrderedCollection = OrderedCollection<Key, Value, HashLess>;

/// Constant-time look-up for keys that `absl::Hash` takes. Its hash is seeded anew in each process:
/// nobody outside can choose keys that collide. Walks see the entries in no particular order and
/// must not change the collection.
template <class Key, class Value>
class HashCollection {
  using Map = absl::flat_hash_map<Key, Value>;

 public:
  size_t size() const { return map_.size(); }
  bool empty() const { return map_.empty(); }
  bool contains(const Key& key) const { return map_.contains(key); }
  /// The value of a key, or null; valid until the collection changes.
  const Value* find(const Key& key) const {
    const auto found = map_.find(key);
    return found == map_.end() ? nullptr : &found->second;
  }
  Value valueOr(const Key& key, Value absent) const {
    const Value* value = find(key);
    return value == nullptr ? std::move(absent) : *value;
  }
  /// The key that a walk would see first; not of an empty collection.
  const Key& firstKey() const { return map_.begin()->first; }
  typename Map::const_iterator begin() const { return map_.begin(); }
  typename Map::const_iterator end() const { return map_.end(); }
  /// Calls `callback`, which may change the collection, with every key that is there now.
  template <class Callback>
  void forEachKey(const Callback& callback) const {
    std::vector<Key> keys;
    keys.reserve(size());
    for (const auto& entry : map_) keys.push_back(entry.first);
    for (const Key& key : keys) callback(key);
  }

  bool insertOrAssign(const Key& key, const Value& value) {
    const auto [position, inserted] = map_.try_emplace(key, value);
    if (inserted) return true;
    if (position->second == value) return false;
    position->second = value;
    return true;
  }
  bool erase(const Key& key) { return map_.erase(key) != 0; }

 private:
  Map map_;
};

}  // namespace Qel
