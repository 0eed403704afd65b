#pragma once

#include <Kova/KovaExport.h>

#include <QKeySequence>
#include <QString>
#include <QUrl>
#include <QVariantMap>
#include <functional>
#include <optional>

class QWidget;

// Kova for programs written with Qt 6 Widgets, in Qt's types:
//
//   QApplication app(argc, argv);
//   app.setApplicationName("Notes");
//   app.setOrganizationDomain("example.com");
//   app.setApplicationVersion("2.1");
//   KovaQtOptions options;
//   options.captureUrl = QUrl("https://capture.example.com/");
//   KovaQt::start("1234567890", options);  // before the first window is shown
//
// From there on it records which windows, dialogs and pages are shown, what is pressed in them, and which
// editors are used; never what is written in them. Widgets and actions are kept out, or their texts, by
// dynamic properties, in code as in .ui files: kovaIgnore, kovaIgnoreInnerHierarchy, kovaRedactText and
// kovaRedactAccessibilityLabel (true). What is written on a button or a label is its accessibility label
// too: to keep it out, redact both. kovaScreen says whether a window or a widget is a screen (true, false),
// or its name.
//
// A user switches off Kova in every Qt program by the environment variable KOVA_DISABLE=1, an administrator
// by the file /etc/xdg/kova/disabled: then all calls do nothing.
//
// All calls belong to the thread of the QApplication; track, identify and the properties may come from any
// thread.
struct KovaQtOptions {
  // Where everything goes; the service's own address when empty. One that is no absolute http or https URL
  // sends nothing anywhere.
  QUrl captureUrl;
  // Where the program pairs with a dashboard; the same rules.
  QUrl visualizerUrl;
  // What the rows of lists, trees and tables say, by widgets in them too, is the user's own and is told as
  // "****" unless shown.
  enum class Texts { Redacted, Shown } itemTexts = Texts::Redacted;
  // Pictures for a dashboard leave out what is ignored or redacted, and fields for passwords.
  bool maskedPictures = true;
  // Seconds between uploads.
  double uploadInterval = 15;
  // Whether the user has agreed, as the program keeps it: asked at the start. Before a yes nothing is made,
  // stored or sent. Unless set, nobody is asked.
  std::function<bool()> consent;
  // Starts pairing with a dashboard, in any window of the program; none unless set. One key with modifiers.
  QKeySequence pairingShortcut;

  // As the options of KovaOptions.h, whose names they have.
  bool debug = false;
  bool disableTextCapture = false;
  bool disableAccessibilityLabelCapture = false;
  bool disableTitleCapture = false;
  bool disableIvarCapture = false;
  bool disableVendorIdCapture = false;
  bool disableTelemetryCapture = false;
  bool disableAutocaptureWhenBackgrounded = false;
  bool disableTracking = false;
  bool disableTouchAutocapture = false;
  // Qt's gestures are recorded too.
  bool enableGestureAutocapture = false;
  bool useEnvironmentProxy = false;
};

// What may be said of all widgets of a class, as of one widget by the property of that name.
enum class KovaQtRule { Ignore, IgnoreInnerHierarchy, RedactText, RedactAccessibilityLabel };

class KOVA_EXPORT KovaQt {
 public:
  KovaQt() = delete;

  // The environment id is a decimal number without leading zeros; with any other nothing is started, and the
  // log says so. A second call does nothing.
  static void start(const QString& environmentId, const KovaQtOptions& options = {});

  // The user agrees, or no longer does: stops everything then, and erases what is stored here, what waits to
  // be sent and the list of what was sent. The program keeps the answer for its next start. Before start() it
  // stands for what `consent` would say.
  static void setConsent(bool given);
  // Opens a window that lists the latest requests of this process, as they were handed to the network: 1,000
  // at most, and no more than 1 MB, kept in memory only. Pictures for a dashboard are not among them.
  static void showSentData(QWidget* parent = nullptr);

  // An event of the program's own. Dates, numbers, texts, lists and maps are taken, other values as their
  // text.
  static void track(const QString& event, const QVariantMap& properties = {});
  static void identify(const QString& identity);
  static void resetIdentity();
  static void addUserProperties(const QVariantMap& properties);
  static void addEventProperties(const QVariantMap& properties);
  static void removeEventProperty(const QString& name);
  static void clearEventProperties();

  static void setTrackingEnabled(bool enabled);
  static bool isTrackingEnabled();
  // None before the start.
  static std::optional<QString> userId();
  static std::optional<QString> sessionId();

  // For all widgets of the class and of those below it, until a property of a widget says otherwise; the
  // latest rule for a class holds. What is redacted is so in the windows that such a widget opens, too. Texts
  // of QFileDialog, QAbstractPrintDialog, QPageSetupDialog and QPrintPreviewDialog are redacted unless taken
  // back by `holds`.
  static void setClassRule(const QString& className, KovaQtRule rule, bool holds = true);

  // A link that the program was asked to open; one of a dashboard starts pairing.
  static void handleOpenUrl(const QUrl& url);
  static void startEVPairing();
  static void stopEVPairing();
};
