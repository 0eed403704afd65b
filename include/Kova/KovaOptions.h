#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "Kova/KovaAutocaptureEnrichmentDelegate.h"
#include "Kova/KovaBaseURL.h"
#include "Kova/KovaExport.h"
#include "Kova/KovaURLSessionProtocol.h"
#include "platform/foundation/NSURL.h"
#include "platform/runtime/NSObject.h"

// The settings of the library. Fill one in and pass it to Kova::initialize; a fresh one captures everything.
//
// The tracker keeps the object for its whole life, and reads each setting when it acts on it: a change after
// initialisation affects only what is read later (text capture is read at each capture, the capture base URL
// only at initialisation). Flags may be read and written from any thread unless said otherwise; everything
// else is set on the main thread before initialisation.
class KOVA_EXPORT KovaOptions : public platform::NSObject {
  NS_OBJECT(KovaOptions, NSObject)

 public:
  // Log debug lines from initialisation on.
  bool debug() const { return debug_; }
  void setDebug(bool value) { debug_ = value; }

  // Touch events carry no target text.
  bool disableTextCapture() const { return disableTextCapture_; }
  void setDisableTextCapture(bool value) { disableTextCapture_ = value; }

  // Touch events and pageviews carry no accessibility labels.
  bool disableAccessibilityLabelCapture() const { return disableAccessibilityLabelCapture_; }
  void setDisableAccessibilityLabelCapture(bool value) { disableAccessibilityLabelCapture_ = value; }

  // Pageviews carry no title.
  bool disableTitleCapture() const { return disableTitleCapture_; }
  void setDisableTitleCapture(bool value) { disableTitleCapture_ = value; }

  // Touch events carry no instance-variable name.
  bool disableIvarCapture() const { return disableIvarCapture_; }
  void setDisableIvarCapture(bool value) { disableIvarCapture_ = value; }

  // The vendor identifier is not captured.
  bool disableVendorIdCapture() const { return disableVendorIdCapture_; }
  void setDisableVendorIdCapture(bool value) { disableVendorIdCapture_ = value; }

  // The advertising identifier is not captured.
  bool disableAdvertiserIdCapture() const { return disableAdvertiserIdCapture_; }
  void setDisableAdvertiserIdCapture(bool value) { disableAdvertiserIdCapture_ = value; }

  // The library does not report its own failures.
  bool disableTelemetryCapture() const { return disableTelemetryCapture_; }
  void setDisableTelemetryCapture(bool value) { disableTelemetryCapture_ = value; }

  // Nothing is captured by itself while the app is in the background.
  bool disableAutocaptureWhenBackgrounded() const { return disableAutocaptureWhenBackgrounded_; }
  void setDisableAutocaptureWhenBackgrounded(bool value) { disableAutocaptureWhenBackgrounded_ = value; }

  // Start with tracking disabled; Kova::setTrackingEnabled turns it on.
  bool disableTracking() const { return disableTracking_; }
  void setDisableTracking(bool value) { disableTracking_ = value; }

  // Touches and control actions are not captured.
  bool disableTouchAutocapture() const { return disableTouchAutocapture_; }
  void setDisableTouchAutocapture(bool value) { disableTouchAutocapture_ = value; }

  // Gesture recognisers are captured too: off by default, unlike the other captures.
  bool enableGestureAutocapture() const { return enableGestureAutocapture_; }
  void setEnableGestureAutocapture(bool value) { enableGestureAutocapture_ = value; }

  // Pageviews are not captured by themselves, and custom events are not given the key window's pageview.
  // An app without view controllers must set this: the library then records one pageview of its own before
  // the first event of a session. Without any pageview no event leaves the device.
  bool disableViewControllerAutocapture() const { return disableViewControllerAutocapture_; }
  void setDisableViewControllerAutocapture(bool value) { disableViewControllerAutocapture_ = value; }

