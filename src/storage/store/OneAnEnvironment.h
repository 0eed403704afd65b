#pragma once

#include <map>
#include <memory>
#include <string>

namespace kova {

// Finds the one object of its kind that an environment id has, for as long as somebody holds it. What mirrors
// stored values in memory is found this way: two of a kind would overwrite each other's rows.
//
// Main thread only; what is found is shared with whoever else holds it.
template <class Object>
class OneAnEnvironment {
 public:
  // Null when nobody holds one.
  std::shared_ptr<Object> find(const std::string& appId) const {
    const auto found = alive_.find(appId);
    return found != alive_.end() ? found->second.lock() : nullptr;
  }

  // Made when nobody holds one.
  template <class Make>
  std::shared_ptr<Object> findOrMake(const std::string& appId, Make make) {
    if (auto object = find(appId)) return object;
    std::erase_if(alive_, [](const auto& entry) { return entry.second.expired(); });
    std::shared_ptr<Object> object = make();
    alive_[appId] = object;
    return object;
  }

 private:
  std::map<std::string, std::weak_ptr<Object>> alive_;
};

}  // namespace kova
