#pragma once

#include <functional>
#include <memory>
#include <string_view>
#include <type_traits>
#include <utility>

#include "platform/runtime/Class.h"
#include "platform/runtime/RuntimeLog.h"

namespace platform {

// Makes the record of the class `Self`, once, from what the class says of itself in `describe`:
//
//   void CartController::describe(ClassBuilder<CartController>& c) {
//     c.ivar("_payButton", &CartController::_payButton)
//         .action("pay:", &CartController::pay)
//         .key("count", &CartController::count)
//         .observableKey("total", &CartController::total);
//   }
//
// A class without a `describe` of its own lists nothing and inherits everything.
template <typename Self>
class ClassBuilder {
 public:
  // A variable that holds an object: `std::shared_ptr<T>`, `std::weak_ptr<T>`, `std::unique_ptr<T>` or `T*`.
  template <typename Holder, typename Owner>
  ClassBuilder& ivar(std::string_view name, Holder Owner::*variable) {
    class_.addInstanceVariable(name, [variable](const NSObject& receiver) -> const NSObject* {
      const Holder& holder = static_cast<const Self&>(receiver).*variable;
      if constexpr (std::is_pointer_v<Holder>) {
        return holder;
      } else if constexpr (requires { holder.lock(); }) {
        return holder.lock().get();
      } else {
        return holder.get();
      }
    });
    return *this;
  }

  // A member function that a control or a timer may call by name. It takes nothing, the sender, or the sender
  // and the event, each as a pointer to the type it expects, null where there is none. It is not called with
  // an object of another type.
  template <typename Result, typename Owner, typename... Arguments>
  requires(sizeof...(Arguments) <= 2) ClassBuilder& action(std::string_view selector,
                                                           Result (Owner::*function)(Arguments*...)) {
    class_.addAction(SEL(selector), [function](NSObject& receiver, NSObject* sender, NSObject* event) {
      return call(static_cast<Self&>(receiver), function, sender, event);
    });
    return *this;
  }

  // A value that can be read by name: a const member function, a data member, or any function of
  // `const Self&`. The class also answers the selector of that name.
  template <typename Getter>
  ClassBuilder& key(std::string_view name, Getter getter) {
    return addKey(name, std::move(getter), false);
  }
  // One that can also be observed: the class says didChangeValueForKey after each change.
  template <typename Getter>
  ClassBuilder& observableKey(std::string_view name, Getter getter) {
    return addKey(name, std::move(getter), true);
  }

  // A replaceable method (Method.h) that this class is the root of.
  template <typename MethodOfSelf>
  ClassBuilder& method(MethodOfSelf& method) {
    method.installIn(class_);
    return *this;
  }

  // Called by NS_OBJECT alone. A class whose record cannot be made, because `describe` throws or memory is
  // short, goes by its superclass, and the log says so.
  static Class& build(std::string_view name, Class& superclass) noexcept {
    try {
      return buildBelow(name, &superclass);
    } catch (...) {
      runtimeLog("A class could not be described, and goes by its superclass:");
      runtimeLog(name);
      return superclass;
    }
  }

  static Class& buildBelow(std::string_view name, const Class* superclass) {
    std::unique_ptr<Class> record(new Class(name, typeid(Self), superclass));
    ClassBuilder builder(*record);
    if constexpr (requires { Self::describe(builder); }) {
      Self::describe(builder);
    } else if constexpr (requires { &Self::describe; }) {
      static_assert(decltype(isInherited(&Self::describe))::value,
                    "describe takes the builder of its own class");
    }
    return Class::enter(std::move(record));
  }

 private:
  template <typename Owner>
  static std::is_base_of<Owner, Self> isInherited(void (*describe)(ClassBuilder<Owner>&));

  explicit ClassBuilder(Class& cls) : class_(cls) {}

  // Whether the object, which may be null, is one for a parameter of type T*.
  template <typename T>
  static bool fits(NSObject* object, T*& parameter) {
    parameter = dynamic_cast<T*>(object);
    return parameter || !object;
  }

  template <typename Result, typename Owner>
  static bool call(Self& self, Result (Owner::*function)(), NSObject*, NSObject*) {
    (self.*function)();
    return true;
  }
  template <typename Result, typename Owner, typename Sender>
  static bool call(Self& self, Result (Owner::*function)(Sender*), NSObject* sender, NSObject*) {
    Sender* first;
    if (!fits(sender, first)) return false;
    (self.*function)(first);
    return true;
  }
  template <typename Result, typename Owner, typename Sender, typename Event>
  static bool call(Self& self, Result (Owner::*function)(Sender*, Event*), NSObject* sender,
                   NSObject* event) {
    Sender* first;
    Event* second;
    if (!fits(sender, first) || !fits(event, second)) return false;
    (self.*function)(first, second);
    return true;
  }

  template <typename Getter>
  ClassBuilder& addKey(std::string_view name, Getter getter, bool isAnnounced) {
    const auto get = [getter = std::move(getter)](const NSObject& receiver) {
      return toKeyValue(std::invoke(getter, static_cast<const Self&>(receiver)));
    };
    class_.addKey(name, {get, isAnnounced});
    return *this;
  }

  Class& class_;
};

}  // namespace platform
