#include "qel/Type.h"

namespace Qel {

namespace {
std::map<String8, Type*>& types() {
  static std::map<String8, Type*> registered;
  return registered;
}
}  // namespace

namespace detail {

void wrongValue(const char* expected) {
  throw RangeException(std::string("wrong kind of value, expected ") + expected);
}

void typeIs(Type& type) {
  if (!types().emplace(type.name(), &type).second) {
    throw NameInUseException("the type '" + type.name().str() + "' is registered already");
  }
}

void typeDel(const Type& type) { types().erase(type.name()); }

void requireArguments(size_t given, size_t expected) {
  if (given != expected) {
    throw RangeException("expected " + std::to_string(expected) + " arguments, got " +
                         std::to_string(given));
  }
}

}  // namespace detail

Ptr<PtrInterface> Type::create(const Values& arguments) const {
  if (!factory_) throw RangeException("the type '" + name_.str() + "' has no factory");
  return validPtr(factory_(arguments));
}

Value Type::call(PtrInterface& object, const String8& operation, const Values& arguments) const {
  const auto found = operations_.find(operation);
  if (found == operations_.end()) {
    throw RangeException("the type '" + name_.str() + "' has no operation '" + operation.str() +
                         "'");
  }
  return found->second(object, arguments);
}

const Type& typeOf(const String8& name) {
  const auto found = types().find(name);
  if (found == types().end()) {
    throw RangeException("no type '" + name.str() + "' is registered");
  }
  return *found->second;
}

bool hasType(const String8& name) { return types().contains(name); }

}  // namespace Qel
