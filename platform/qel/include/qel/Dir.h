#pragma once

/// Directories: entities that hold other entities by name and make up the paths of the state
/// database, for example "snmp/acl/aclMIB".

#include <string_view>

#include "qel/Entity.h"

namespace Qel {

class Dir : public Entity {
 public:
  class NotifieeConst : public NotifieeOf<Dir> {
   public:
    using NotifieeOf<Dir>::NotifieeOf;
    /// The entity of this name was added, replaced or removed.
    QEL_COLLECTION_CALLBACKS(Entity, Name)
  };

  explicit Dir(Name name = {}) : Entity(std::move(name)) {}
  ~Dir() override;
  String8 fwkType() const override { return "Qel::Dir"; }

  using EntityCollection = OrderedCollection<Name, Ptr<Entity>>;
  const EntityCollection& entity() const { return entity_; }
  /// The entity of a name, or null.
  Ptr<Entity> entity(const Name& name) const { return entity_.valueOr(name, nullptr); }

  /// Puts an entity under its own name, in place of any other. Null throws `RangeException`.
  void entityIs(const Ptr<Entity>& entity);
  /// Takes an entity out; null when there is none of that name.
  Ptr<Entity> entityDel(const Name& name);

  /// A new entity of a registered type, made by the type's factory and put under `name`. Throws
  /// `RangeException` for an unknown type and `NameInUseException` for a name that is taken.
  Ptr<Entity> newEntity(const String8& type, const Name& name);

  /// The directory at a path below this one, made where it is absent. Throws `NameInUseException`
  /// where something other than a directory stands.
  Ptr<Dir> dirIs(std::string_view path);

  /// The entity at a path below this one, or null.
  Ptr<Entity> lookup(std::string_view path) const;

 private:
  EntityCollection entity_;
};

}  // namespace Qel
