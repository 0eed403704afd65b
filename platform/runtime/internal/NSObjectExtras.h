#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace platform {

class NSObject;

// The part of NSObject that is made when it is first needed. Internal to the run-time.
struct NSObjectExtras {
  struct Observation {
    const NSObject* identity;  // to compare with; may be dead
    std::weak_ptr<NSObject> observer;
    std::string keyPath;
    const void* context;
    bool isRemoved = false;
  };

  std::vector<std::pair<const void*, std::shared_ptr<NSObject>>> associated;
  std::vector<std::shared_ptr<Observation>>
      observations;  // shared with the round of notification in progress
};

}  // namespace platform
