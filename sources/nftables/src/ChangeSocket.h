#pragma once

/// Tells that the ruleset has changed: a netlink socket in the kernel's group for it.

namespace Sources::Nftables {

class ChangeSocket {
 public:
  ChangeSocket() = default;
  ~ChangeSocket();
  ChangeSocket(const ChangeSocket&) = delete;
  ChangeSocket& operator=(const ChangeSocket&) = delete;

  /// Joins the group; 0 or an error number. Does nothing when it has been joined.
  int open();
  /// Readable when something has changed; -1 while not open.
  int descriptor() const { return descriptor_; }
  /// Takes what was told. True when there was anything, or when the kernel had to drop some.
  bool drain();

 private:
  int descriptor_ = -1;
};

}  // namespace Sources::Nftables