  // The Event Visualizer takes its screenshots by the faster method.
  bool useFastEVScreenshotCapture() const { return useFastEVScreenshotCapture_; }
  void setUseFastEVScreenshotCapture(bool value) { useFastEVScreenshotCapture_ = value; }

  // The most ancestors of a touched view that are captured: 30 unless set.
  std::int64_t hierarchyCaptureLimit() const { return hierarchyCaptureLimit_; }
  void setHierarchyCaptureLimit(std::int64_t value) { hierarchyCaptureLimit_ = value; }

  // Where events and telemetry go, as a URL or as text ("https://capture.example.com"); nil: the capture
  // service's own address. Text that is no absolute http or https URL sends nothing anywhere, and the log
  // says so at initialisation. The getter answers none for such text; `givenCaptureBaseUrl` tells it from
  // nil.
  const std::optional<platform::NSURL>& captureBaseUrl() const { return captureBaseUrl_.url(); }
  const KovaBaseURL& givenCaptureBaseUrl() const { return captureBaseUrl_; }
  void setCaptureBaseUrl(KovaBaseURL value) { captureBaseUrl_ = std::move(value); }

  // Where the Event Visualizer pairs; the same rules.
  const std::optional<platform::NSURL>& eventVisualizerWebSocketBaseUrl() const {
    return eventVisualizerWebSocketBaseUrl_.url();
  }
  const KovaBaseURL& givenEventVisualizerWebSocketBaseUrl() const { return eventVisualizerWebSocketBaseUrl_; }
  void setEventVisualizerWebSocketBaseUrl(KovaBaseURL value) {
    eventVisualizerWebSocketBaseUrl_ = std::move(value);
  }

  // Uploads go through the proxy that the environment names (http_proxy, https_proxy, all_proxy, no_proxy).
  // Off, the environment is not asked. Read at initialisation.
  bool useEnvironmentProxy() const { return useEnvironmentProxy_; }
  void setUseEnvironmentProxy(bool value) { useEnvironmentProxy_ = value; }

  // The hidden pairing gesture is not watched for.
  bool disableVisualizerPairingGesture() const { return disableVisualizerPairingGesture_; }
  void setDisableVisualizerPairingGesture(bool value) { disableVisualizerPairingGesture_ = value; }

  // Accessibility data is fetched ahead while ancestors are captured.
  bool enableAccessibilityPrefetching() const { return enableAccessibilityPrefetching_; }
  void setEnableAccessibilityPrefetching(bool value) { enableAccessibilityPrefetching_ = value; }

  // Adds to what is captured. Held weakly: the host keeps it alive.
  std::shared_ptr<KovaAutocaptureEnrichmentDelegate> autocaptureEnrichmentDelegate() const {
    return autocaptureEnrichmentDelegate_.lock();
  }
  void setAutocaptureEnrichmentDelegate(std::weak_ptr<KovaAutocaptureEnrichmentDelegate> value) {
    autocaptureEnrichmentDelegate_ = std::move(value);
  }

  // For the library's own tests; an app leaves them alone.

  // Seconds after which a session expires, used when greater than 0 (300 otherwise).
  const std::optional<double>& testOnlySessionExpirationInterval() const {
    return testOnlySessionExpirationInterval_;
  }
  void setTestOnlySessionExpirationInterval(std::optional<double> value) {
    testOnlySessionExpirationInterval_ = std::move(value);
  }

  // Replaces the app's version.
  const std::optional<std::string>& testOnlyAppVersion() const { return testOnlyAppVersion_; }
  void setTestOnlyAppVersion(std::optional<std::string> value) { testOnlyAppVersion_ = std::move(value); }

  // Replaces the app's build.
  const std::optional<std::string>& testOnlyAppBuild() const { return testOnlyAppBuild_; }
  void setTestOnlyAppBuild(std::optional<std::string> value) { testOnlyAppBuild_ = std::move(value); }

  // Seconds between attempts to connect to the Event Visualizer.
  const std::optional<double>& testOnlyEVReconnectAttemptInterval() const {
    return testOnlyEVReconnectAttemptInterval_;
  }
  void setTestOnlyEVReconnectAttemptInterval(std::optional<double> value) {
    testOnlyEVReconnectAttemptInterval_ = std::move(value);
  }

