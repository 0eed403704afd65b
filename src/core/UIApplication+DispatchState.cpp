#include "src/core/UIApplication+DispatchState.h"

#include <utility>

namespace {

constinit platform::UIEvent* sentEvent = nullptr;
constinit bool isCapturingSnapshot = false;

}  // namespace

platform::UIEvent* KOVA_sentEvent() { return sentEvent; }

bool KOVA_isCapturingSnapshot() { return isCapturingSnapshot; }

KIEventDispatchScope::KIEventDispatchScope(platform::UIEvent& event) { sentEvent = &event; }

KIEventDispatchScope::~KIEventDispatchScope() { sentEvent = nullptr; }

KISnapshotScope::KISnapshotScope() : before_(std::exchange(isCapturingSnapshot, true)) {}

KISnapshotScope::~KISnapshotScope() { isCapturingSnapshot = before_; }
