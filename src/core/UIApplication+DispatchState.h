#pragma once

#include <optional>
#include <string_view>

#include "src/core/Threads.h"

namespace platform {
class UIEvent;
}

// What the application is doing at this moment, as the replaced methods of UIApplication see it. They open
// the scopes around the implementations before them; those that record touches and pageviews read.

// The event that is being dispatched; null outside of a dispatch.
platform::UIEvent* KOVA_sentEvent() KOVA_ON_MAIN_THREAD;
// Whether pictures of a scene are being taken for the app switcher.
bool KOVA_isCapturingSnapshot() KOVA_ON_MAIN_THREAD;

// Makes the event the one that is being dispatched; the caller keeps it until the scope has ended. After that
// no event is, even when the scope was opened inside another.
class KIEventDispatchScope {
 public:
  explicit KIEventDispatchScope(platform::UIEvent& event) KOVA_ON_MAIN_THREAD;
  ~KIEventDispatchScope() KOVA_ON_MAIN_THREAD;
  KIEventDispatchScope(const KIEventDispatchScope&) = delete;
  KIEventDispatchScope& operator=(const KIEventDispatchScope&) = delete;
};

// May be nested.
class KISnapshotScope {
 public:
  KISnapshotScope() KOVA_ON_MAIN_THREAD;
  ~KISnapshotScope() KOVA_ON_MAIN_THREAD;
  KISnapshotScope(const KISnapshotScope&) = delete;
  KISnapshotScope& operator=(const KISnapshotScope&) = delete;

 private:
  const bool before_;
};

inline constexpr int kAppVisibilityStateBackground = 1;
inline constexpr int kAppVisibilityStateForeground = 2;

namespace kova {

// Whether the application is in the background or in the foreground. Off the main thread it warns, naming
// `caller`, and answers all the same.
int appVisibilityState(std::string_view caller) KOVA_ON_MAIN_THREAD;
// Replaces the answer above until it is taken back with nullopt. For tests.
void setAppVisibilityStateOverride(std::optional<int> state) KOVA_ON_MAIN_THREAD;
std::optional<int> appVisibilityStateOverride() KOVA_ON_MAIN_THREAD;

}  // namespace kova