  // The most attempts.
  const std::optional<double>& testOnlyEVReconnectAttemptLimit() const {
    return testOnlyEVReconnectAttemptLimit_;
  }
  void setTestOnlyEVReconnectAttemptLimit(std::optional<double> value) {
    testOnlyEVReconnectAttemptLimit_ = std::move(value);
  }

  // Replaces the platform's shared URL session.
  const std::shared_ptr<KOVAURLSessionProtocol>& testOnlyUrlSession() const { return testOnlyUrlSession_; }
  void setTestOnlyUrlSession(std::shared_ptr<KOVAURLSessionProtocol> value) {
    testOnlyUrlSession_ = std::move(value);
  }

  // Lower thresholds for the pairing gesture.
  bool testOnlyLowThresholdEVTriggerDetection() const { return testOnlyLowThresholdEVTriggerDetection_; }
  void setTestOnlyLowThresholdEVTriggerDetection(bool value) {
    testOnlyLowThresholdEVTriggerDetection_ = value;
  }

  // Pairs without asking the user.
  bool testOnlySkipEVPairingDialog() const { return testOnlySkipEVPairingDialog_; }
  void setTestOnlySkipEVPairingDialog(bool value) { testOnlySkipEVPairingDialog_ = value; }

  // Sends no screenshots.
  bool testOnlyOmitEVScreenshots() const { return testOnlyOmitEVScreenshots_; }
  void setTestOnlyOmitEVScreenshots(bool value) { testOnlyOmitEVScreenshots_ = value; }

  // Log verbose lines too; wins over debug.
  bool testOnlyVerbose() const { return testOnlyVerbose_; }
  void setTestOnlyVerbose(bool value) { testOnlyVerbose_ = value; }

 private:
  std::atomic<bool> debug_ = false;
  std::atomic<bool> disableTextCapture_ = false;
  std::atomic<bool> disableAccessibilityLabelCapture_ = false;
  std::atomic<bool> disableTitleCapture_ = false;
  std::atomic<bool> disableIvarCapture_ = false;
  std::atomic<bool> disableVendorIdCapture_ = false;
  std::atomic<bool> disableAdvertiserIdCapture_ = false;
  std::atomic<bool> disableTelemetryCapture_ = false;
  std::atomic<bool> disableAutocaptureWhenBackgrounded_ = false;
  std::atomic<bool> disableTracking_ = false;
  std::atomic<bool> disableTouchAutocapture_ = false;
  std::atomic<bool> enableGestureAutocapture_ = false;
  std::atomic<bool> disableViewControllerAutocapture_ = false;
  std::atomic<bool> useFastEVScreenshotCapture_ = false;
  std::atomic<std::int64_t> hierarchyCaptureLimit_ = 30;
  KovaBaseURL captureBaseUrl_;
  KovaBaseURL eventVisualizerWebSocketBaseUrl_;
  bool useEnvironmentProxy_ = false;
  bool disableVisualizerPairingGesture_ = false;
  bool enableAccessibilityPrefetching_ = false;
  std::weak_ptr<KovaAutocaptureEnrichmentDelegate> autocaptureEnrichmentDelegate_;
  std::optional<double> testOnlySessionExpirationInterval_;
  std::optional<std::string> testOnlyAppVersion_;
  std::optional<std::string> testOnlyAppBuild_;
  std::optional<double> testOnlyEVReconnectAttemptInterval_;
  std::optional<double> testOnlyEVReconnectAttemptLimit_;
  std::shared_ptr<KOVAURLSessionProtocol> testOnlyUrlSession_;
  bool testOnlyLowThresholdEVTriggerDetection_ = false;
  bool testOnlySkipEVPairingDialog_ = false;
  bool testOnlyOmitEVScreenshots_ = false;
  bool testOnlyVerbose_ = false;
};
