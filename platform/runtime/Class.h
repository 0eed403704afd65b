#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <typeinfo>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "platform/runtime/KeyValue.h"
#include "platform/runtime/Mutex.h"
#include "platform/runtime/SEL.h"

namespace platform {

class NSObject;
template <typename Self>
class ClassBuilder;

// A variable that a class declares, and a way to see which object it holds in a receiver at this moment. The
// answer is for comparing identities; nothing keeps it alive.
struct InstanceVariable {
  std::string name;
  std::function<const NSObject*(const NSObject& receiver)> value;
};

// The record of a class: its name, its superclass, its own instance variables in the order of their
// declaration, and what it answers by name (selectors, actions, keys).
//
// Life cycle: made on the first use of `T::classObject()`, or at run time by derive(), found by
// NSClassFromString from then on, never destroyed. A layer that wants its classes to be found by name touches
// them in its install function. Classes may share a name, as C++ classes of two namespaces do: the first is
// found by it, the log names the others that are not made at run time.
// Threads: everything is fixed once the record is made, but for the selectors, which are locked. Any thread.
class Class {
 public:
  // Answers false, and runs nothing, when an argument is of another class than it takes.
  using Action = std::function<bool(NSObject& receiver, NSObject* sender, NSObject* event)>;

  Class(const Class&) = delete;
  Class& operator=(const Class&) = delete;

  // A class that exists at run time only, as one of another toolkit's that objects of the C++ class `type`
  // stand for; their `isa` answers it. It answers what its superclass does. Each call makes a new one, for
  // good: keep it.
  static Class& derive(std::string_view name, Class& superclass, const std::type_info& type);

  const std::string& name() const { return name_; }
  const Class* superclass() const { return superclass_; }
  // The C++ class that the record was made for. The objects of one that has no NS_OBJECT show another.
  const std::type_info& type() const { return type_; }
  // A class counts as a subclass of itself.
  bool isSubclassOf(const Class& other) const;

  // The class's own, not its superclasses'.
  const std::vector<InstanceVariable>& ivars() const { return ivars_; }

  // Own or inherited: methods, actions and keys alike.
  bool respondsToSelector(SEL selector) const;
  void addSelector(SEL selector);
  // For a class of derive(), on the thread that its objects belong to.
  void addAction(SEL selector, Action action);

  enum class Performed { Yes, NoSuchAction, WrongArgument };
  // Runs the action that receivers of this class have for the selector, own or inherited. The sender and the
  // event may be null; an action that takes another class of either is not run.
  Performed perform(NSObject& receiver, SEL action, NSObject* sender, NSObject* event) const;

  // Own or inherited. Throws UndefinedKeyError.
  KeyValue valueForKey(const NSObject& receiver, std::string_view key) const;
  bool hasKey(std::string_view key) const { return findKey(key) != nullptr; }
  // Whether this class or one above it announces the changes of the key, which makes it one to observe.
  bool announcesKey(std::string_view key) const;

 private:
  template <typename Self>
  friend class ClassBuilder;

  struct Key {
    std::function<KeyValue(const NSObject& receiver)> get;
    bool isAnnounced;
  };

  Class(std::string_view name, const std::type_info& type, const Class* superclass);

  // From here on the class is found by its name, unless another had it before.
  static Class& enter(std::unique_ptr<Class> record);
  static bool enterQuietly(std::unique_ptr<Class> record);
  void addInstanceVariable(std::string_view name, std::function<const NSObject*(const NSObject&)> value);
  void addKey(std::string_view name, Key key);
  const Key* findKey(std::string_view key) const;

  const std::string name_;
  const std::type_info& type_;
  const Class* const superclass_;
  std::vector<InstanceVariable> ivars_;
  std::unordered_map<SEL, Action> actions_;
  std::map<std::string, Key, std::less<>> keys_;

  mutable Mutex mutex_;
  std::unordered_set<SEL> selectors_ PLATFORM_GUARDED_BY(mutex_);
};

// Null when no class of this name has been used yet.
const Class* NSClassFromString(std::string_view name);
const std::string& NSStringFromClass(const Class& cls);

}  // namespace platform
