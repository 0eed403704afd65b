#include "qt/KovaQtPlugin.h"

#include <syslog.h>

#include <QApplication>
#include <QEvent>
#include <QWidget>
#include <cstdio>
#include <string>
#include <string_view>

#include "platform/foundation/SystemLog.h"
#include "platform/qt/QtGuard.h"
#include "qt/KovaQtStart.h"

namespace {

// What kova-run says. It is taken out of the environment, so that what the program starts is as it would be.
QByteArray takeVariable(const char* name) {
  const QByteArray value = qgetenv(name);
  qunsetenv(name);
  return value;
}

void restoreVariable(const char* name, const char* before) {
  const bool wasSet = qEnvironmentVariableIsSet(before);
  const QByteArray value = takeVariable(before);
  if (wasSet) {
    qputenv(name, value);
  } else {
    qunsetenv(name);
  }
}

// Nothing of ours is among what the program prints.
void sendLogTo(const QByteArray& path) {
  std::FILE* const file = path.isEmpty() ? nullptr : std::fopen(path.constData(), "ae");
  if (file) std::setvbuf(file, nullptr, _IOLBF, BUFSIZ);
  platform::SystemLog::setSink([file](std::string_view message) {
    if (file) {
      std::fwrite((std::string(message) + "\n").data(), 1, message.size() + 1, file);
    } else {
      syslog(LOG_USER | LOG_INFO, "kova: %.*s", static_cast<int>(message.size()), message.data());
    }
  });
}

// Waits for the first window: by then the program has said its name and version.
class FirstWindow final : public QObject {
 public:
  FirstWindow()
      : environment_(QString::fromUtf8(takeVariable("KOVA_RUN_ENV"))), log_(takeVariable("KOVA_RUN_LOG")) {
    options_.captureUrl = QUrl(QString::fromUtf8(takeVariable("KOVA_RUN_CAPTURE_URL")));
    options_.visualizerUrl = QUrl(QString::fromUtf8(takeVariable("KOVA_RUN_VISUALIZER_URL")));
    options_.debug = takeVariable("KOVA_RUN_DEBUG") == "1";
    isPaired_ = takeVariable("KOVA_RUN_PAIR") == "1";
    const double interval = takeVariable("KOVA_RUN_INTERVAL").toDouble();
    if (interval > 0) options_.uploadInterval = interval;
    restoreVariable("QT_PLUGIN_PATH", "KOVA_RUN_QT_PLUGIN_PATH");
    restoreVariable("QT_QPA_GENERIC_PLUGINS", "KOVA_RUN_QT_QPA_GENERIC_PLUGINS");
    if (kovaqt::isDisabled() || environment_.isEmpty()) return;
    QCoreApplication::instance()->installEventFilter(this);
  }

  bool eventFilter(QObject* watched, QEvent* event) override {
    if (event->type() == QEvent::Show && watched->isWidgetType() &&
        static_cast<QWidget*>(watched)->isWindow() && qobject_cast<QApplication*>(qApp)) {
      qApp->removeEventFilter(this);
      platform::guardedFromQt([this] { start(); });
    }
    return false;
  }

 private:
  void start() const {
    sendLogTo(log_);
    KovaQt::start(environment_, options_);
    if (isPaired_) KovaQt::startEVPairing();
  }

  const QString environment_;
  const QByteArray log_;
  KovaQtOptions options_;
  bool isPaired_ = false;
};

}  // namespace

QObject* KovaQtPlugin::create(const QString&, const QString&) { return new FirstWindow; }
