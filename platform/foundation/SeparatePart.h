#pragma once

#include <atomic>

namespace platform {

// A shared library that is loaded when something of it is first wanted, and stays. Looked for beside the
// platform's own library, then where the system looks. Any thread.
class SeparateLibrary {
 public:
  // Of a null name nothing is ever found.
  explicit SeparateLibrary(const char* name) : name_(name) {}

  // The address of a function of C's kind. Null, and once a line of log, while the library or the function is
  // not to be had; every call tries again, because descriptors and memory come back.
  void* find(const char* function);

 private:
  const char* const name_;
  std::atomic<void*> handle_ = nullptr;
  std::atomic<bool> isFailureTold_ = false;
};

// A part of the platform that a host pays for when it uses it: everything behind one abstract class, entered
// by one function. The function is linked into the program (`linked`, a weak reference, is not null), or
// found in the part's own library. Never destroyed. Any thread.
template <class Interface>
class SeparatePart {
 public:
  using Entry = Interface* (*)();

  SeparatePart(Entry linked, const char* library, const char* entry)
      : linked_(linked), library_(library), entry_(entry) {}

  // Null while the part is not to be had.
  Interface* get() {
    if (Interface* const known = interface_.load(std::memory_order_acquire)) return known;
    const Entry entry = linked_ ? linked_ : reinterpret_cast<Entry>(library_.find(entry_));
    if (!entry) return nullptr;
    Interface* const entered = entry();
    interface_.store(entered, std::memory_order_release);
    return entered;
  }

 private:
  const Entry linked_;
  SeparateLibrary library_;
  const char* const entry_;
  std::atomic<Interface*> interface_ = nullptr;
};

}  // namespace platform
