#include "src/autocapture/UIApplication+DispatchState.h"

#include <utility>

namespace {

struct DispatchState {
  std::shared_ptr<platform::UIEvent> sentEvent;
  bool isCapturingSnapshot = false;
};

DispatchState& state() {
  static DispatchState& instance = *new DispatchState;
  return instance;
}

}  // namespace

const std::shared_ptr<platform::UIEvent>& KOVA_sentEvent() { return state().sentEvent; }

bool KOVA_isCapturingSnapshot() { return state().isCapturingSnapshot; }

KIEventDispatchScope::KIEventDispatchScope(std::shared_ptr<platform::UIEvent> event) {
  state().sentEvent = std::move(event);
}

KIEventDispatchScope::~KIEventDispatchScope() { state().sentEvent.reset(); }

KISnapshotScope::KISnapshotScope() : before_(std::exchange(state().isCapturingSnapshot, true)) {}

KISnapshotScope::~KISnapshotScope() { state().isCapturingSnapshot = before_; }
