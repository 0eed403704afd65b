#pragma once

#include <map>
#include <memory>
#include <string>

namespace kova {

// The one object of its kind that an environment id has, for as long as somebody holds it; made when nobody
// does. What mirrors stored values in memory is found this way: two of a kind would overwrite each other's
// rows.
//
// Main thread only; what is found is shared with whoever else holds it.
template <class Object, class Make>
std::shared_ptr<Object> oneAnEnvironment(const std::string& appId, Make make) {
  static auto& alive = *new std::map<std::string, std::weak_ptr<Object>>;
  if (const auto found = alive.find(appId); found != alive.end()) {
    if (auto object = found->second.lock()) return object;
  }
  std::erase_if(alive, [](const auto& entry) { return entry.second.expired(); });
  std::shared_ptr<Object> object = make();
  alive[appId] = object;
  return object;
}

}  // namespace kova
