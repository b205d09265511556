#pragma once

/// The plug-ins of this process: shared libraries that a folder holds.

#include <string>
#include <vector>

namespace Daemon {

class Plugins {
 public:
  /// Loads every "*.so" of a folder in the order of their names. Throws `std::runtime_error` when
  /// the folder cannot be read, holds none, or one cannot be loaded.
  explicit Plugins(const std::string& folder);
  /// Withdraws what the plug-ins registered in any context, then unloads them, the last one first.
  ~Plugins();
  Plugins(const Plugins&) = delete;
  Plugins& operator=(const Plugins&) = delete;

  /// Calls `unregister_MODULE(context)` for every MIB module that is present in a context, and
  /// forgets the context.
  void unregisterContexts();

 private:
  void unload();

  std::vector<void*> libraries_;
};

}  // namespace Daemon
