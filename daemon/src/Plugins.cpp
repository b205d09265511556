#include "Plugins.h"

#include <dlfcn.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>

#include "snmp/Registration.h"
#include "velomark/Velomark.h"

namespace Daemon {

namespace {

using Unregister = void (*)(Qel::String8);

std::vector<std::filesystem::path> librariesIn(const std::string& folder) {
  std::error_code error;
  std::filesystem::directory_iterator entries(folder, error);
  if (error) {
    throw std::runtime_error("plug-in folder '" + folder + "' cannot be read: " + error.message());
  }
  std::vector<std::filesystem::path> found;
  for (const auto& entry : entries) {
    if (entry.path().extension() == ".so") found.push_back(entry.path());
  }
  std::sort(found.begin(), found.end());
  if (found.empty()) throw std::runtime_error("plug-in folder '" + folder + "' holds no plug-in");
  return found;
}

}  // namespace

Plugins::Plugins(const std::string& folder) {
  for (const auto& path : librariesIn(folder)) {
    void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
      const std::string reason = dlerror();
      unload();
      throw std::runtime_error("plug-in '" + path.string() + "' cannot be loaded: " + reason);
    }
    libraries_.push_back(library);
  }
}

Plugins::~Plugins() {
  unregisterContexts();
  unload();
}

void Plugins::unregisterContexts() {
  const auto present = Snmp::mibContexts();
  for (const auto& [context, modules] : present) {
    for (const Qel::String8& module : modules) {
      const std::string symbol = "unregister_" + module.str();
      for (void* library : libraries_) {
        if (const auto unregister = reinterpret_cast<Unregister>(dlsym(library, symbol.c_str()))) {
          unregister(context);
          break;
        }
      }
    }
  }
  const auto contexts = Snmp::contexts();
  for (const Qel::String8& context : contexts) Snmp::contextDel(context);
}

void Plugins::unload() {
  // The records point at texts of the plug-ins.
  Velomark::recordsDel();
  for (auto library = libraries_.rbegin(); library != libraries_.rend(); ++library) {
    dlclose(*library);
  }
  libraries_.clear();
}

}  // namespace Daemon
