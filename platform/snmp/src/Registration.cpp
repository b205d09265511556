#include "snmp/Registration.h"

#include <algorithm>
#include <vector>

namespace Snmp {

namespace {

struct Framework {
  struct Recorded {
    HandlerRegistration* registration;
    bool initialized;
  };
  std::vector<Recorded> registrations;
  std::set<Qel::String8> contexts;
  std::map<Qel::String8, std::set<Qel::String8>> mibContexts;
  Qel::Ptr<Qel::Dir> mountPoint;
};

Framework& framework() {
  static Framework instance;
  return instance;
}

}  // namespace

AutoRegistree::AutoRegistree(HandlerRegistration* registration) : registration_(registration) {
  framework().registrations.push_back({registration, false});
}

AutoRegistree::~AutoRegistree() {
  std::erase_if(framework().registrations,
                [this](const auto& recorded) { return recorded.registration == registration_; });
}

void registerMibContext(const Qel::String8& context, const Qel::String8& mibModule) {
  framework().mibContexts[context].insert(mibModule);
}

void unregisterMibContext(const Qel::String8& context, const Qel::String8& mibModule) {
  auto& present = framework().mibContexts;
  const auto found = present.find(context);
  if (found == present.end()) return;
  found->second.erase(mibModule);
  if (found->second.empty()) present.erase(found);
}

const std::map<Qel::String8, std::set<Qel::String8>>& mibContexts() {
  return framework().mibContexts;
}

void contextIs(const Qel::String8& context) {
  if (!framework().contexts.insert(context).second) return;
  // By index: a registration may be recorded meanwhile.
  const auto& all = framework().registrations;
  for (size_t i = 0; i < all.size(); ++i) {
    if (all[i].initialized) all[i].registration->initHandler(context);
  }
}

void contextDel(const Qel::String8& context) { framework().contexts.erase(context); }

const std::set<Qel::String8>& contexts() { return framework().contexts; }

void initNewRegistrations() {
  auto& all = framework().registrations;
  for (size_t i = 0; i < all.size(); ++i) {
    if (all[i].initialized) continue;
    all[i].initialized = true;
    HandlerRegistration* const registration = all[i].registration;
    // Of the contexts that exist now: one that comes meanwhile finds the registration initialized.
    const std::set<Qel::String8> present = framework().contexts;
    for (const Qel::String8& context : present) registration->initHandler(context);
  }
}

void mountPointIs(const Qel::Ptr<Qel::Dir>& root) { framework().mountPoint = root; }

}  // namespace Snmp

namespace SnmpUtil {

Qel::Ptr<Qel::Entity> getEntityRelative(const char* path) {
  const Qel::Ptr<Qel::Dir>& root = Snmp::framework().mountPoint;
  return root ? root->lookup(path) : nullptr;
}

}  // namespace SnmpUtil
