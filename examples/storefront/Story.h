#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "examples/storefront/ShopApp.h"
#include "platform/foundation/NSURL.h"
#include "platform/runtime/Mutex.h"
#include "platform/simulator/SimulatedUser.h"

// Ada goes shopping: a scripted user, and step by step what Kova recorded of her. Main thread, whose run loop
// runs inside the steps.
class Story {
 public:
  // She rests for `pause` seconds after each step, beside what Kova needs to record it.
  Story(ShopApp& app, double pause);

  // In one scene that fills the screen.
  void tellOnThePhone();
  // The same, opened by a link that pairs her device with a dashboard: waits until somebody there asks for
  // it. She stays in the app.
  void tellToSomebodyWatching(const platform::NSURL& link);
  // In two scenes side by side.
  void tellOnTheTablet();

 private:
  // Lines that were recorded and not printed yet. Kept by the log, too, which goes on after the story.
  struct Recorded {
    platform::Mutex mutex;
    std::vector<std::string> lines PLATFORM_GUARDED_BY(mutex);
  };

  // Prints what she does, lets her do it, and prints what was recorded until all of it is at rest.
  void step(const std::string& what, const std::function<void()>& act);

  void opensTheShop();
  void looksAtAProduct();
  void buysIt();
  void signsIn();
  void leavesAndComesBack();

  // Throws std::runtime_error when nobody wants to watch.
  void agreesToBeWatched();
  // Whether there was anything.
  bool printRecorded();

  ShopApp& app_;
  const double pause_;
  platform::SimulatedUser user_;
  const std::shared_ptr<Recorded> recorded_;
};
