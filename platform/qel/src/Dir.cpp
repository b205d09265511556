#include "qel/Dir.h"

#include <algorithm>

#include "qel/Type.h"

namespace Qel {

namespace {

// Splits the first component off a path; empty components count for nothing.
std::string_view nextComponent(std::string_view& path) {
  while (path.starts_with('/')) path.remove_prefix(1);
  const size_t length = std::min(path.find('/'), path.size());
  const std::string_view component = path.substr(0, length);
  path.remove_prefix(length);
  while (path.starts_with('/')) path.remove_prefix(1);
  return component;
}

}  // namespace

Dir::~Dir() {
  for (auto it = entity_.begin(); it; ++it) {
    if (it.value()->parent() == this) it.value()->parentIs(nullptr, {});
  }
}

void Dir::entityIs(const Ptr<Entity>& entity) {
  const Name name = validPtr(entity)->name();
  const Ptr<Entity> previous = this->entity(name);
  if (previous == entity) return;
  if (previous) previous->parentIs(nullptr, {});
  entity->parentIs(this, "entity");
  entity_.insertOrAssign(name, entity);
  notify<NotifieeConst>([&](NotifieeConst& n) { n.onEntity(name); });
}

Ptr<Entity> Dir::entityDel(const Name& name) {
  const Name key = name;  // which may be the collection's own
  const Ptr<Entity> removed = entity_.take(key).value_or(nullptr);
  if (!removed) return nullptr;
  removed->parentIs(nullptr, {});
  notify<NotifieeConst>([&](NotifieeConst& n) { n.onEntity(key); });
  return removed;
}

Ptr<Entity> Dir::newEntity(const String8& type, const Name& name) {
  if (entity(name)) {
    throw NameInUseException("the name '" + name.string().str() + "' is taken in the directory '" +
                             fullName().str() + "'");
  }
  const Ptr<Entity> made = ptrCast<Entity>(typeOf(type).create({Value(name.string())}));
  entityIs(made);
  return made;
}

Ptr<Dir> Dir::dirIs(std::string_view path) {
  const std::string_view component = nextComponent(path);
  if (component.empty()) return Ptr<Dir>(this);
  const Name name{String8(component)};
  if (!entity(name)) entityIs(make<Dir>(name));
  const Ptr<Dir> dir = ptrCast<Dir>(entity(name));
  if (!dir) {
    throw NameInUseException("'" + entity(name)->fullName().str() + "' is not a directory");
  }
  return dir->dirIs(path);
}

Ptr<Entity> Dir::lookup(std::string_view path) const {
  const std::string_view component = nextComponent(path);
  const Ptr<Entity> found = entity(Name(String8(component)));
  if (path.empty() || !found) return found;
  const Ptr<Dir> dir = ptrCast<Dir>(found);
  return dir ? dir->lookup(path) : nullptr;
}

}  // namespace Qel
