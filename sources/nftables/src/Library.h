#pragma once

/// The one place that calls libnftables: a context that is used again for every listing.
///
/// The library lists a ruleset as of one generation: when a transaction comes between it begins
/// anew, and so it does for as long as transactions come faster than it can read. Another thread
/// breaks such a listing off.

#include <mutex>
#include <optional>
#include <string>
#include <string_view>

struct nft_ctx;

namespace Sources::Nftables {

class Library {
 public:
  Library() = default;
  ~Library();
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  /// Lists the whole ruleset as JSON. The text is good until the next call; nothing means a
  /// failure, with one line in `error`.
  std::optional<std::string_view> list();
  const std::string& error() const { return error_; }
  /// Whether the last listing was broken off.
  bool isBroken() const { return broken_; }
  /// Whether the library gave up on the ruleset as it is. Its memory is lost: do not ask again
  /// before something has changed.
  bool gaveUp() const { return gaveUp_; }
  /// Gives back what the last listing holds of memory.
  void release();

  /// Makes the listing that is under way fail soon, and those to come until `mend`. Any thread.
  void breakOff();
  /// Lets listings work again.
  void mend();

 private:
  bool open();
  void close();
  void abandon();

  nft_ctx* context_ = nullptr;
  bool buffered_ = false;
  bool broken_ = false;
  bool gaveUp_ = false;
  std::string error_;

  std::mutex mutex_;
  int socket_ = -1;  // the context's own
  bool breaking_ = false;
};

}  // namespace Sources::Nftables
