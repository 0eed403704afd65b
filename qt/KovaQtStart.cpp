#include "qt/KovaQtStart.h"

#include <Kova/Kova.h>

#include <QApplication>
#include <QFile>
#include <QKeyEvent>
#include <exception>
#include <string>
#include <utility>

#include "platform/foundation/NSException.h"
#include "platform/foundation/SystemLog.h"
#include "platform/net/NetworkReachability.h"
#include "platform/qt/QtApplication.h"
#include "platform/qt/QtText.h"
#include "qt/KovaQtIgnore.h"

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

std::optional<String> substitute(const QModelIndex&) { return String(KovaRedactedTextSubstitution); }
std::optional<String> asItIs(const QModelIndex& cell) { return textOf(cell.data().toString()); }

void startApplication(const KovaQtOptions& options) {
  QtOptions host;
  host.screenProperty = "kovaScreen";
  host.propertyChanged = applyProperty;
  host.viewMade = applyClassRules;
  if (!options.pairingShortcut.isEmpty()) {
    host.keyPressed = [keys = options.pairingShortcut](QKeyEvent& event) {
      if (!event.isAutoRepeat() && keys.matches(QKeySequence(event.keyCombination()))) Kova::startEVPairing();
    };
  }
  host.itemText = options.itemTexts == KovaQtOptions::Texts::Shown ? asItIs : substitute;
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
    {&KovaQtOptions::disableVendorIdCapture, &KovaOptions::setDisableVendorIdCapture},
    {&KovaQtOptions::disableTelemetryCapture, &KovaOptions::setDisableTelemetryCapture},
    {&KovaQtOptions::disableAutocaptureWhenBackgrounded, &KovaOptions::setDisableAutocaptureWhenBackgrounded},
    {&KovaQtOptions::disableTracking, &KovaOptions::setDisableTracking},
    {&KovaQtOptions::disableTouchAutocapture, &KovaOptions::setDisableTouchAutocapture},
    {&KovaQtOptions::enableGestureAutocapture, &KovaOptions::setEnableGestureAutocapture},
    {&KovaQtOptions::useEnvironmentProxy, &KovaOptions::setUseEnvironmentProxy},
};

std::shared_ptr<KovaOptions> optionsFor(const KovaQtOptions& given) {
  auto options = std::make_shared<KovaOptions>();
  if (!given.captureUrl.isEmpty()) options->setCaptureBaseUrl(given.captureUrl.toString().toStdString());
  if (!given.visualizerUrl.isEmpty()) {
    options->setEventVisualizerWebSocketBaseUrl(given.visualizerUrl.toString().toStdString());
  }
  for (const auto& [flag, set] : kFlags) ((*options).*set)(given.*flag);
  return options;
}

}  // namespace

bool isDisabled(const std::string& disablingFile) {
  return isVariableSet() || QFile::exists(QString::fromStdString(disablingFile));
}

void start(const QString& environmentId, const KovaQtOptions& options) {
  static bool isStarted = false;
  if (isDisabled() || std::exchange(isStarted, true)) return;
  if (!qobject_cast<QApplication*>(QCoreApplication::instance())) {
    isStarted = false;
    return NSLog("Kova was not started: there is no QApplication yet.");
  }
  try {
    startApplication(options);
    Kova::initialize(environmentId.toStdString(), optionsFor(options));
    Kova::changeInterval(options.uploadInterval);
  } catch (const NSException& exception) {
    NSLog("Kova was not started: " + exception.reason().value_or(""));
  } catch (const std::exception& problem) {
    NSLog(std::string("Kova was not started: ") + problem.what());
  }
}

}  // namespace kovaqt
