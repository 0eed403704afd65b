#pragma once

#include <memory>

namespace platform {

// A share in an object by its reference, as it is written in its own functions: `retained(*this)`. The object
// has an owner; one without throws std::bad_weak_ptr.
template <class T>
std::shared_ptr<T> retained(T& object) {
  return std::static_pointer_cast<T>(object.shared_from_this());
}

// The same for an object that may have no owner, to keep it while code of the app runs: null then, as for
// null.
template <class T>
std::shared_ptr<T> retained(T* object) {
  return object ? std::static_pointer_cast<T>(object->weak_from_this().lock()) : nullptr;
}

}  // namespace platform
