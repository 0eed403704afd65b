#include "src/visualizer/KovaEventRecording.h"

#include <utility>

KovaEventRecording::KovaEventRecording(std::shared_ptr<KovaEventVisualizer> visualizer, std::uint64_t pairing,
                                       KovaEventVisualizer::CaptureRef capture)
    : visualizer_(std::move(visualizer)), pairing_(pairing), capture_(std::move(capture)) {}

std::shared_ptr<const KovaEventRecording> KovaEventRecording::ofScreen(
    const std::shared_ptr<KovaEventVisualizer>& visualizer, const KICaptureContext& tracker) {
  const auto pairing = visualizer ? visualizer->currentPairing() : std::nullopt;
  if (!pairing) return nullptr;
  return std::shared_ptr<const KovaEventRecording>(
      new KovaEventRecording(visualizer, *pairing, visualizer->willRecordWithTracker(tracker)));
}

std::shared_ptr<const KovaEventRecording> KovaEventRecording::ofView(
    const std::shared_ptr<KovaEventVisualizer>& visualizer, platform::UIView* view,
    const KICaptureContext& tracker) {
  const auto pairing = visualizer ? visualizer->currentPairing() : std::nullopt;
  if (!pairing) return nullptr;
  return std::shared_ptr<const KovaEventRecording>(
      new KovaEventRecording(visualizer, *pairing, visualizer->willRecordWithView(view, tracker)));
}

void KovaEventRecording::send(const platform::Dictionary& message) const {
  visualizer_->recordEventMessage(message, capture_, pairing_);
}
