#pragma once

#include <mutex>

// What a lock guards is written down where it is declared, and clang's -Wthread-safety proves it. Other
// compilers read nothing here.
#if defined(__clang__)
#define PLATFORM_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define PLATFORM_THREAD_ANNOTATION(x)
#endif

#define CAPABILITY(name) PLATFORM_THREAD_ANNOTATION(capability(name))
#define SCOPED_CAPABILITY PLATFORM_THREAD_ANNOTATION(scoped_lockable)
#define GUARDED_BY(mutex) PLATFORM_THREAD_ANNOTATION(guarded_by(mutex))
#define PT_GUARDED_BY(mutex) PLATFORM_THREAD_ANNOTATION(pt_guarded_by(mutex))
#define REQUIRES(...) PLATFORM_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define EXCLUDES(...) PLATFORM_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define ACQUIRE(...) PLATFORM_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define RELEASE(...) PLATFORM_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define NO_THREAD_SAFETY_ANALYSIS PLATFORM_THREAD_ANNOTATION(no_thread_safety_analysis)

namespace platform {

// A std::mutex that the compiler can follow. Wait on it with a Condition.
class CAPABILITY("mutex") Mutex {
 public:
  // What these locks guard is done within nanoseconds, so that trying a little longer is cheaper for a caller
  // than being put to sleep and woken by the kernel.
  void lock() ACQUIRE() {
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
      if (mutex_.try_lock()) return;
    }
    mutex_.lock();
  }
  void unlock() RELEASE() { mutex_.unlock(); }

 private:
  friend class Condition;
  static constexpr int kAttempts = 100;
  std::mutex mutex_;
};

// Holds a Mutex for a scope; may be let go and taken again within it.
class SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) ACQUIRE(mutex) : lock_(mutex) {}
  ~MutexLock() RELEASE() = default;

  void lock() ACQUIRE() { lock_.lock(); }
  void unlock() RELEASE() { lock_.unlock(); }

 private:
  std::unique_lock<Mutex> lock_;
};

}  // namespace platform
