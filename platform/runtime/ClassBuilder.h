#pragma once

#include <functional>
#include <memory>
#include <string_view>
#include <type_traits>
#include <utility>

#include "platform/runtime/Class.h"

namespace platform {

// Makes the record of the class `Self`, once, from what the class says of itself in `describe`:
//
//   void CartController::describe(ClassBuilder<CartController>& c) {
//     c.ivar("_payButton", &CartController::_payButton)
//         .action("pay:", &CartController::pay)
//         .key("total", &CartController::total);
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
  // and the event, each as a pointer to the type it expects; an object of another type arrives as null.
  template <typename Result, typename Owner>
  ClassBuilder& action(std::string_view selector, Result (Owner::*function)()) {
    return addAction(selector, [function](Self& self, NSObject*, NSObject*) { (self.*function)(); });
  }
  template <typename Result, typename Owner, typename Sender>
  ClassBuilder& action(std::string_view selector, Result (Owner::*function)(Sender*)) {
    return addAction(selector, [function](Self& self, NSObject* sender, NSObject*) {
      (self.*function)(dynamic_cast<Sender*>(sender));
    });
  }
  template <typename Result, typename Owner, typename Sender, typename Event>
  ClassBuilder& action(std::string_view selector, Result (Owner::*function)(Sender*, Event*)) {
    return addAction(selector, [function](Self& self, NSObject* sender, NSObject* event) {
      (self.*function)(dynamic_cast<Sender*>(sender), dynamic_cast<Event*>(event));
    });
  }

  // A value that can be read, and observed, by name: a const member function, a data member, or any function
  // of `const Self&`. The class also answers the selector of that name.
  template <typename Getter>
  ClassBuilder& key(std::string_view name, Getter getter) {
    class_.addKey(name, [getter = std::move(getter)](const NSObject& receiver) {
      return toKeyValue(std::invoke(getter, static_cast<const Self&>(receiver)));
    });
    return *this;
  }

  // A replaceable method (Method.h) that this class is the root of.
  template <typename MethodOfSelf>
  ClassBuilder& method(MethodOfSelf& method) {
    method.installIn(class_);
    return *this;
  }

  // Called by NS_OBJECT alone.
  static Class& build(std::string_view name, const Class* superclass) {
    std::unique_ptr<Class> record(new Class(name, superclass));
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

  template <typename Function>
  ClassBuilder& addAction(std::string_view selector, Function function) {
    class_.addAction(SEL(selector), [function](NSObject& receiver, NSObject* sender, NSObject* event) {
      function(static_cast<Self&>(receiver), sender, event);
    });
    return *this;
  }

  Class& class_;
};

}  // namespace platform
