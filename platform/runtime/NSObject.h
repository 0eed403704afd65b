#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <type_traits>

#include "platform/runtime/Class.h"
#include "platform/runtime/ClassBuilder.h"
#include "platform/runtime/Export.h"
#include "platform/runtime/KeyValue.h"
#include "platform/runtime/SEL.h"

// At the head of every class below NSObject; what follows it is private, as in any class:
//
//   class CartController : public platform::UIViewController {
//     NS_OBJECT(CartController, UIViewController)
//    public:
//     static void describe(platform::ClassBuilder<CartController>& c);  // optional, see ClassBuilder
//
// Self is the class itself, Super the nearest class above it that has the macro; anything else does not
// compile. NS_OBJECT_NAMED is for a class whose run-time name differs from its C++ name.
#define NS_OBJECT(Self, Super) NS_OBJECT_NAMED(Self, Super, #Self)
#define NS_OBJECT_NAMED(Self, Super, name)                                                                \
 public:                                                                                                  \
  static ::platform::Class& classObject() {                                                               \
    static ::platform::Class& record = ::platform::ClassBuilder<Self>::build(name, Super::classObject()); \
    return record;                                                                                        \
  }                                                                                                       \
  const ::platform::Class& isa() const noexcept override {                                                \
    static_assert(::platform::isClassOf<Self>(decltype(this)()), "NS_OBJECT names another class first");  \
    return Self::classObject();                                                                           \
  }                                                                                                       \
                                                                                                          \
 private:                                                                                                 \
  explicit operator ::platform::NearestClass<Super>() const final { return {}; }                          \
  virtual explicit operator ::platform::NearestClass<Self>() const { return {}; }                         \
  friend class ::platform::ClassBuilder<Self>;

namespace platform {

struct NSObjectExtras;

// For NS_OBJECT. Each class has a conversion of its own that the nearest classes below override, for the last
// time: a class that names one further up, or one without the macro, has nothing to override.
template <typename Class>
struct NearestClass {};
template <typename Self, typename This>
constexpr bool isClassOf(const This*) {
  return std::is_same_v<Self, This>;
}

// The root of all objects that the run-time knows: they have a class, may be read and observed by key, and
// carry associated objects.
//
// Owner: a std::shared_ptr, wherever the object is observed, handed out or referred to weakly.
// Threads: an object belongs to the thread that its class names (the main thread for everything on screen);
// the functions here take no locks. Those that only ask about the class may be called from any thread. Cost:
// four words, and no allocation besides the object until it is observed or given an associated object.
class PLATFORM_EXPORT NSObject : public std::enable_shared_from_this<NSObject> {
 public:
  NSObject();
  virtual ~NSObject();
  NSObject(const NSObject&) = delete;
  NSObject& operator=(const NSObject&) = delete;

  static Class& classObject();
  // Never throws, whatever the class says of itself in `describe`.
  virtual const Class& isa() const noexcept { return classObject(); }
  bool isKindOfClass(const Class& cls) const { return isa().isSubclassOf(cls); }
  virtual bool respondsToSelector(SEL selector) const { return isa().respondsToSelector(selector); }

  // "<UIView: 0x5581e0>" unless a class knows better.
  virtual std::string description() const;
  // Identity unless a class knows better.
  virtual bool isEqual(const NSObject& other) const { return this == &other; }

  // Key-value coding. Both throw UndefinedKeyError. A path goes on from object to object ("node.title"); nil
  // on the way makes the answer nil.
  KeyValue valueForKey(std::string_view key) const;
  KeyValue valueForKeyPath(std::string_view keyPath) const;

  // Key-value observing: `observer` is told of every change of the key that the class of this object
  // announces. The observer is held weakly; one that has died is skipped and forgotten. The same observer may
  // be added more than once, and is then told as often. Of a key path, only one that is a single key can be
  // observed; any other, and a key whose changes the class does not announce, throws UndefinedKeyError.
  void addObserver(const std::weak_ptr<NSObject>& observer, const std::string& keyPath, const void* context);
  // Takes back the latest of the additions with the same three arguments. Throws NotAnObserverError when
  // there is none.
  void removeObserver(const NSObject& observer, std::string_view keyPath, const void* context);

  // Called after a change of a key of `object` that this object observes.
  virtual void observeValueForKeyPath(const std::string& keyPath, NSObject& object, const KeyValue& newValue,
                                      const void* context);

  // A class calls this after it has changed the value. Who is added during the round is not told of this
  // change; who is removed during it is not told any more.
  void didChangeValueForKey(std::string_view key);

 private:
  friend void setAssociatedObject(NSObject& object, const void* key, std::shared_ptr<NSObject> value);
  friend std::shared_ptr<NSObject> associatedObject(const NSObject& object, const void* key);

  // What few objects need: observations and associated objects.
  NSObjectExtras& extras();

  virtual explicit operator NearestClass<NSObject>() const { return {}; }

  std::unique_ptr<NSObjectExtras> extras_;
};

// An object kept by another under a key, usually the address of a static variable; released with its keeper
// or when it is replaced. A null value removes it. On the keeper's thread.
void setAssociatedObject(NSObject& object, const void* key, std::shared_ptr<NSObject> value);
// Null when there is none.
std::shared_ptr<NSObject> associatedObject(const NSObject& object, const void* key);

}  // namespace platform
