// A host written with Qt, with the macros of Qt on: it starts the library, tracks an event, and leaves.

#include <Kova/KovaQt.h>

#include <QApplication>
#include <QTimer>

int main(int argc, char** argv) {
  QApplication app(argc, argv);
  app.setApplicationName("Consumer");
  app.setApplicationVersion("2.1");
  KovaQtOptions options;
  options.captureUrl = QUrl("http://127.0.0.1:9/");
  KovaQt::start("1234567890", options);
  KovaQt::track("Installed", {{"from", "a package"}});
  QTimer::singleShot(0, &app, &QApplication::quit);
  const bool hasUser = KovaQt::userId().value_or("").size() == 16;
  return app.exec() == 0 && hasUser ? 0 : 1;
}
