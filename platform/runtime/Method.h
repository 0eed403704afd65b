#pragma once

#include <utility>

#include "platform/runtime/NSObject.h"

namespace platform {

template <typename Signature>
class Method;

// One selector and the body that a platform class gives it, replaceable while the program runs:
//
//   // UIViewController.h: declared in the class, so that a reader sees what can be replaced
//   static Method<void(UIViewController&, bool animated)> viewDidAppearMethod;
//   virtual void viewDidAppear(bool animated);
//
//   // UIViewController.cpp
//   constinit Method<void(UIViewController&, bool)> UIViewController::viewDidAppearMethod{
//       UIViewController::classObject, "viewDidAppear:", [](UIViewController& self, SEL, bool animated) { ...
//       }};
//   void UIViewController::viewDidAppear(bool animated) { viewDidAppearMethod.invoke(*this, animated); }
//
// `viewDidAppear` stays an ordinary virtual, which subclasses override. A replacement therefore reaches every
// subclass that inherits it or calls up to it, and no other. A method that a layer adds to classes of the
// layer below is an AddedMethod.
//
// Life cycle: a constinit variable; nothing runs before main, nothing is destroyed. The selector is known to
// the root class from `ClassBuilder::method` or else the first use on. Threads: the main thread only, for
// replacing as for calling.
template <typename R, typename Self, typename... Args>
class Method<R(Self&, Args...)> {
 public:
  using Imp = R (*)(Self& self, SEL selector, Args... args);

  // `root` is the class object of the class that declares the method, `selector` a literal.
  constexpr Method(Class& (*root)(), const char* selector, Imp imp)
      : imp_(imp), root_(root), text_(selector) {}
  Method(const Method&) = delete;
  Method& operator=(const Method&) = delete;

  SEL selector() {
    if (!selector_) [[unlikely]]
      installIn(root_());
    return selector_;
  }

  // Lets the root class and those below it respond to the selector.
  void installIn(Class& root) {
    if (selector_) return;
    selector_ = SEL(text_);
    root.addSelector(selector_);
  }

  // Sets the implementation that the class inherits from the root and so shares with the others, and returns
  // the one before, for the new one to call. Null, and nothing is done, when the class has no such method.
  Imp replace(const Class& cls, Imp imp) {
    selector();
    return cls.isSubclassOf(root_()) ? std::exchange(imp_, imp) : nullptr;
  }

  // Runs the implementation in force: the body of the root's virtual function.
  R invoke(Self& self, Args... args) { return imp_(self, selector(), std::forward<Args>(args)...); }

 private:
  Imp imp_;
  SEL selector_;
  Class& (*root_)();
  const char* text_;
};

}  // namespace platform
