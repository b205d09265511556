#pragma once

/// The type registry: creating objects and reaching their attributes by name, for code that knows a
/// type only by that name.
///
/// A source unit registers its types with static `TypeRegistration` objects; they withdraw the type
/// when the code that defines it is unloaded.

#include <functional>
#include <map>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "qel/Ptr.h"
#include "qel/String8.h"

namespace Qel {

/// What generic access passes in and out. An object that is only readable travels as the pointer to
/// const.
using Value = std::variant<std::monostate, bool, uint32_t, double, String8, Ptr<PtrInterface>,
                           Ptr<const PtrInterface>>;
using Values = std::vector<Value>;

namespace detail {

/// Enumerations travel as their numbers.
template <class T>
struct ValueTraits;

[[noreturn]] void wrongValue(const char* expected);

template <class T>
struct PlainTraits {
  static T from(const Value& value, const char* expected) {
    if (const T* held = std::get_if<T>(&value)) return *held;
    wrongValue(expected);
  }
  static Value to(const T& value) { return value; }
};
template <>
struct ValueTraits<bool> : PlainTraits<bool> {
  static bool from(const Value& value) { return PlainTraits::from(value, "a truth value"); }
};
template <>
struct ValueTraits<uint32_t> : PlainTraits<uint32_t> {
  static uint32_t from(const Value& value) { return PlainTraits::from(value, "a number"); }
};
template <>
struct ValueTraits<double> : PlainTraits<double> {
  static double from(const Value& value) { return PlainTraits::from(value, "a time"); }
};
template <>
struct ValueTraits<String8> : PlainTraits<String8> {
  static String8 from(const Value& value) { return PlainTraits::from(value, "a string"); }
};
template <class T>
requires std::is_enum_v<T>
struct ValueTraits<T> {
  static T from(const Value& value) {
    return static_cast<T>(PlainTraits<uint32_t>::from(value, "a number"));
  }
  static Value to(T value) { return static_cast<uint32_t>(value); }
};
template <>
struct ValueTraits<Name> {
  static Name from(const Value& value) { return ValueTraits<String8>::from(value); }
  static Value to(const Name& name) { return name.string(); }
};

/// An empty value and a null pointer are null; an object must be of the expected type.
template <class T>
struct ValueTraits<Ptr<T>> {
  using Held = std::conditional_t<std::is_const_v<T>, const PtrInterface, PtrInterface>;

  static Ptr<T> from(const Value& value) {
    Ptr<Held> held;
    if (const auto* object = std::get_if<Ptr<PtrInterface>>(&value)) {
      held = Ptr<Held>(object->get());
    } else if (const auto* constObject = std::get_if<Ptr<const PtrInterface>>(&value)) {
      if constexpr (std::is_const_v<T>) {
        held = *constObject;
      } else if (*constObject) {
        wrongValue("an object that may be changed");
      }
    } else if (!std::holds_alternative<std::monostate>(value)) {
      wrongValue("an object");
    }
    const Ptr<T> object = ptrCast<T>(held);
    if (held && !object) wrongValue("an object of another type");
    return object;
  }
  static Value to(const Ptr<T>& object) { return Ptr<Held>(object.get()); }
};

}  // namespace detail

/// A value for generic access.
template <class T>
Value valueOf(const T& value) {
  return detail::ValueTraits<T>::to(value);
}

class Type {
 public:
  using Factory = std::function<Ptr<PtrInterface>(const Values&)>;
  using Operation = std::function<Value(PtrInterface&, const Values&)>;

  explicit Type(String8 name) : name_(std::move(name)) {}

  const String8& name() const { return name_; }

  /// A new object from the constructor's arguments. Throws `RangeException` for arguments that do
  /// not fit.
  Ptr<PtrInterface> create(const Values& arguments) const;
  /// Calls an operation of an object: an accessor ("aclMib"), a mutator ("aclMibIs") or any other
  /// that the type registered. Throws `RangeException` for an unknown name or arguments that do not
  /// fit.
  Value call(PtrInterface& object, const String8& operation, const Values& arguments) const;

  void factoryIs(Factory factory) { factory_ = std::move(factory); }
  void operationIs(const String8& name, Operation operation) {
    operations_[name] = std::move(operation);
  }

 private:
  String8 name_;
  Factory factory_;
  std::map<String8, Operation> operations_;
};

/// The registered type of a name; throws `RangeException` when there is none.
const Type& typeOf(const String8& name);
bool hasType(const String8& name);

template <class T>
class TypeRegistration {
 public:
  explicit TypeRegistration(const String8& name);
  ~TypeRegistration();
  TypeRegistration(const TypeRegistration&) = delete;
  TypeRegistration& operator=(const TypeRegistration&) = delete;

  /// The function that makes an object from its constructor's arguments.
  template <class Made, class... Args>
  TypeRegistration& factory(Ptr<Made> (*function)(Args...)) {
    type_.factoryIs([function](const Values& arguments) -> Ptr<PtrInterface> {
      requireCount(arguments, sizeof...(Args));
      return apply<Args...>(std::index_sequence_for<Args...>(), arguments,
                            [&](auto&&... args) { return function(args...); });
    });
    return *this;
  }

  /// A member function under its name.
  template <class Result, class... Args>
  TypeRegistration& operation(const String8& name, Result (T::*function)(Args...)) {
    return bind<Result, Args...>(name, function);
  }
  template <class Result, class... Args>
  TypeRegistration& operation(const String8& name, Result (T::*function)(Args...) const) {
    return bind<Result, Args...>(name, function);
  }

 private:
  template <class Result, class... Args, class Function>
  TypeRegistration& bind(const String8& name, Function function) {
    type_.operationIs(name, [function](PtrInterface& object, const Values& arguments) -> Value {
      requireCount(arguments, sizeof...(Args));
      auto* self = dynamic_cast<T*>(&object);
      if (self == nullptr) detail::wrongValue("an object of another type");
      return apply<Args...>(
          std::index_sequence_for<Args...>(), arguments, [&](auto&&... args) -> Value {
            if constexpr (std::is_void_v<Result>) {
              (self->*function)(args...);
              return {};
            } else {
              return valueOf<std::remove_cvref_t<Result>>((self->*function)(args...));
            }
          });
    });
    return *this;
  }

  static void requireCount(const Values& arguments, size_t count);

  template <class... Args, size_t... I, class Function>
  static auto apply(std::index_sequence<I...>, [[maybe_unused]] const Values& arguments,
                    Function&& function) {
    return function(detail::ValueTraits<std::remove_cvref_t<Args>>::from(arguments[I])...);
  }

  Type type_;
};

namespace detail {
void typeIs(Type& type);
void typeDel(const Type& type);
void requireArguments(size_t given, size_t expected);
}  // namespace detail

template <class T>
TypeRegistration<T>::TypeRegistration(const String8& name) : type_(name) {
  detail::typeIs(type_);
}
template <class T>
TypeRegistration<T>::~TypeRegistration() {
  detail::typeDel(type_);
}
template <class T>
void TypeRegistration<T>::requireCount(const Values& arguments, size_t count) {
  detail::requireArguments(arguments.size(), count);
}

/// Generic access by the type's name.
inline Value call(const String8& type, PtrInterface& object, const String8& operation,
                  const Values& arguments = {}) {
  return typeOf(type).call(object, operation, arguments);
}

}  // namespace Qel
