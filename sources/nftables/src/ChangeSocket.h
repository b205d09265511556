#pragma once

/// Tells that the ruleset has changed: a netlink socket in the kernel's group for it.

#include "qel/Descriptor.h"

namespace Sources::Nftables {

class ChangeSocket {
 public:
  /// Joins the group; 0 or an error number. Does nothing when it has been joined.
  int open();
  /// Readable when something has changed; -1 while not open.
  int descriptor() const { return descriptor_.number(); }
  /// Takes what was told. True when there was anything, or when the kernel had to drop some.
  bool drain();

 private:
  Qel::Descriptor descriptor_;
};

}  // namespace Sources::Nftables
