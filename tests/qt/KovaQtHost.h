#pragma once

#include <Kova/KovaQt.h>
#include <gtest/gtest.h>

#include <QApplication>
#include <QDirIterator>
#include <QTemporaryDir>
#include <QTest>
#include <QWidget>
#include <optional>

#include "tests/support/HttpServer.h"

// A program without a screen, and the service that it sends to.
class KovaQtTest : public testing::Test {
 protected:
  KovaQtTest() {
    for (const char* name : {"XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_DATA_HOME"}) {
      qputenv(name, (folder.path() + u'/' + QLatin1String(name)).toUtf8());
    }
    qputenv("QT_QPA_PLATFORM", "offscreen");
    application.emplace(argumentCount, arguments);
    window.emplace().setWindowTitle("Diary");
    QCoreApplication::setApplicationName("Notes");
    options.captureUrl = QUrl(QString::fromStdString(server.url("/")));
  }
  void showWindow() {
    window->show();
    EXPECT_TRUE(QTest::qWaitForWindowActive(&*window));
    QCoreApplication::processEvents();
  }
  bool isAnythingStored() const {
    return QDirIterator(folder.path(), QDir::AllEntries | QDir::NoDotAndDotDot).hasNext();
  }

  HttpServer server;
  KovaQtOptions options;
  QTemporaryDir folder;
  int argumentCount = 1;
  char* arguments[2] = {const_cast<char*>("notes"), nullptr};
  std::optional<QApplication> application;
  std::optional<QWidget> window;
};
