#pragma once

#include <mutex>

// What a lock guards is written down where it is declared, and clang's -Wthread-safety proves it. Other
// compilers read nothing here.
#if defined(__clang__)
#define PLATFORM_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define PLATFORM_THREAD_ANNOTATION(x)
#endif

#define PLATFORM_CAPABILITY(name) PLATFORM_THREAD_ANNOTATION(capability(name))
#define PLATFORM_SCOPED_CAPABILITY PLATFORM_THREAD_ANNOTATION(scoped_lockable)
#define PLATFORM_GUARDED_BY(mutex) PLATFORM_THREAD_ANNOTATION(guarded_by(mutex))
#define PLATFORM_PT_GUARDED_BY(mutex) PLATFORM_THREAD_ANNOTATION(pt_guarded_by(mutex))
#define PLATFORM_REQUIRES(...) PLATFORM_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define PLATFORM_EXCLUDES(...) PLATFORM_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define PLATFORM_ACQUIRE(...) PLATFORM_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define PLATFORM_RELEASE(...) PLATFORM_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define PLATFORM_NO_THREAD_SAFETY_ANALYSIS PLATFORM_THREAD_ANNOTATION(no_thread_safety_analysis)

namespace platform {

// A std::mutex that the compiler can follow. Wait on it with a Condition.
class PLATFORM_CAPABILITY("mutex") Mutex {
 public:
  // What these locks guard is done within nanoseconds, so that trying a little longer is cheaper for a caller
  // than being put to sleep and woken by the kernel.
  void lock() PLATFORM_ACQUIRE() {
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
      if (mutex_.try_lock()) return;
    }
    mutex_.lock();
  }
  void unlock() PLATFORM_RELEASE() { mutex_.unlock(); }

 private:
  friend class Condition;
  static constexpr int kAttempts = 100;
  std::mutex mutex_;
};

// Holds a Mutex for a scope; may be let go and taken again within it.
class PLATFORM_SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) PLATFORM_ACQUIRE(mutex) : lock_(mutex) {}
  ~MutexLock() PLATFORM_RELEASE() = default;

  void lock() PLATFORM_ACQUIRE() { lock_.lock(); }
  void unlock() PLATFORM_RELEASE() { lock_.unlock(); }

 private:
  std::unique_lock<Mutex> lock_;
};

}  // namespace platform
