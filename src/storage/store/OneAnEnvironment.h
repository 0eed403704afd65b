#pragma once

#include <map>
#include <memory>
#include <string>

#include "src/core/Threads.h"

namespace kova {

// By environment id, the objects of the kind that somebody may hold.
template <class Object>
std::map<std::string, std::weak_ptr<Object>>& aliveInEnvironments() KOVA_ON_MAIN_THREAD {
  static auto& objects = *new std::map<std::string, std::weak_ptr<Object>>;
  return objects;
}

template <class Object>
bool isInEnvironment(const std::string& appId) KOVA_ON_MAIN_THREAD {
  const auto& alive = aliveInEnvironments<Object>();
  const auto found = alive.find(appId);
  return found != alive.end() && !found->second.expired();
}

// The one that somebody holds, if any; from now on there is none.
template <class Object>
std::shared_ptr<Object> takeFromEnvironment(const std::string& appId) KOVA_ON_MAIN_THREAD {
  auto& alive = aliveInEnvironments<Object>();
  const auto found = alive.find(appId);
  auto object = found == alive.end() ? nullptr : found->second.lock();
  if (found != alive.end()) alive.erase(found);
  return object;
}

// The one object of its kind that an environment id has, for as long as somebody holds it; made when nobody
// does. What mirrors stored values in memory is found this way: two of a kind would overwrite each other's
// rows. It is shared with whoever else holds it.
template <class Object, class Make>
std::shared_ptr<Object> oneAnEnvironment(const std::string& appId, Make make) KOVA_ON_MAIN_THREAD {
  auto& alive = aliveInEnvironments<Object>();
  if (const auto found = alive.find(appId); found != alive.end()) {
    if (auto object = found->second.lock()) return object;
  }
  std::erase_if(alive, [](const auto& entry) { return entry.second.expired(); });
  std::shared_ptr<Object> object = make();
  alive[appId] = object;
  return object;
}

}  // namespace kova
