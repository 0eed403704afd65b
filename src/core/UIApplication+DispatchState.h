#pragma once

namespace platform {
class UIEvent;
}

// What the application is doing at this moment, as the replaced methods of UIApplication see it. They open
// the scopes around the implementations before them; those that record touches and pageviews read. Main
// thread only.

// The event that is being dispatched; null outside of a dispatch.
platform::UIEvent* KOVA_sentEvent();
// Whether pictures of a scene are being taken for the app switcher.
bool KOVA_isCapturingSnapshot();

// Shows the event as the one being dispatched, which whoever dispatches it keeps until then. None is once the
// scope has ended, even when it was opened inside of another.
class KIEventDispatchScope {
 public:
  explicit KIEventDispatchScope(platform::UIEvent& event);
  ~KIEventDispatchScope();
  KIEventDispatchScope(const KIEventDispatchScope&) = delete;
  KIEventDispatchScope& operator=(const KIEventDispatchScope&) = delete;
};

// May be nested.
class KISnapshotScope {
 public:
  KISnapshotScope();
  ~KISnapshotScope();
  KISnapshotScope(const KISnapshotScope&) = delete;
  KISnapshotScope& operator=(const KISnapshotScope&) = delete;

 private:
  const bool before_;
};
