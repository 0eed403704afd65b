#pragma once

#include <utility>

#include "platform/runtime/NSObject.h"

namespace platform {

template <typename Signature>
class AddedMethod;

// One selector that a layer adds to classes of the layer below, which know nothing of it, and the answers
// that classes give to it: there is no virtual, each class is given its answer, and callers `send`.
//
//   constinit AddedMethod<Title(UIViewController&)> title{UIViewController::classObject, "title", anyTitle};
//   title.set(UITabBarController::classObject(), titleOfTheTab);
//
// Life cycle: a constinit variable; nothing runs before main, nothing is destroyed. The selector is known to
// the root class from `install` or else the first use on. Threads: the main thread only.
template <typename R, typename Self, typename... Args>
class AddedMethod<R(Self&, Args...)> {
 public:
  using Imp = R (*)(Self& self, SEL selector, Args... args);

  // `root` is the class object of the class that all receivers are of, `selector` a literal.
  constexpr AddedMethod(Class& (*root)(), const char* selector, Imp imp)
      : rootAnswer_{imp, nullptr, nullptr}, root_(root), text_(selector) {}
  AddedMethod(const AddedMethod&) = delete;
  AddedMethod& operator=(const AddedMethod&) = delete;

  // Lets the root class and those below it respond to the selector.
  void install() {
    if (selector_) return;
    selector_ = SEL(text_);
    rootAnswer_.cls = &root_();
    root_().addSelector(selector_);
  }

  // Gives the class an answer of its own, in the place of any it has. Answers false, and does nothing, for a
  // class that is neither the root nor below it.
  bool set(Class& cls, Imp imp) {
    install();
    Answer* const nearest = findAnswer(cls);
    if (!nearest) return false;
    if (nearest->cls == &cls) {
      nearest->imp = imp;
    } else {
      rootAnswer_.next = new Answer{imp, &cls, rootAnswer_.next};
      cls.addSelector(selector_);
    }
    return true;
  }

  // Runs the nearest answer, from the class of the receiver upwards.
  R send(Self& self, Args... args) {
    install();
    return findAnswer(self.isa())->imp(self, selector_, std::forward<Args>(args)...);
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
