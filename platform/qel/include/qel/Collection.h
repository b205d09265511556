#pragma once

/// Keyed collections around std containers. They do not notify; the entity that owns one does.
///
/// `OrderedCollection` walks in key order with iterators that outlive any change: an iterator holds
/// its key and its value, and after a change of the collection it goes on at the first key above
/// its own. Iterators need the collection to live; comparing and moving them is for the event
/// thread.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <unordered_map>
#include <utility>

#include "qel/PoolAllocator.h"

namespace Qel {

template <class Key, class Value, class Less = std::less<Key>,
          class Allocator = std::allocator<std::pair<const Key, Value>>>
class OrderedCollection {
  using Map = std::map<Key, Value, Less, Allocator>;

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
    ConstIterator& operator++() { return advance(AnyKey()); }

    /// Moves to the next entry whose key is `wanted`, a predicate that leaves the collection alone.
    /// The same as `++` until it is, but does not hold the entries between: a step costs a
    /// fraction.
    template <class Wanted>
    ConstIterator& advance(const Wanted& wanted) {
      if (atEnd()) return *this;
      if (modifications_ == collection_->modifications_) {
        ++position_;
      } else {
        position_ = collection_->map_.upper_bound(entry_->first);
      }
      settle(wanted);
      return *this;
    }

   private:
    friend class OrderedCollection;
    struct AnyKey {
      bool operator()(const Key&) const { return true; }
    };

    template <class Wanted = AnyKey>
    ConstIterator(const OrderedCollection& collection, typename Map::const_iterator position,
                  const Wanted& wanted = {})
        : collection_(&collection), position_(position) {
      settle(wanted);
    }
    /// Takes hold of the first wanted entry from the position on.
    template <class Wanted>
    void settle(const Wanted& wanted) {
      const auto end = collection_->map_.end();
      while (position_ != end && !wanted(position_->first)) ++position_;
      modifications_ = collection_->modifications_;
      if (position_ == end) {
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
  /// At the first entry whose key is `wanted`; for walks that go on with `advance`.
  template <class Wanted>
  ConstIterator firstOf(const Wanted& wanted) const {
    return ConstIterator(*this, map_.begin(), wanted);
  }
  /// At the first entry whose key is not less than `key`; at end when there is none.
  ConstIterator startAt(const Key& key) const {
    return ConstIterator(*this, map_.lower_bound(key));
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

/// For many thousands of entries: they lie side by side in memory.
template <class Key, class Value>
using PooledOrderedCollection =
    OrderedCollection<Key, Value, std::less<Key>, PoolAllocator<std::pair<const Key, Value>>>;

/// Constant-time look-up for keys with a `hash()`. Walks see the entries in no particular order and
/// must not change the collection.
template <class Key, class Value>
class HashCollection {
  struct Hash {
    size_t operator()(const Key& key) const { return key.hash(); }
  };
  using Map = std::unordered_map<Key, Value, Hash>;

 public:
  size_t size() const { return map_.size(); }
  bool empty() const { return map_.empty(); }
  bool contains(const Key& key) const { return map_.find(key) != map_.end(); }
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
