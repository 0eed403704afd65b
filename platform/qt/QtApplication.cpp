#include "platform/qt/QtApplication.h"

#include <QApplication>
#include <QScreen>
#include <QStringList>
#include <algorithm>
#include <utility>

#include "platform/dispatch/ThreadScheduler.h"
#include "platform/linux/LinuxApplication.h"
#include "platform/qt/QtAlerts.h"
#include "platform/qt/QtClasses.h"
#include "platform/qt/QtDrawing.h"
#include "platform/qt/QtEvents.h"
#include "platform/qt/QtParts.h"
#include "platform/qt/QtProxies.h"
#include "platform/qt/QtRunLoop.h"
#include "platform/qt/QtScreens.h"
#include "platform/qt/QtTree.h"
#include "platform/qt/QtView.h"
#include "platform/qt/QtViewController.h"
#include "platform/qt/QtWindow.h"
#include "platform/uikit/UIScreen.h"

namespace platform {

namespace {

bool isQt(const std::shared_ptr<UIWindow>& window) { return dynamic_cast<const QtWindow*>(window.get()); }

bool isOnScreen(const QWidget* window) {
  return window->isVisible() && !window->isMinimized() && isScreenWindow(*window);
}

// Null until windows are watched; lives as long as the process.
QtEvents* events = nullptr;

QWidgetList windowsOnScreen() {
  if (!events) return {};
  QWidgetList windows = QApplication::topLevelWidgets();
  windows.removeIf([](const QWidget* window) { return !isOnScreen(window); });
  return windows;
}

void startPlatform() {
  const std::string name = QGuiApplication::applicationDisplayName().toStdString();
  const std::string version = QCoreApplication::applicationVersion().toStdString();
  Dictionary facts;
  if (!version.empty()) facts = {{"CFBundleShortVersionString", version}, {"CFBundleVersion", version}};
  HostOptions host;
  host.applicationName = name;
  host.applicationIdentifier = qtApplicationIdentifier();
  startLinuxApplication(host, facts);
  const QScreen* const screen = QGuiApplication::primaryScreen();
  if (!screen) return;
  const QSize size = screen->size();
  UIScreen::mainScreen().setSize({double(size.width()), double(size.height())});
  UIScreen::mainScreen().setScale(screen->devicePixelRatio());
}

// Lives as long as the process.
QtRunLoop& mainLoop() {
  static auto& loop = *new QtRunLoop;
  return loop;
}

void attach() {
  QtLater::applicationIsNew();
  mainLoop().open();
  qAddPostRoutine([] { mainLoop().close(); });
}

}  // namespace

QtApplication::QtApplication()
    : class_(classOf(*QCoreApplication::instance()->metaObject(), UIApplication::classObject(),
                     typeid(QtApplication))) {}

std::vector<std::shared_ptr<UIWindow>> QtApplication::windows() const {
  std::vector<std::shared_ptr<UIWindow>> windows;
  for (QWidget* const window : windowsOnScreen()) windows.push_back(QtProxies::shared().windowOf(*window));
  std::stable_partition(windows.begin(), windows.end(),
                        [](const auto& window) { return !window->isKeyWindow(); });
  for (auto& window : UIApplication::windows()) {
    if (!isQt(window)) windows.push_back(std::move(window));
  }
  return windows;
}

std::shared_ptr<UIWindow> QtApplication::keyWindow() const {
  auto own = UIApplication::keyWindow();
  if (own && !isQt(own)) return own;
  QWidget* const active = events ? QApplication::activeWindow() : nullptr;
  QWidget* const around = active ? windowAround(*active) : nullptr;
  if (around) return QtProxies::shared().windowOf(*around);
  const auto all = windows();
  return all.empty() ? nullptr : all.back();
}

void QtApplication::alertDidAppear(const std::shared_ptr<UIAlertController>& alert) { showAlert(alert); }

void QtApplication::alertDidDisappear(UIAlertController& alert) { hideAlert(alert); }

void QtApplication::followState() {
  const QtState now{!windowsOnScreen().isEmpty(),
                    QGuiApplication::applicationState() == Qt::ApplicationActive,
                    QApplication::activeWindow() != nullptr};
  switch (qtStateAfter(applicationState(), now)) {
    case UIApplicationState::Background:
      return enterBackground();
    case UIApplicationState::Active:
      return enterForeground();
    case UIApplicationState::Inactive:
      return becomeInactive();
  }
}

UIApplicationState qtStateAfter(UIApplicationState before, QtState now) {
  if (!now.hasWindow) return UIApplicationState::Background;
  const bool isInFront = now.isActive || now.hasActiveWindow || before == UIApplicationState::Background;
  return isInFront ? UIApplicationState::Active : UIApplicationState::Inactive;
}

std::string qtApplicationIdentifier() {
  QStringList parts = QCoreApplication::organizationDomain().split(u'.', Qt::SkipEmptyParts);
  std::reverse(parts.begin(), parts.end());
  if (parts.isEmpty()) parts.append(QStringLiteral("qt"));
  parts.append(QCoreApplication::applicationName().replace(u'/', u'-'));
  return parts.join(u'.').toStdString();
}

void startQtPlatform() {
  static bool isStarted = false;
  if (std::exchange(isStarted, true)) return;
  ThreadScheduler::installed().setMainRunLoop(mainLoop());
  UIApplication::setSharedApplication(std::make_shared<QtApplication>());
  installQtDrawing();
  startPlatform();
  qAddPreRoutine(attach);  // at once, and when there is another application object
}

void startQtApplication(QtOptions options) {
  startQtPlatform();
  if (events) return;
  QtProxies::shared().setMakers({makeViewOf, std::move(options.viewMade), QtActionView::makeFor,
                                 QtWindow::makeFor,
                                 [](QWidget& widget) { return QtScreens::shared().makeController(widget); }});
  QtViewController::nameVariables();
  QtScreens::shared().setProperty(options.screenProperty);
  setItemTexts(std::move(options.itemTexts));
  QtEvents::Handlers handlers;
  handlers.propertyChanged = std::move(options.propertyChanged);
  handlers.keyPressed = std::move(options.keyPressed);
  handlers.stateChanged = [] {
    static_cast<QtApplication&>(*UIApplication::sharedApplication()).followState();
  };
  handlers.willQuit = std::move(options.willQuit);
  events = new QtEvents(std::move(handlers));
  qAddPreRoutine([] { events->attach(); });
  events->seeAll();
}

}  // namespace platform
