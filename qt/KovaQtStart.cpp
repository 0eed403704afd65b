#include "qt/KovaQtStart.h"

#include <Kova/Kova.h>

#include <QApplication>
#include <QFile>
#include <QKeyEvent>
#include <QStandardPaths>
#include <exception>
#include <optional>
#include <string>
#include <utility>

#include "platform/foundation/NSException.h"
#include "platform/foundation/SystemLog.h"
#include "platform/net/NSURLSession.h"
#include "platform/net/NetworkReachability.h"
#include "platform/qt/QtApplication.h"
#include "platform/qt/QtText.h"
#include "qt/KovaQtIgnore.h"
#include "qt/KovaQtSentData.h"

using namespace platform;

namespace kovaqt {

namespace {

constexpr double kLongestFarewell = 0.1;  // seconds that the program is kept from leaving

// Only "1" switches off, as the documents say.
bool isVariableSet() { return qgetenv("KOVA_DISABLE") == "1"; }

bool isOnThisMachine(const QUrl& url) {
  return url.host() == QLatin1String("localhost") || url.host() == QLatin1String("127.0.0.1") ||
         url.host() == QLatin1String("::1");
}

void startApplication(const KovaQtOptions& options) {
  QtOptions host;
  host.screenProperty = "kovaScreen";
  host.propertyChanged = applyProperty;
  host.viewMade = applyRules;
  if (!options.pairingShortcut.isEmpty()) {
    host.keyPressed = [keys = options.pairingShortcut](QKeyEvent& event) {
      if (!event.isAutoRepeat() && keys.matches(QKeySequence(event.keyCombination()))) Kova::startEVPairing();
    };
  }
  host.itemTexts = {options.itemTexts == KovaQtOptions::Texts::Shown, KovaRedactedTextSubstitution};
  host.willQuit = [] { Kova::flush(kLongestFarewell); };
  startQtApplication(std::move(host));
  if (!isOnThisMachine(options.captureUrl)) return;
  // The loopback counts as a network.
  NetworkReachability::installFlagSource(
      [](const NetworkReachability::Target&) { return std::optional(kNetworkReachabilityFlagsReachable); });
}

struct Flag {
  bool KovaQtOptions::*given;
  void (KovaOptions::*set)(bool value);
};

constexpr Flag kFlags[] = {
    {&KovaQtOptions::debug, &KovaOptions::setDebug},
    {&KovaQtOptions::maskedPictures, &KovaOptions::setMaskedPictures},
    {&KovaQtOptions::disableTextCapture, &KovaOptions::setDisableTextCapture},
    {&KovaQtOptions::disableAccessibilityLabelCapture, &KovaOptions::setDisableAccessibilityLabelCapture},
    {&KovaQtOptions::disableTitleCapture, &KovaOptions::setDisableTitleCapture},
    {&KovaQtOptions::disableIvarCapture, &KovaOptions::setDisableIvarCapture},
    {&KovaQtOptions::disableVendorIdCapture, &KovaOptions::setDisableVendorIdCapture},
    {&KovaQtOptions::disableTelemetryCapture, &KovaOptions::setDisableTelemetryCapture},
    {&KovaQtOptions::disableAutocaptureWhenBackgrounded, &KovaOptions::setDisableAutocaptureWhenBackgrounded},
    {&KovaQtOptions::disableTracking, &KovaOptions::setDisableTracking},
    {&KovaQtOptions::disableTouchAutocapture, &KovaOptions::setDisableTouchAutocapture},
    {&KovaQtOptions::enableGestureAutocapture, &KovaOptions::setEnableGestureAutocapture},
    {&KovaQtOptions::useEnvironmentProxy, &KovaOptions::setUseEnvironmentProxy},
};

// What is no URL is one that cannot be used, and not the default.
std::optional<std::string> textOf(const QUrl& url) {
  const bool isGiven = !url.isEmpty() || !url.errorString().isEmpty();
  return isGiven ? std::optional(url.toString(QUrl::FullyEncoded).toStdString()) : std::nullopt;
}

std::shared_ptr<KovaOptions> optionsFor(const KovaQtOptions& given) {
  auto options = std::make_shared<KovaOptions>();
  if (const auto url = textOf(given.captureUrl)) options->setCaptureBaseUrl(*url);
  if (const auto url = textOf(given.visualizerUrl)) options->setEventVisualizerWebSocketBaseUrl(*url);
  for (const auto& [flag, set] : kFlags) ((*options).*set)(given.*flag);
  return options;
}

}  // namespace

bool isDisabled(const std::string& disablingFile) {
  return isVariableSet() || QFile::exists(QString::fromStdString(disablingFile));
}

namespace {

// What start() was given; none before, and while Kova is switched off.
struct Host {
  QString environmentId;
  KovaQtOptions options;
};
std::optional<Host> host;
std::optional<bool> said;  // by setConsent
bool isRunning = false;

template <class Work>
void orSayWhyNot(Work&& work) {
  try {
    work();
  } catch (const NSException& exception) {
    NSLog("Kova was not started: " + exception.reason().value_or(""));
  } catch (const std::exception& problem) {
    NSLog(std::string("Kova was not started: ") + problem.what());
  }
}

void run() {
  if (isRunning) return;
  orSayWhyNot([] {
    startApplication(host->options);
    NSURLSession::setObserver([](const NSURLRequest& request) { SentData::shared().add(request); });
    Kova::initialize(host->environmentId.toStdString(), optionsFor(host->options));
    Kova::changeInterval(host->options.uploadInterval);
    isRunning = true;
  });
}

// Also what an earlier process has stored; a user who never said yes has nothing, and nothing is made.
void erase() {
  const QString stored = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + u'/' +
                         QString::fromStdString(qtApplicationIdentifier());
  if (!isRunning && !QFile::exists(stored)) return;
  orSayWhyNot([] {
    startQtPlatform();
    if (Kova::eraseStored(host->environmentId.toStdString())) return;
    NSLog("What Kova stored could not be erased.");
  });
  SentData::shared().clear();
  isRunning = false;
}

void follow(bool consent) {
  if (consent) {
    run();
  } else {
    erase();
  }
}

}  // namespace

void start(const QString& environmentId, const KovaQtOptions& options) {
  if (isDisabled() || host) return;
  if (!qobject_cast<QApplication*>(QCoreApplication::instance())) {
    return NSLog("Kova was not started: there is no QApplication yet.");
  }
  host = {environmentId, options};
  if (said) return follow(*said);
  const bool hasAgreed = !options.consent || options.consent();
  if (!said && hasAgreed) run();  // unless the program has said so itself in between
}

void setConsent(bool given) {
  said = given;
  if (host) follow(given);
}

}  // namespace kovaqt
