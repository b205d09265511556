#include "Tree.h"

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>
#include <set>
#include <vector>

#include "Members.h"
#include "qel/Strep.h"

namespace OpenConfig {

namespace {

using Json = nlohmann::json;

constexpr size_t kShownOctets = 60;

std::string printable(std::string_view octets) {
  return Qel::printable(octets.substr(0, kShownOctets)) +
         (octets.size() > kShownOctets ? "..." : "");
}

/// Walks the text and tells how far the reader has come: it reports values without their places.
class CountingIterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  CountingIterator(const char* at, const char** reached) : at_(at), reached_(reached) {}
  reference operator*() const { return *at_; }
  CountingIterator& operator++() {
    *reached_ = ++at_;
    return *this;
  }
  CountingIterator operator++(int) {
    const CountingIterator before = *this;
    ++*this;
    return before;
  }
  friend bool operator==(const CountingIterator& a, const CountingIterator& b) {
    return a.at_ == b.at_;
  }

 private:
  const char* at_;
  const char** reached_;
};

/// Whether nothing within a member of that name is ever read.
bool isIgnored(std::string_view name) {
  if (name == kRestconfData) return false;
  return isForeign(name) || localName(name) == "interfaces";
}

DocumentError errorAt(std::string_view source, size_t offset, std::string found,
                      std::string expected) {
  const std::string_view before = source.substr(0, offset);
  const size_t line = static_cast<size_t>(std::count(before.begin(), before.end(), '\n')) + 1;
  const size_t lineStart = before.rfind('\n') + 1;  // 0 without a line end before
  return {line, offset - lineStart + 1, "", std::move(found), std::move(expected)};
}

}  // namespace

std::string shownText(std::string_view octets) { return "\"" + printable(octets) + "\""; }

std::string DocumentError::text(std::string_view file) const {
  std::string text(file);
  if (line != 0) text += ":" + std::to_string(line);
  if (column != 0) text += ":" + std::to_string(column);
  text += ": ";
  if (!path.empty()) text += path + ": ";
  return text + "found " + found + ", expected " + expected;
}

/// Takes the reader's events; each returns false to end the reading, with `error` set.
class Tree::Builder {
 public:
  Builder(Tree& tree, const Limits& limits, std::stop_token stop)
      : error{},
        reached(tree.source_.data()),
        tree_(tree),
        limits_(limits),
        stop_(std::move(stop)) {}

  bool null() { return add(Kind::null, 0); }
  bool boolean(bool value) { return add(Kind::boolean, value ? 1 : 0); }
  bool number_unsigned(uint64_t value) { return add(Kind::natural, value); }
  bool number_integer(int64_t value) {
    return value < 0 ? addText(Kind::otherNumber, std::to_string(value))
                     : add(Kind::natural, static_cast<uint64_t>(value));
  }
  bool number_float(double, const std::string& written) {
    return addText(Kind::otherNumber, written);
  }
  bool string(const std::string& value) { return addText(Kind::string, value); }
  bool binary(const Json::binary_t&) { return false; }

  bool start_object(size_t) { return open(Kind::object); }
  bool start_array(size_t) { return open(Kind::list); }
  bool end_object() {
    if (ignored_ != 0) return closeIgnored();
    const bool unique = !refuseDuplicate(open_.back());
    open_.pop_back();
    return unique;
  }
  bool end_array() {
    if (ignored_ != 0) return closeIgnored();
    open_.pop_back();
    return true;
  }
  bool key(const std::string& name) {
    if (ignored_ != 0) return true;
    key_ = keep(name);
    ignoreNext_ = isIgnored(name);
    return true;
  }

  bool parse_error(size_t, const std::string& token, const Json::exception& exception) {
    const std::string_view what = exception.what();
    // Behind these words stands the document, octet by octet.
    const std::string_view own = what.substr(0, what.find("; last read: '"));
    constexpr std::string_view kExpected = "; expected ";
    const size_t expected = own.rfind(kExpected);
    error = errorAt(tree_.source_, place(), unexpected(own, token),
                    expected == std::string_view::npos
                        ? "well-formed JSON"
                        : std::string(own.substr(expected + kExpected.size())));
    return false;
  }

  DocumentError error;
  const char* reached;

 private:
  // The reader tells the octets of a literal, but not those of a single sign or of a bad literal.
  std::string unexpected(std::string_view what, const std::string& token) const {
    const auto says = [what](std::string_view text) {
      return what.find(text) != std::string_view::npos;
    };
    if (says("unexpected end of input") || says("missing closing quote")) {
      return "the end of the text";
    }
    const bool literal = says(" literal; expected");
    return shownText(literal ? token : std::string(tree_.source_.substr(place(), 1)));
  }

  // Where the octet read last stands.
  size_t place() const {
    const auto read = static_cast<size_t>(reached - tree_.source_.data());
    return read == 0 ? 0 : read - 1;
  }

  Text keep(const std::string& octets) {
    const Text text{static_cast<uint32_t>(tree_.octets_.size()),
                    static_cast<uint32_t>(octets.size())};
    tree_.octets_ += octets;
    return text;
  }

  bool closeIgnored() {
    --ignored_;
    return true;
  }

  // Whether the reading goes on.
  bool goesOn() {
    constexpr size_t kStep = 1 << 12;
    return ++values_ % kStep != 0 || !stop_.stop_requested();
  }

