#pragma once

/// Keyed collections around std containers. They do not notify; the entity that owns one does.
///
/// `OrderedCollection` walks in key order with iterators that outlive any change: what an iterator
/// stands on stays with it, and after a change of the collection it goes on at the first key above
/// that. A collection knows the iterators that stand on its entries, so that a step of a walk costs
/// nothing but the step; an entry that is removed or replaced is handed over to them. Everything
/// here is for the event thread, reading included.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <unordered_map>
#include <utility>

namespace Qel {

template <class Key, class Value, class Less = std::less<Key>>
class OrderedCollection {
  using Map = std::map<Key, Value, Less>;
  using Position = typename Map::const_iterator;

 public:
  class ConstIterator {
   public:
    /// At end of no collection.
    ConstIterator() = default;
    ConstIterator(const ConstIterator& other)
        : collection_(other.collection_),
          position_(other.position_),
          entry_(other.entry_),
          removed_(other.removed_) {
      join();
    }
    ConstIterator& operator=(const ConstIterator& other) {
      if (this == &other) return *this;
      leave();
      const auto left = std::move(removed_);  // may go only when the iterator stands again
      collection_ = other.collection_;
      position_ = other.position_;
      entry_ = other.entry_;
      removed_ = other.removed_;
      join();
      return *this;
    }
    ~ConstIterator() { leave(); }

    bool atEnd() const { return entry_ == nullptr; }
    explicit operator bool() const { return !atEnd(); }

    /// The entry on which the iterator stands, as it was when it got there; valid until it moves
    /// on, also when the entry leaves the collection. Not at end.
    const Key& key() const { return entry_->first; }
    const Value& value() const { return entry_->second; }

    /// Moves to the next entry in key order; stays at end.
    ConstIterator& operator++() {
      if (atEnd()) return *this;
      if (removed_) {
        position_ = collection_->map_.upper_bound(key());
        const auto left = std::move(removed_);  // may go only when the iterator stands again
        entry_ = nullptr;
        if (position_ != collection_->map_.end()) entry_ = &*position_;
        join();
      } else if (++position_ != collection_->map_.end()) {
        entry_ = &*position_;
      } else {
        leave();
        entry_ = nullptr;
      }
      return *this;
    }

   private:
    friend class OrderedCollection;
    ConstIterator(const OrderedCollection& collection, Position position)
        : collection_(&collection), position_(position) {
      if (position_ != collection.map_.end()) entry_ = &*position_;
      join();
    }

    // In the collection's list while it stands on an entry of the collection.
    bool listed() const { return entry_ != nullptr && !removed_; }
    void join() {
      if (!listed()) return;
      previous_ = nullptr;
      next_ = std::exchange(collection_->iterators_, this);
      if (next_ != nullptr) next_->previous_ = this;
    }
    void leave() {
      if (!listed()) return;
      (previous_ == nullptr ? collection_->iterators_ : previous_->next_) = next_;
      if (next_ != nullptr) next_->previous_ = previous_;
    }

    const OrderedCollection* collection_ = nullptr;
    Position position_{};
    const typename Map::value_type* entry_ = nullptr;  // null at end
    std::shared_ptr<const Map> removed_;  // holds the entry once it left the collection
    ConstIterator* previous_ = nullptr;
    ConstIterator* next_ = nullptr;
  };

  OrderedCollection() = default;
  /// Iterators stay with the collection from which they come, and that one loses its entries.
  OrderedCollection(OrderedCollection&& other) : OrderedCollection() {
    other.release();
    map_.swap(other.map_);
    other.lastFound_ = other.map_.end();
  }
  OrderedCollection& operator=(OrderedCollection&&) = delete;
  ~OrderedCollection() { release(); }

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
  /// At the first entry whose key is not less than `key`; at end when there is none. Asking for the
  /// entry that was found last, or for the one after it, as a walk from request to request does,
  /// needs no search.
  ConstIterator startAt(const Key& key) const {
    if (!isAt(lastFound_, key)) {
      if (lastFound_ != map_.end()) ++lastFound_;
      if (!isAt(lastFound_, key)) lastFound_ = map_.lower_bound(key);
    }
    return ConstIterator(*this, lastFound_);
  }

  /// False, and nothing done, when the key holds an equal value already.
  bool insertOrAssign(const Key& key, const Value& value) {
    const auto [position, inserted] = map_.try_emplace(key, value);
    if (inserted) return true;
    if (position->second == value) return false;
    if (iteratorOn(position) == nullptr) {
      position->second = value;
    } else {
      // The present entry goes to the iterators; the arguments may be part of it.
      typename Map::node_type fresh = nodeOf(key, value);
      remove(position);
      map_.insert(std::move(fresh));
    }
    return true;
  }

  /// Removes the entry of a key and gives what it held.
  std::optional<Value> take(const Key& key) {
    const auto found = map_.find(key);
    if (found == map_.end()) return std::nullopt;
    if (iteratorOn(found) == nullptr) {
      std::optional<Value> value(std::move(found->second));
      if (lastFound_ == found) lastFound_ = map_.end();
      map_.erase(found);
      return value;
    }
    std::optional<Value> value(found->second);
    remove(found);
    return value;
  }
  bool erase(const Key& key) { return take(key).has_value(); }

 private:
  bool isAt(Position position, const Key& key) const {
    const Less less;
    return position != map_.end() && !less(position->first, key) && !less(key, position->first);
  }

  ConstIterator* iteratorOn(Position position) const {
    ConstIterator* iterator = iterators_;
    while (iterator != nullptr && iterator->position_ != position) iterator = iterator->next_;
    return iterator;
  }

  /// Takes an entry out of the map and hands it to the iterators that stand on it.
  void remove(Position position) {
    const auto holder = std::make_shared<Map>();
    while (ConstIterator* iterator = iteratorOn(position)) {
      iterator->leave();
      iterator->removed_ = holder;
    }
    if (lastFound_ == position) lastFound_ = map_.end();
    holder->insert(map_.extract(position));
  }
  void release() {
    while (iterators_ != nullptr) remove(iterators_->position_);
  }

  static typename Map::node_type nodeOf(const Key& key, const Value& value) {
    Map single;
    single.emplace(key, value);
    return single.extract(single.begin());
  }

  Map map_;
  mutable Position lastFound_ = map_.end();
  mutable ConstIterator* iterators_ = nullptr;
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
