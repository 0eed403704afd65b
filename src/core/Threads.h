#pragma once

#include "platform/runtime/Mutex.h"

// Which thread a function, a block or a field belongs to: written where it is declared, and proved by clang's
// -Wthread-safety. Other compilers read nothing here.
//
//   void enqueue(const Pageview& pageview) KOVA_ON_MUTATION_QUEUE;
//   bool isShown_ KOVA_OF_MAIN_THREAD = false;
//   kova::perform(kova::mainThread, *this, "show", [](Alert& self) KOVA_ON_MAIN_THREAD { self.show(); });
//
// What says nothing may be called from any thread. The compiler follows what is handed over as it is, a
// lambda to kova::perform or performAfter, but nothing that goes through a std::function: a block that a
// notification, a URL session or a guard calls says itself where it is, with `kova::mainThread.isHere()`.
// Constructors and destructors are not looked into.
//
// Whoever links the library's objects, as its tests do, plays all threads on one and is not asked.
#ifdef KOVA_PLAYS_ALL_THREADS
#define KOVA_OF_THREAD(annotation)
#else
#define KOVA_OF_THREAD(annotation) annotation
#endif
#define KOVA_ON_MAIN_THREAD KOVA_OF_THREAD(PLATFORM_REQUIRES(kova::mainThread))
#define KOVA_ON_MUTATION_QUEUE KOVA_OF_THREAD(PLATFORM_REQUIRES(kova::mutationQueue))
#define KOVA_OF_MAIN_THREAD KOVA_OF_THREAD(PLATFORM_GUARDED_BY(kova::mainThread))
#define KOVA_OF_MUTATION_QUEUE KOVA_OF_THREAD(PLATFORM_GUARDED_BY(kova::mutationQueue))

namespace kova {

// The main thread and the mutation queue as the compiler sees them; nothing is left of them at run time.
class PLATFORM_CAPABILITY("thread") MainThread {
 public:
  void isHere() const PLATFORM_THREAD_ANNOTATION(assert_capability(this)) {}
};
class PLATFORM_CAPABILITY("queue") MutationQueue {
 public:
  void isHere() const PLATFORM_THREAD_ANNOTATION(assert_capability(this)) {}
};

inline constexpr MainThread mainThread;
inline constexpr MutationQueue mutationQueue;

}  // namespace kova