  bool add(Kind kind, uint64_t number) {
    if (!goesOn()) return false;
    if (ignored_ != 0) return true;
    ignoreNext_ = false;
    if (tree_.nodes_.size() == limits_.nodes) {
      error = errorAt(tree_.source_, place(), "more values",
                      "at most " + std::to_string(limits_.nodes) + " in the document");
      return false;
    }
    const auto index = static_cast<uint32_t>(tree_.nodes_.size());
    Node node{};
    node.place = static_cast<uint32_t>(place());
    node.parent = open_.empty() ? kNone : open_.back();
    node.next = kNone;
    node.key = key_;
    node.number = number;
    node.kind = kind;
    key_ = {};
    tree_.nodes_.push_back(node);
    if (node.parent == kNone) return true;
    Children& siblings = tree_.nodes_[node.parent].children;
    if (siblings.last == kNone) {
      siblings.first = index;
    } else {
      tree_.nodes_[siblings.last].next = index;
    }
    siblings.last = index;
    return true;
  }

  bool addText(Kind kind, const std::string& octets) {
    const bool kept = ignored_ == 0 && !ignoreNext_;
    if (!add(kept ? kind : Kind::null, 0)) return false;
    if (kept) tree_.nodes_.back().text = keep(octets);
    return true;
  }

  bool open(Kind kind) {
    if (stop_.stop_requested()) return false;
    const bool ignored = ignored_ != 0 || ignoreNext_;
    if (!add(kind, 0)) return false;
    if (ignored_ == 0) tree_.nodes_.back().children = {kNone, kNone};
    if (open_.size() + ignored_ == limits_.depth) {
      error = errorAt(tree_.source_, place(), "deeper nesting",
                      "at most " + std::to_string(limits_.depth) + " levels");
      return false;
    }
    if (ignored) {
      ++ignored_;
      return true;
    }
    open_.push_back(static_cast<uint32_t>(tree_.nodes_.size() - 1));
    return true;
  }

  // Refuses the first member of an object whose name an earlier one has.
  bool refuseDuplicate(uint32_t object) {
    constexpr size_t kFew = 16;
    few_.clear();
    many_.clear();
    for (Ref member = Ref(&tree_, object).firstChild(); member; member = member.next()) {
      const std::string_view name = member.key();
      if (few_.size() < kFew) {
        if (std::find(few_.begin(), few_.end(), name) == few_.end()) {
          few_.push_back(name);
          continue;
        }
      } else {
        if (many_.empty()) many_.insert(few_.begin(), few_.end());
        if (many_.insert(name).second) continue;
      }
      error = member.error("a second member " + shownText(member.key()), "each member once");
      return true;
    }
    return false;
  }

  Tree& tree_;
  const Limits& limits_;
  std::stop_token stop_;
  std::vector<uint32_t> open_;
  Text key_{};
  size_t values_ = 0;
  // Whether the value of the key read last is ignored, and what is open of one that is.
  bool ignoreNext_ = false;
  size_t ignored_ = 0;
  // The names of one object: most objects are small, and a set for each would cost more than they.
  std::vector<std::string_view> few_;
  std::set<std::string_view> many_;
};

Tree::Tree(std::string_view text, const Limits& limits, std::stop_token stop) : source_(text) {
  // The reader would take a NUL for the end of the text.
  if (const size_t nul = text.find('\0'); nul != std::string_view::npos) {
    throw Refused{errorAt(text, nul, shownText(text.substr(nul, 1)), "well-formed JSON")};
  }
  Builder builder(*this, limits, std::move(stop));
  const char* begin = text.data();
  const char* end = begin + text.size();
  if (!Json::sax_parse(CountingIterator(begin, &builder.reached),
                       CountingIterator(end, &builder.reached), &builder)) {
    throw Refused{std::move(builder.error)};
  }
}

Kind Ref::kind() const { return tree_->nodes_[index_].kind; }

std::string_view Ref::key() const { return tree_->view(tree_->nodes_[index_].key); }

std::string_view Ref::text() const { return tree_->view(tree_->nodes_[index_].text); }

uint64_t Ref::number() const { return tree_->nodes_[index_].number; }

Ref Ref::firstChild() const {
  const uint32_t first = tree_->nodes_[index_].children.first;
  return first == Tree::kNone ? Ref() : Ref(tree_, first);
}

Ref Ref::next() const {
  const uint32_t next = tree_->nodes_[index_].next;
  return next == Tree::kNone ? Ref() : Ref(tree_, next);
}

std::string Ref::shown() const {
  switch (kind()) {
    case Kind::null:
      return "null";
    case Kind::boolean:
      return number() != 0 ? "true" : "false";
    case Kind::natural:
      return std::to_string(number());
    case Kind::otherNumber:
      return printable(text());
    case Kind::string:
      return shownText(text());
    case Kind::object:
      return "an object";
    case Kind::list:
      return "a list";
  }
  return "nothing";
}

DocumentError Ref::error(std::string found, std::string expected) const {
  const size_t place = tree_->nodes_[index_].place;
  DocumentError error = errorAt(tree_->source_, place, std::move(found), std::move(expected));
  error.column = 0;
  error.path = pointer();
  return error;
}

std::string Ref::pointer() const {
  const uint32_t parent = tree_->nodes_[index_].parent;
  if (parent == Tree::kNone) return "";
  const Ref above(tree_, parent);
  std::string token;
  if (above.kind() == Kind::list) {
    size_t position = 0;
    for (Ref before = above.firstChild(); before.index_ != index_; before = before.next()) {
      ++position;
    }
    token = std::to_string(position);
  } else {
    for (const char octet : printable(key())) {
      token += octet == '~' ? "~0" : octet == '/' ? "~1" : std::string(1, octet);
    }
  }
  return above.pointer() + "/" + token;
}

}  // namespace OpenConfig
