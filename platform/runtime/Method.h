#pragma once

#include <stdexcept>
#include <string>
#include <utility>

#include "platform/runtime/NSObject.h"

namespace platform {

template <typename Signature>
class Method;

// One selector and the implementations that classes give it, replaceable while the program runs.
//
// Role: the body that a platform class gives a method, where others may put theirs around it:
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
// `viewDidAppear` stays an ordinary virtual. A replacement therefore reaches every subclass that inherits it
// or calls up to it, and no other. A method that a layer adds to classes of the layer below has no virtual:
// each class `implement`s its answer, and callers `send`.
//
// Life cycle: a constinit variable; nothing runs before main, nothing is destroyed. The selector is known to
// the root class from `ClassBuilder::method`, `install`, or else the first use on. Threads: the main thread
// only, for replacing as for calling.
template <typename R, typename Self, typename... Args>
class Method<R(Self&, Args...)> {
 public:
  using Imp = R (*)(Self& self, SEL selector, Args... args);

  // `root` is the class object of the class that declares the method, `selector` a literal.
  constexpr Method(Class& (*root)(), const char* selector, Imp imp)
      : rootAnswer_{imp, nullptr, nullptr}, root_(root), text_(selector) {}
  Method(const Method&) = delete;
  Method& operator=(const Method&) = delete;

  SEL selector() {
    if (!selector_) [[unlikely]]
      install();
    return selector_;
  }

  // Lets the root class and those below it respond to the selector.
  void install() { installIn(root_()); }
  void installIn(Class& root) {
    if (selector_) return;
    selector_ = SEL(text_);
    rootAnswer_.cls = &root;
    root.addSelector(selector_);
  }

  // Gives a subclass of the root an answer of its own. Throws std::logic_error when the class is no such
  // subclass or has its own answer already, which is to be replaced instead.
  void implement(Class& cls, Imp imp) {
    selector();
    const Answer* nearest = findAnswer(cls);
    if (!nearest || nearest->cls == &cls) {
      throw std::logic_error(cls.name() + " cannot be given another " + text_);
    }
    rootAnswer_.next = new Answer{imp, &cls, rootAnswer_.next};
    cls.addSelector(selector_);
  }

  // Sets the implementation of the method that the class answers, be it inherited and so shared with other
  // classes, and returns the one before, for the new one to call. Null, and nothing is done, when the class
  // has no such method.
  Imp replace(const Class& cls, Imp imp) {
    selector();
    Answer* answer = findAnswer(cls);
    return answer ? std::exchange(answer->imp, imp) : nullptr;
  }

  // Runs the nearest answer, from the class of the receiver upwards.
  R send(Self& self, Args... args) {
    selector();
    return findAnswer(self.isa())->imp(self, selector_, std::forward<Args>(args)...);
  }

  // Runs the implementation in force at the root class, whatever the class of the receiver: the body of the
  // root's virtual function.
  R invoke(Self& self, Args... args) {
    return rootAnswer_.imp(self, selector(), std::forward<Args>(args)...);
  }

 private:
  struct Answer {
    Imp imp;
    const Class* cls;
    Answer* next;
  };

  Answer* findAnswer(const Class& receiver) {
    for (const Class* cls = &receiver; cls; cls = cls->superclass()) {
      for (Answer* answer = &rootAnswer_; answer; answer = answer->next) {
        if (answer->cls == cls) return answer;
      }
    }
    return nullptr;
  }

  Answer rootAnswer_;  // head of the list of answers, which are few and never taken away
  SEL selector_;
  Class& (*root_)();
  const char* text_;
};

}  // namespace platform
