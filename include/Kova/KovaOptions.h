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

// A setting: its type, getter and setter, and what it is unless set.
#define KOVA_OPTION_SETTING_(Kept, Type, getter, setter, initially) \
 public:                                                            \
  Type getter() const { return getter##_; }                         \
  void setter(Type value) { getter##_ = std::move(value); }         \
                                                                    \
 private:                                                           \
  Kept getter##_ = initially
#define KOVA_OPTION_VALUE_(Type, getter, setter)            \
 public:                                                    \
  const Type& getter() const { return getter##_; }          \
  void setter(Type value) { getter##_ = std::move(value); } \
                                                            \
 private:                                                   \
  Type getter##_ = {}
#define KOVA_OPTION_FLAG_(getter, setter) KOVA_OPTION_SETTING_(std::atomic<bool>, bool, getter, setter, false)

// The settings of the library. Fill one in and pass it to Kova::initialize; a fresh one captures everything.
//
// The tracker keeps the object for its whole life, and reads each setting when it acts on it: a change after
// initialisation affects only what is read later (text capture is read at each capture, the capture base URL
// only at initialisation). Flags, which are off unless set, may be read and written from any thread;
// everything else is set on the main thread before initialisation.
class KOVA_EXPORT KovaOptions : public platform::NSObject {
  NS_OBJECT(KovaOptions, NSObject)

  // Log debug lines from initialisation on.
  KOVA_OPTION_FLAG_(debug, setDebug);
  // Touch events carry no target text.
  KOVA_OPTION_FLAG_(disableTextCapture, setDisableTextCapture);
  // Touch events and pageviews carry no accessibility labels.
  KOVA_OPTION_FLAG_(disableAccessibilityLabelCapture, setDisableAccessibilityLabelCapture);
  // Pageviews carry no title.
  KOVA_OPTION_FLAG_(disableTitleCapture, setDisableTitleCapture);
  // Touch events carry no instance-variable name.
  KOVA_OPTION_FLAG_(disableIvarCapture, setDisableIvarCapture);
  // The vendor identifier is not captured.
  KOVA_OPTION_FLAG_(disableVendorIdCapture, setDisableVendorIdCapture);
  // The advertising identifier is not captured.
  KOVA_OPTION_FLAG_(disableAdvertiserIdCapture, setDisableAdvertiserIdCapture);
  // The library does not report its own failures.
  KOVA_OPTION_FLAG_(disableTelemetryCapture, setDisableTelemetryCapture);
  // Nothing is captured by itself while the app is in the background.
  KOVA_OPTION_FLAG_(disableAutocaptureWhenBackgrounded, setDisableAutocaptureWhenBackgrounded);
  // Start with tracking disabled; Kova::setTrackingEnabled turns it on.
  KOVA_OPTION_FLAG_(disableTracking, setDisableTracking);
  // Touches and control actions are not captured.
  KOVA_OPTION_FLAG_(disableTouchAutocapture, setDisableTouchAutocapture);
  // Gesture recognisers are captured too: off by default, unlike the other captures.
  KOVA_OPTION_FLAG_(enableGestureAutocapture, setEnableGestureAutocapture);
  // Pageviews are not captured by themselves, and custom events are not given the key window's pageview.
  // An app without view controllers must set this: the library then records one pageview of its own before
  // the first event of a session. Without any pageview no event leaves the device.
  KOVA_OPTION_FLAG_(disableViewControllerAutocapture, setDisableViewControllerAutocapture);
  // The Event Visualizer takes its screenshots by the faster method.
  KOVA_OPTION_FLAG_(useFastEVScreenshotCapture, setUseFastEVScreenshotCapture);
  // Screenshots leave out what is ignored, redacted, or inside a view that hides its inner hierarchy, and
  // fields for passwords: an opaque rectangle stands there.
  KOVA_OPTION_FLAG_(maskedPictures, setMaskedPictures);
  // The most ancestors of a touched view that are captured. From any thread.
  KOVA_OPTION_SETTING_(std::atomic<std::int64_t>, std::int64_t, hierarchyCaptureLimit,
                       setHierarchyCaptureLimit, 30);
  // Uploads go through the proxy that the environment names (http_proxy, https_proxy, all_proxy, no_proxy).
  // Off, the environment is not asked. Read at initialisation.
  KOVA_OPTION_FLAG_(useEnvironmentProxy, setUseEnvironmentProxy);
  // The bodies of batches are sent compressed, in the form of gzip. Only for a service that takes them. Read
  // at initialisation.
  KOVA_OPTION_FLAG_(compressUploads, setCompressUploads);
  // The hidden pairing gesture is not watched for.
  KOVA_OPTION_FLAG_(disableVisualizerPairingGesture, setDisableVisualizerPairingGesture);
  // Accessibility data is fetched ahead while ancestors are captured.
  KOVA_OPTION_FLAG_(enableAccessibilityPrefetching, setEnableAccessibilityPrefetching);

 public:
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

  // Adds to what is captured. Held weakly: the host keeps it alive.
  std::shared_ptr<KovaAutocaptureEnrichmentDelegate> autocaptureEnrichmentDelegate() const {
    return autocaptureEnrichmentDelegate_.lock();
  }
  void setAutocaptureEnrichmentDelegate(std::weak_ptr<KovaAutocaptureEnrichmentDelegate> value) {
    autocaptureEnrichmentDelegate_ = std::move(value);
  }

  // For the library's own tests; an app leaves them alone.

  // Seconds after which a session expires, used when greater than 0 (300 otherwise).
  KOVA_OPTION_VALUE_(std::optional<double>, testOnlySessionExpirationInterval,
                     setTestOnlySessionExpirationInterval);
  // Replaces the app's version.
  KOVA_OPTION_VALUE_(std::optional<std::string>, testOnlyAppVersion, setTestOnlyAppVersion);
  // Replaces the app's build.
  KOVA_OPTION_VALUE_(std::optional<std::string>, testOnlyAppBuild, setTestOnlyAppBuild);
  // Seconds between attempts to connect to the Event Visualizer.
  KOVA_OPTION_VALUE_(std::optional<double>, testOnlyEVReconnectAttemptInterval,
                     setTestOnlyEVReconnectAttemptInterval);
  // The most attempts.
  KOVA_OPTION_VALUE_(std::optional<double>, testOnlyEVReconnectAttemptLimit,
                     setTestOnlyEVReconnectAttemptLimit);
  // Replaces the platform's shared URL session.
  KOVA_OPTION_VALUE_(std::shared_ptr<KOVAURLSessionProtocol>, testOnlyUrlSession, setTestOnlyUrlSession);
  // Lower thresholds for the pairing gesture.
  KOVA_OPTION_FLAG_(testOnlyLowThresholdEVTriggerDetection, setTestOnlyLowThresholdEVTriggerDetection);
  // Pairs without asking the user.
  KOVA_OPTION_FLAG_(testOnlySkipEVPairingDialog, setTestOnlySkipEVPairingDialog);
  // Sends no screenshots.
  KOVA_OPTION_FLAG_(testOnlyOmitEVScreenshots, setTestOnlyOmitEVScreenshots);
  // Log verbose lines too; wins over debug.
  KOVA_OPTION_FLAG_(testOnlyVerbose, setTestOnlyVerbose);

  KovaBaseURL captureBaseUrl_;
  KovaBaseURL eventVisualizerWebSocketBaseUrl_;
  std::weak_ptr<KovaAutocaptureEnrichmentDelegate> autocaptureEnrichmentDelegate_;
};

#undef KOVA_OPTION_FLAG_
#undef KOVA_OPTION_VALUE_
#undef KOVA_OPTION_SETTING_
