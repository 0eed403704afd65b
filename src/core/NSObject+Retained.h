#pragma once

#include <memory>

// Keeps an object while code of the app runs; null for one that no one shares, as for null. Costs half of
// what locking weak_from_this() does, whose copy is counted as well.
template <class T>
std::shared_ptr<T> KOVA_retained(T* object) {
  if (!object) return nullptr;
  try {
    return std::static_pointer_cast<T>(object->shared_from_this());
  } catch (const std::bad_weak_ptr&) {
    return nullptr;
  }
}
