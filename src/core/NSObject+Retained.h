#pragma once

#include <memory>

// Keeps an object while code of the app runs; null for one that no one shares, as for null.
template <class T>
std::shared_ptr<T> KOVA_retained(T* object) {
  return object ? std::static_pointer_cast<T>(object->weak_from_this().lock()) : nullptr;
}
