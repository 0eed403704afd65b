#include "platform/runtime/NSObject.h"

#include <algorithm>
#include <cstdio>

#include "platform/runtime/internal/NSObjectExtras.h"

namespace platform {

NSObject::NSObject() = default;

// Before the pointer itself goes: what is released here may still use this object, and finds nothing
// associated.
NSObject::~NSObject() { extras_.reset(); }

Class& NSObject::classObject() {
  static Class& record = ClassBuilder<NSObject>::buildBelow("NSObject", nullptr);
  return record;
}

std::string NSObject::description() const {
  char address[2 + 2 * sizeof(void*) + 1];
  std::snprintf(address, sizeof address, "%p", static_cast<const void*>(this));
  return "<" + isa().name() + ": " + address + ">";
}

KeyValue NSObject::valueForKey(std::string_view key) const { return isa().valueForKey(*this, key); }

KeyValue NSObject::valueForKeyPath(std::string_view keyPath) const {
  const std::size_t dot = keyPath.find('.');
  KeyValue value = valueForKey(keyPath.substr(0, dot));
  if (dot == std::string_view::npos || std::holds_alternative<std::monostate>(value)) return value;

  const std::string_view rest = keyPath.substr(dot + 1);
  const auto* object = std::get_if<std::shared_ptr<NSObject>>(&value);
  if (!object) throw UndefinedKeyError("A plain value has no key " + std::string(rest));
  return (*object)->valueForKeyPath(rest);
}

NSObjectExtras& NSObject::extras() {
  if (!extras_) extras_ = std::make_unique<NSObjectExtras>();
  return *extras_;
}

void setAssociatedObject(NSObject& object, const void* key, std::shared_ptr<NSObject> value) {
  if (!value && !object.extras_) return;
  auto& associated = object.extras().associated;
  const auto found = std::find_if(associated.begin(), associated.end(),
                                  [key](const auto& entry) { return entry.first == key; });
  if (found == associated.end()) {
    if (value) associated.emplace_back(key, std::move(value));
    return;
  }
  // Swapped out, so that the old value is released when the list is whole again: its destructor may come back
  // here.
  found->second.swap(value);
  if (!found->second) associated.erase(found);
}

std::shared_ptr<NSObject> associatedObject(const NSObject& object, const void* key) {
  if (!object.extras_) return nullptr;
  for (const auto& [entryKey, value] : object.extras_->associated) {
    if (entryKey == key) return value;
  }
  return nullptr;
}

}  // namespace platform
