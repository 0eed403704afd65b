#include <Kova/Kova.h>
#include <Kova/KovaIgnore.h>
#include <Kova/KovaQt.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QDateTime>
#include <QElapsedTimer>
#include <QFileDialog>
#include <QJsonObject>
#include <QLabel>
#include <QListWidget>
#include <QMainWindow>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTimer>
#include <QToolBar>

#include "platform/foundation/NSUserDefaults.h"
#include "platform/qt/QtProxies.h"
#include "qt/KovaQtSentData.h"
#include "qt/KovaQtStart.h"
#include "qt/KovaQtValues.h"
#include "src/core/KIBailer.h"
#include "src/telemetry/KITelemetry.h"
#include "tests/qt/KovaQtHost.h"

using namespace platform;

namespace {

using testing::HasSubstr;

bool isAVersionStored() {
  return bool(NSUserDefaults::withSuiteName("io.kova.lifecycleEvents")->stringForKey("version"));
}

TEST_F(KovaQtTest, WithoutAYesNothingIsMadeAndANoErasesAll) {
  QCoreApplication::setApplicationVersion("1.2");
  options.consent = [] { return false; };
  KovaQt::start("11", options);
  showWindow();
  KovaQt::track("Lost");
  KovaQt::setConsent(false);
  EXPECT_FALSE(isAnythingStored());
  EXPECT_FALSE(KovaQt::userId());

  KovaQt::setConsent(true);
  const auto userId = KovaQt::userId();
  ASSERT_TRUE(userId);
  QCoreApplication::processEvents();
  KovaQt::track("Seen");
  EXPECT_TRUE(Kova::flush(30).isSent);
  const auto sent = kovaqt::SentData::shared().requests();
  ASSERT_GE(sent.size(), 2u);
  EXPECT_THAT(sent.front().head, HasSubstr("t=Diary"));
  EXPECT_THAT(*sent.back().body, HasSubstr("Seen"));
  EXPECT_TRUE(isAVersionStored());

  KovaQt::setConsent(false);
  EXPECT_FALSE(KovaQt::userId());
  EXPECT_TRUE(kovaqt::SentData::shared().requests().empty());
  EXPECT_FALSE(NSUserDefaults::standardUserDefaults().stringForKey("kova_11_userId"));
  EXPECT_FALSE(isAVersionStored()) << "of the last run";

  KovaQt::setConsent(true);
  EXPECT_TRUE(KovaQt::userId());
  EXPECT_NE(KovaQt::userId(), userId);
}

TEST_F(KovaQtTest, ANoBeforeTheStartErasesWhatAnEarlierProcessStoredAndAsksNobody) {
  const QString stored = folder.path() + "/XDG_CACHE_HOME/qt.Notes/kova-11";
  EXPECT_TRUE(QDir().mkpath(stored) && QDir().mkpath(folder.path() + "/XDG_CONFIG_HOME/qt.Notes"));
  bool isAsked = false;
  options.consent = [&] { return isAsked = true; };
  KovaQt::setConsent(false);
  KovaQt::start("11", options);
  EXPECT_FALSE(QDir(stored).exists());
  EXPECT_FALSE(isAsked);
  EXPECT_FALSE(KovaQt::userId());

  showWindow();
  KovaQt::setConsent(true);
  QCoreApplication::processEvents();
  EXPECT_TRUE(Kova::flush(30).isSent);
  const auto sent = kovaqt::SentData::shared().requests();
  ASSERT_FALSE(sent.empty());
  EXPECT_THAT(sent.front().head, HasSubstr("t=Diary")) << "the window was there before the yes";
}

TEST_F(KovaQtTest, ANoAfterABailErasesAndEndsReports) {
  KovaQt::start("11", options);
  KIBailer::sharedBailer().registerException(NSException("Fire"), "Notes open:");
  KovaQt::setConsent(false);
  EXPECT_FALSE(NSUserDefaults::standardUserDefaults().stringForKey("kova_11_userId"));
  EXPECT_EQ(KITelemetry::sharedTelemetry().optOutStatus(), KITelemetry::OptOutStatus::OptedOut);
}

TEST_F(KovaQtTest, SwitchedOffItDoesNothing) {
  QFile file(folder.filePath("disabled"));
  EXPECT_FALSE(kovaqt::isDisabled(file.fileName().toStdString()));
  EXPECT_TRUE(file.open(QFile::WriteOnly));
  EXPECT_TRUE(kovaqt::isDisabled(file.fileName().toStdString()));
  file.remove();
  qputenv("KOVA_DISABLE", "1");
  KovaQt::start("11", options);
  KovaQt::setConsent(true);
  EXPECT_FALSE(KovaQt::userId());
  EXPECT_FALSE(isAnythingStored());
}

TEST_F(KovaQtTest, WhatIsNoUrlSendsNothingAnywhere) {
  options.captureUrl = QUrl("http://exa mple/");
  KovaQt::start("11", options);
  showWindow();
  Kova::flush(0.2);
  EXPECT_TRUE(kovaqt::SentData::shared().requests().empty());
}

TEST_F(KovaQtTest, LeavesThoughTheServiceDoesNotAnswer) {
  server.handle("/h", [](const auto&) { return HttpServer::Reply::stall(); });
  KovaQt::start("11", options);
  showWindow();
  QElapsedTimer leaving;
  QTimer::singleShot(0, application.operator->(), [&] {
    KovaQt::track("Late");
    leaving.start();
    QCoreApplication::quit();
  });
  QCoreApplication::exec();
  EXPECT_LT(leaving.elapsed(), 2'000) << "100 ms are meant";
  EXPECT_TRUE(server.waitForRequests(1)) << "and there was something to wait for";
}

// In a window that is none of the program's screens.
TEST_F(KovaQtTest, ShowsWhatWasSent) {
  KovaQt::start("11", options);
  showWindow();
  KovaQt::track("Seen");
  EXPECT_TRUE(Kova::flush(30).isSent);
  KovaQt::showSentData(&*window);
  auto* const list = window->findChild<QListWidget*>();
  EXPECT_TRUE(QTest::qWaitForWindowExposed(list->window()));
  EXPECT_EQ(std::size_t(list->count()), kovaqt::SentData::shared().requests().size());
  EXPECT_THAT(window->findChild<QPlainTextEdit*>()->toPlainText().toStdString(), HasSubstr("Seen"));
  EXPECT_TRUE(Kova::flush(30).isSent);
  EXPECT_EQ(std::size_t(list->count()), kovaqt::SentData::shared().requests().size()) << "no pageview of it";
}

TEST_F(KovaQtTest, AShortcutAndALinkPair) {
  options.visualizerUrl = options.captureUrl;
  options.pairingShortcut = QKeySequence("Ctrl+Shift+K");
  KovaQt::start("11", options);
  showWindow();
  const auto asked = [this] {
    return std::ranges::count_if(server.requests(), [](const auto& each) { return each.header("Upgrade"); });
  };
  QTest::keyClick(window->windowHandle(), Qt::Key_K, Qt::ControlModifier);
  Kova::flush(30);
  EXPECT_EQ(asked(), 0);
  QTest::keyClick(window->windowHandle(), Qt::Key_K, Qt::ControlModifier | Qt::ShiftModifier);
  EXPECT_TRUE(QTest::qWaitFor([&] { return asked() == 1; }));
  KovaQt::stopEVPairing();
  KovaQt::handleOpenUrl(QUrl("kova-11://1/launch-ev"));
  EXPECT_TRUE(QTest::qWaitFor([&] { return asked() == 2; }));
}

// As a label is while the constructor of its base runs.
struct Unfinished : QLabel {
  const QMetaObject* metaObject() const override {
    return isWhole ? QLabel::metaObject() : QFrame::metaObject();
  }
  void* qt_metacast(const char* name) override {
    return isWhole ? QLabel::qt_metacast(name) : QFrame::qt_metacast(name);
  }
  bool isWhole = false;
};

TEST_F(KovaQtTest, AClassHasRulesAndAWidgetOfItItsOwn) {
  KovaQt::start("11", options);
  QPushButton early, late, spoken;
  const auto viewOf = [](QWidget& widget) -> UIView& { return *QtProxies::shared().viewOf(widget); };
  viewOf(early);
  KovaQt::setClassRule("QAbstractButton", KovaQtRule::Ignore);
  spoken.setProperty("kovaIgnore", false);
  KovaQt::setClassRule("QPushButton", KovaQtRule::Ignore);
  EXPECT_TRUE(kovaIgnore(viewOf(early)));
  EXPECT_TRUE(kovaIgnore(viewOf(late)));
  EXPECT_FALSE(kovaIgnore(viewOf(spoken)));

  Unfinished label;
  KovaQt::setClassRule("QLabel", KovaQtRule::RedactText);
  label.setProperty("kovaIgnore", true);
  label.isWhole = true;
  EXPECT_TRUE(kovaRedactText(viewOf(label)));
  EXPECT_TRUE(kovaIgnore(viewOf(label)));
  EXPECT_EQ(viewOf(label).isa().name(), "QLabel");

  QMainWindow notes;
  QFileDialog files(&notes);
  QMessageBox overwrites(&files);
  for (const QVariant& said : {QVariant(true), QVariant()}) files.setProperty("kovaRedactText", said);
  KovaQt::setClassRule("QMainWindow", KovaQtRule::RedactText, false);
  EXPECT_TRUE(kovaRedactText(viewOf(files)));
  EXPECT_TRUE(kovaRedactText(viewOf(overwrites)));
  EXPECT_TRUE(kovaRedactAccessibilityLabel(*QtProxies::shared().controllerOf(files)))
      << "whose label is that of the widget";
}

TEST_F(KovaQtTest, AnEntryHasPropertiesAndSoHasTheButtonThatShowsIt) {
  KovaQt::start("11", options);
  QToolBar bar;
  QAction* const letter = bar.addAction("letter.txt");
  const auto isRedacted = [&] {
    auto& proxies = QtProxies::shared();
    const bool isButton = kovaRedactText(*proxies.viewOf(*bar.widgetForAction(letter)));
    EXPECT_EQ(kovaRedactText(*proxies.viewOf(*letter)), isButton);
    return isButton;
  };
  letter->setProperty("kovaRedactText", true);
  EXPECT_TRUE(isRedacted()) << "before a view is made";
  letter->setProperty("kovaRedactText", QVariant());
  EXPECT_FALSE(isRedacted());
  letter->setProperty("kovaRedactText", true);
  EXPECT_TRUE(isRedacted());
}

TEST(KovaQtSentData, KeepsTheLatest) {
  auto& sent = kovaqt::SentData::shared();
  const auto send = [&](std::size_t size) {
    NSURLRequest request(*NSURL::create("http://a/"));
    request.setHTTPBody(std::make_shared<const std::string>(size, 'x'));
    sent.add(request);
  };
  for (int i = 0; i < 1100; ++i) send(1);
  EXPECT_EQ(sent.requests().size(), 1000u);
  send(700'000);
  send(700'000);
  EXPECT_EQ(sent.requests().size(), 1u);
  send(2'000'000);
  EXPECT_EQ(sent.requests().back().body, nullptr);
  EXPECT_GT(sent.requests().back().size, 2'000'000u);
}

TEST(KovaQtValues, AreThePlatforms) {
  const Dictionary entry = {{"a", 1}};
  const std::pair<QVariant, Value> rows[] = {
      {QVariant::fromValue(short(-3)), -3},
      {QVariant::fromValue(std::numeric_limits<qint64>::min()), std::numeric_limits<std::int64_t>::min()},
      {QVariant::fromValue(std::numeric_limits<quint64>::max()), std::numeric_limits<std::uint64_t>::max()},
      {0.5F, 0.5},
      {true, true},
      {"text", "text"},
      {QUrl("http://a/b c"), "http://a/b%20c"},
      {QDateTime::fromSecsSinceEpoch(0, Qt::UTC), NSDate::withTimeIntervalSince1970(0)},
      {QVariantList{1, "two"}, Array({1, "two"})},
      {QVariant::fromValue(QList<int>{1, 2}), Array({1, 2})},
      {QVariantMap{{"a", 1}}, entry},
      {QVariantHash{{"a", 1}}, entry},
      {QJsonObject{{"a", 1}}, entry},
      {QVariant(), Value()}};
  for (const auto& [given, expected] : rows) {
    EXPECT_EQ(*kovaqt::dictionaryOf({{"key", given}}).find("key"), expected) << given.typeName();
  }
}

}  // namespace
