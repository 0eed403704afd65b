#include "src/autocapture/UIApplication+DispatchState.h"

#include <utility>

#include "platform/uikit/UIEvent.h"
#include "src/core/NSObject+Retained.h"

namespace {

constinit platform::UIEvent* sentEvent = nullptr;
constinit bool isCapturingSnapshot = false;

}  // namespace

platform::UIEvent* KOVA_sentEvent() { return sentEvent; }

bool KOVA_isCapturingSnapshot() { return isCapturingSnapshot; }

KIEventDispatchScope::KIEventDispatchScope(platform::UIEvent& event) : kept_(KOVA_retained(&event)) {
  sentEvent = &event;
}

KIEventDispatchScope::~KIEventDispatchScope() { sentEvent = nullptr; }

KISnapshotScope::KISnapshotScope() : before_(std::exchange(isCapturingSnapshot, true)) {}

KISnapshotScope::~KISnapshotScope() { isCapturingSnapshot = before_; }
