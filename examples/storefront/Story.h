#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "examples/storefront/ShopApp.h"
#include "platform/runtime/Mutex.h"
#include "platform/simulator/SimulatedUser.h"

// Ada goes shopping: a scripted user, and step by step what Kova recorded of her. Main thread, whose run loop
// runs inside the steps.
class Story {
 public:
  explicit Story(ShopApp& app);

  // In one scene that fills the screen.
  void tellOnThePhone();
  // In two scenes side by side.
  void tellOnTheTablet();

 private:
  // Lines that were recorded and not printed yet. Kept by the log, too, which goes on after the story.
  struct Recorded {
    platform::Mutex mutex;
    std::vector<std::string> lines GUARDED_BY(mutex);
  };

  // Prints what she does, lets her do it, and prints what was recorded until all of it is at rest.
  void step(const std::string& what, const std::function<void()>& act);

  void looksAtAProduct();
  void buysIt();
  void signsIn();
  void leavesAndComesBack();

  ShopApp& app_;
  platform::SimulatedUser user_;
  const std::shared_ptr<Recorded> recorded_;
};
