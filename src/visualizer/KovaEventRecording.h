#pragma once

#include <cstdint>
#include <memory>

#include "platform/foundation/Value.h"
#include "src/events/KIEventRecording.h"
#include "src/visualizer/KovaEventVisualizer.h"

class KICaptureContext;
namespace platform {
class UIView;
}

// An event on its way to a dashboard: what was on the screen when it was recorded, and the pairing that it
// was recorded for. An event of one pairing is never sent to the next.
class KovaEventRecording : public KIEventRecording {
 public:
  // For an event without a view, and for one that has a view or might have one. Null when there is no
  // visualizer or it captures nothing now.
  static std::shared_ptr<const KovaEventRecording> ofScreen(
      const std::shared_ptr<KovaEventVisualizer>& visualizer,
      const KICaptureContext& tracker) KOVA_ON_MAIN_THREAD;
  static std::shared_ptr<const KovaEventRecording> ofView(
      const std::shared_ptr<KovaEventVisualizer>& visualizer, platform::UIView* view,
      const KICaptureContext& tracker) KOVA_ON_MAIN_THREAD;

  void send(const platform::Dictionary& message) const override KOVA_ON_MUTATION_QUEUE;

 private:
  KovaEventRecording(std::shared_ptr<KovaEventVisualizer> visualizer, std::uint64_t pairing,
                     KovaEventVisualizer::CaptureRef capture);

  const std::shared_ptr<KovaEventVisualizer> visualizer_;
  const std::uint64_t pairing_;
  const KovaEventVisualizer::CaptureRef capture_;  // null when there was nothing to see
};
