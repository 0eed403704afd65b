#pragma once

#include <Kova/Kova.h>

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/foundation/Value.h"
#include "platform/simulator/SimulatedScheduler.h"
#include "platform/uikit/UIApplication.h"
#include "platform/uikit/UIWindow.h"
#include "platform/uikit/UIWindowScene.h"
#include "tests/support/HttpServer.h"

class SettlingURLSession;

// A device under virtual time with an app on it: directories of its own that go with it, facts, a log that is
// kept, a network that can be switched off, and a capture service on the loopback. One a process; made first
// in a test.
//
//   device.start();                       Kova::initialize, for an app without view controllers
//   Kova::track("Checkout");
//   device.advance(15);                   virtual seconds
//   device.service.…                      what arrived, see HttpServer
class SimulatedDevice {
 public:
  static constexpr const char* kEnvironment = "12345";
  // 2026-01-01 00:00:00 UTC, in milliseconds: what the clock says at the start.
  static constexpr const char* kStartTime = "1767225600000";

  SimulatedDevice();
  ~SimulatedDevice();

  // Options that point at `service`, for an app without view controllers.
  std::shared_ptr<KovaOptions> options() const;
  void start() { start(options()); }
  void start(std::shared_ptr<KovaOptions> options) { Kova::initialize(kEnvironment, std::move(options)); }
  // As start, on a device that is online, until the first pageview and the message of the installation have
  // arrived.
  void startAndSettle() { startAndSettle(options()); }
  void startAndSettle(std::shared_ptr<KovaOptions> options);

  // Runs what is queued; virtual time stands still.
  void drain() { scheduler.drain(); }
  void advance(double seconds) { scheduler.advance(seconds); }
  // Runs what is queued until the predicate holds; real requests are answered meanwhile. Fails the test when
  // it does not hold within 20 real seconds.
  void runUntil(const std::function<bool()>& predicate);
  // Until that many requests have been answered in all, and everything that follows from them has been done:
  // no upload made with options() above is in flight any more.
  void runUntilRequests(std::size_t count);
  // Until no upload is in flight: what has not been requested by then is not going to be, unless time moves
  // on.
  void settle();
  // What has been recorded arrives, and what that sets off: a pageview on its way would hold up the rest.
  void upload();

  // Options for an app with view controllers.
  std::shared_ptr<KovaOptions> optionsWithScreens() const;
  // Shows a key window with the controller in it. From 13 on it is in `scene`, which the first call makes,
  // connects and activates.
  std::shared_ptr<platform::UIWindow> show(std::shared_ptr<platform::UIViewController> root);

  void setOnline(bool online);
  // "17.0" unless set; before start().
  void setSystemVersion(std::string_view version);
  void setBundleFacts(platform::Dictionary facts);

  // Every line logged so far, without time and process.
  std::vector<std::string> log() const;
  // The lines that contain the text, in full.
  std::vector<std::string> logLinesWith(std::string_view text) const;
  void clearLog();

  // The targets of the requests that the service received at that path.
  std::vector<std::string> receivedTargets(std::string_view path) const;
  // The messages of all batches, in order of arrival.
  std::vector<platform::Dictionary> receivedMessages() const;

  // The value that the library stored under a key of its own, "userId", "parts", …
  std::optional<platform::Value> stored(std::string_view key) const;
  void store(std::string_view key, const platform::Value& value) const;
  std::vector<std::string> batchFiles() const;
  std::string batchDirectory() const;

  platform::SimulatedScheduler& scheduler;
  HttpServer service;
  std::shared_ptr<platform::UIApplication> application;
  std::shared_ptr<platform::UIWindowScene> scene;  // null before 13, and before the first window is shown

 private:
  std::string root_;
  const std::shared_ptr<SettlingURLSession> session_;
  mutable std::mutex mutex_;
  std::vector<std::string> log_;
};
