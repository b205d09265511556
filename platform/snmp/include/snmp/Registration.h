#pragma once

/// How a plug-in joins the agent.
///
/// A plug-in holds a static `AutoRegistree` for its `HandlerRegistration`. The agent calls
/// `initHandler` once for each SNMP context with the context's name ("" is the default context),
/// for the contexts that exist when the plug-in is loaded and for each that comes later. In answer
/// the plug-in registers its MIB objects and names its MIB module with `registerMibContext`. Before
/// a context or the plug-in goes away the agent calls the plug-in's exported function
/// `unregister_MODULE(context)` for each module that is still present.

#include <map>
#include <set>
#include <string_view>

#include "qel/Dir.h"
#include "qel/Ptr.h"
#include "qel/String8.h"

namespace Snmp {

class HandlerRegistration {
 public:
  virtual ~HandlerRegistration() = default;
  virtual void initHandler(Qel::String8 context) = 0;
};

/// Records a registration object, which must outlive it, with the agent framework.
class AutoRegistree {
 public:
  explicit AutoRegistree(HandlerRegistration* registration);
  ~AutoRegistree();
  AutoRegistree(const AutoRegistree&) = delete;
  AutoRegistree& operator=(const AutoRegistree&) = delete;

 private:
  HandlerRegistration* registration_;
};

/// A MIB module is present in, or withdrawn from, a context.
void registerMibContext(const Qel::String8& context, const Qel::String8& mibModule);
void unregisterMibContext(const Qel::String8& context, const Qel::String8& mibModule);

/// The MIB modules present in each context.
const std::map<Qel::String8, std::set<Qel::String8>>& mibContexts();

/// Adds a context and calls `initHandler` of every recorded registration for it. A context that
/// exists already is left alone.
void contextIs(const Qel::String8& context);
/// Forgets a context; its modules must have been unregistered.
void contextDel(const Qel::String8& context);
const std::set<Qel::String8>& contexts();

/// Calls `initHandler` of the registrations that were recorded since the last call, for every
/// context. To be called after a plug-in was loaded and its entities are mounted.
void initNewRegistrations();

/// The directory at which relative paths of the state database start; null at start.
void mountPointIs(const Qel::Ptr<Qel::Dir>& root);

}  // namespace Snmp

namespace SnmpUtil {

/// The entity at a path relative to the agent's mount point, or null.
Qel::Ptr<Qel::Entity> getEntityRelative(const char* path);

}  // namespace SnmpUtil
