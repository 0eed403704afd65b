#include "src/core/UIApplication+DispatchState.h"

#include <utility>

#include "platform/uikit/UIApplication.h"
#include "src/core/NSOperationQueue+SafeOperation.h"

using namespace platform;

namespace {

constinit UIEvent* sentEvent KOVA_OF_MAIN_THREAD = nullptr;
constinit bool isCapturingSnapshot KOVA_OF_MAIN_THREAD = false;
constinit std::optional<int> visibilityOverride KOVA_OF_MAIN_THREAD;

}  // namespace

UIEvent* KOVA_sentEvent() { return sentEvent; }

bool KOVA_isCapturingSnapshot() { return isCapturingSnapshot; }

KIEventDispatchScope::KIEventDispatchScope(UIEvent& event) { sentEvent = &event; }

KIEventDispatchScope::~KIEventDispatchScope() { sentEvent = nullptr; }

KISnapshotScope::KISnapshotScope() : before_(std::exchange(isCapturingSnapshot, true)) {}

KISnapshotScope::~KISnapshotScope() { isCapturingSnapshot = before_; }

int kova::appVisibilityState(std::string_view caller) {
  warnOffMainThread(caller);
  if (visibilityOverride) return *visibilityOverride;
  const auto& application = UIApplication::sharedApplication();
  const bool isInBackground =
      application && application->applicationState() == UIApplicationState::Background;
  return isInBackground ? kAppVisibilityStateBackground : kAppVisibilityStateForeground;
}

void kova::setAppVisibilityStateOverride(std::optional<int> state) { visibilityOverride = state; }

std::optional<int> kova::appVisibilityStateOverride() { return visibilityOverride; }
