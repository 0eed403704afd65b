#pragma once

#include <memory>
#include <string>

#include "platform/foundation/Value.h"
#include "platform/runtime/NSObject.h"
#include "src/core/Threads.h"

class KICaptureContext;
namespace platform {
class UIView;
}

// The path from a view up its responder chain, as it was at one moment: one node a responder, with its class
// and what it is known by. Immutable.
class KIViewAncestry : public platform::NSObject {
  NS_OBJECT(KIViewAncestry, NSObject)

 public:
  enum class BoundingBoxes { Omit, Capture };

  // Elsewhere than on the main thread it logs a warning, and goes on.
  static std::shared_ptr<KIViewAncestry> captureFromView(platform::UIView& view,
                                                         const KICaptureContext& context,
                                                         BoundingBoxes boundingBoxes) KOVA_ON_MAIN_THREAD;

  explicit KIViewAncestry(platform::Array ancestry);

  // Node dictionaries, root-most first.
  const platform::Array& ancestry() const { return ancestry_; }
  // {"ancestry": the above}.
  const platform::Dictionary& transmittableDictionary() const { return transmittableDictionary_; }

  // Lines for the debug log, from the view upwards.
  std::string description() const override;

 private:
  const platform::Array ancestry_;
  const platform::Dictionary transmittableDictionary_;
};
