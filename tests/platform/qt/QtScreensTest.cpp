#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QDialog>
#include <QDockWidget>
#include <QFileDialog>
#include <QLabel>
#include <QMainWindow>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMessageBox>
#include <QPushButton>
#include <QStackedWidget>
#include <QTabWidget>
#include <QToolBox>
#include <QWizard>

#include "platform/dispatch/NSTimer.h"
#include "platform/dispatch/Scheduler.h"
#include "platform/qt/QtProxies.h"
#include "tests/platform/qt/QtHost.h"

namespace platform {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class QtScreensTest : public testing::Test {
 protected:
  QtHost::Lines toldWhenShown(QWidget& window) {
    QtHost::show(window);
    return host.take();
  }

  QtHost host;
};

TEST_F(QtScreensTest, AWindowAppearsWhenItIsShownAndWhenItIsActiveAgain) {
  QMainWindow window;
  window.setWindowTitle("Notes[*]");
  EXPECT_THAT(toldWhenShown(window), ElementsAre("appear QMainWindow 'Notes'"));
  {
    QDialog dialog(&window);
    dialog.setWindowTitle("Settings");
    EXPECT_THAT(toldWhenShown(dialog), ElementsAre("appear QDialog 'Settings'"));
  }
  window.activateWindow();
  EXPECT_TRUE(QTest::qWaitForWindowActive(&window));
  EXPECT_THAT(host.take(), ElementsAre("appear QMainWindow 'Notes'"));
}

TEST_F(QtScreensTest, APageAppearsWhenItTakesAtLeastHalfOfItsWindow) {
  QTabWidget tabs;
  tabs.setObjectName("tabs");
  tabs.addTab(new QWidget, "&Fonts");
  tabs.addTab(new QDialog, "Icons");
  tabs.widget(0)->setObjectName("fontsPage");
  tabs.resize(300, 200);
  EXPECT_THAT(toldWhenShown(tabs), ElementsAre("appear QTabWidget ''", "appear fontsPage 'Fonts'"));
  tabs.setCurrentIndex(1);
  EXPECT_THAT(host.take(), ElementsAre("appear QDialog 'Icons'"));

  QWidget window;
  auto* const stack = new QStackedWidget(&window);
  stack->addWidget(new QWidget);
  stack->addWidget(new QWidget);
  window.resize(300, 200);
  stack->resize(100, 100);
  QtHost::show(window);
  stack->setCurrentIndex(1);
  EXPECT_THAT(host.take(), ElementsAre("appear QWidget ''"));
}

TEST_F(QtScreensTest, WhatIsHiddenAgainAtOnceAndToolWindowsAreNoScreens) {
  QWidget flashed, tool, chosen, refused;
  for (QWidget* const window : {&tool, &chosen}) window->setWindowFlag(Qt::Tool);
  chosen.setProperty("screen", "Palette");
  refused.setProperty("screen", false);
  for (QWidget* const window : {&flashed, &tool, &chosen, &refused}) window->show();
  flashed.hide();
  EXPECT_THAT(host.take(), ElementsAre("appear Palette ''"));
}

TEST_F(QtScreensTest, PagesOfWizardsToolBoxesAndMdiAreasAppear) {
  QWizard wizard;
  wizard.setWizardStyle(QWizard::ClassicStyle);
  for (const char* title : {"Name", "Place"}) {
    auto* const page = new QWizardPage;
    page->setTitle(title);
    page->setMinimumSize(400, 300);
    wizard.addPage(page);
  }
  EXPECT_THAT(toldWhenShown(wizard), ElementsAre("appear QWizard ''", "appear QWizardPage 'Name'"));
  wizard.next();
  EXPECT_THAT(host.take(), ElementsAre("appear QWizardPage 'Place'"));
  wizard.hide();

  QToolBox box;
  box.addItem(new QDialog, "&Shapes");
  box.addItem(new QDialog, "Colours");
  box.resize(300, 400);
  EXPECT_THAT(toldWhenShown(box), ElementsAre("appear QToolBox ''", "appear QDialog 'Shapes'"));
  box.setCurrentIndex(1);
  EXPECT_THAT(host.take(), ElementsAre("appear QDialog 'Colours'"));
  box.hide();

  QMdiArea area;
  area.resize(300, 300);
  QtHost::show(area);
  QMdiSubWindow* const sub = area.addSubWindow(new QLabel("Text"));
  sub->setWindowTitle("Letter[*]");
  sub->showMaximized();
  EXPECT_THAT(host.take(), ElementsAre("appear QMdiArea ''", "appear QMdiSubWindow 'Letter'"));
}

TEST_F(QtScreensTest, AFloatingDockAppearsOnlyWhenTheAppSaysSo) {
  QMainWindow window;
  auto *const plain = new QDockWidget("Plain", &window), *const said = new QDockWidget("Said", &window);
  for (QDockWidget* const dock : {plain, said}) window.addDockWidget(Qt::LeftDockWidgetArea, dock);
  QtHost::show(window);
  host.take();
  said->setProperty("screen", true);
  plain->setFloating(true);
  EXPECT_THAT(host.take(), IsEmpty());
  said->setFloating(true);
  EXPECT_THAT(host.take(), ElementsAre("appear QDockWidget 'Said'"));
  const UIResponder* each = QtProxies::shared().viewOf(*plain).get();
  while (each && each != QtProxies::shared().viewOf(window).get()) each = each->nextResponder();
  EXPECT_TRUE(each) << "what is ignored in the window stays so when it floats";
}

// The desktop may make the window behind it the active one when it is clicked.
TEST_F(QtScreensTest, BehindAModalBoxNothingAppearsOrIsTouched) {
  QWidget window, other;
  other.setWindowTitle("other");
  auto* const button = new QPushButton("Save", &window);
  QtHost::show(other);
  QtHost::show(window);
  for (const Qt::WindowModality modality : {Qt::ApplicationModal, Qt::WindowModal}) {
    QMessageBox box(QMessageBox::Question, "", "Sure?", QMessageBox::Yes | QMessageBox::No, &window);
    box.setWindowModality(modality);
    QtHost::show(box);
    host.take();
    window.activateWindow();
    QtHost::click(*button);
    EXPECT_THAT(host.take(), IsEmpty());
    other.activateWindow();
    QCoreApplication::processEvents();
    const bool isFree = modality == Qt::WindowModal;
    EXPECT_EQ(host.take(), isFree ? QtHost::Lines{"appear QWidget 'other'"} : QtHost::Lines{});
    window.activateWindow();
    QCoreApplication::processEvents();
    box.reject();
    EXPECT_THAT(host.take(), ElementsAre("appear QWidget ''"));
  }
}

// The list of files in it is a page of a stack.
TEST_F(QtScreensTest, ADialogOfQtsIsOneScreen) {
  QFileDialog dialog(nullptr, "Open");
  dialog.setOption(QFileDialog::DontUseNativeDialog);
  EXPECT_THAT(toldWhenShown(dialog), ElementsAre("appear QFileDialog 'Open'"));
}

TEST_F(QtScreensTest, TheStateFollowsQtsAndTheWindows) {
  using enum UIApplicationState;
  QWidget window;
  for (const bool isShown : {true, false, true}) {
    isShown ? QtHost::show(window) : window.hide();
    host.take();
    EXPECT_EQ(UIApplication::sharedApplication()->applicationState(), isShown ? Active : Background);
  }
  EXPECT_EQ(qtStateAfter(Active, {true, false, false}), Inactive);
  EXPECT_EQ(qtStateAfter(Inactive, {true, false, false}), Inactive);
  EXPECT_EQ(qtStateAfter(Background, {true, false, false}), Active);
  EXPECT_EQ(qtStateAfter(Inactive, {true, false, true}), Active);
  EXPECT_EQ(qtStateAfter(Inactive, {true, true, false}), Active);
}

TEST_F(QtScreensTest, TheMainRunLoopIsQtsAlsoInsideOfItself) {
  std::vector<int> ran;
  RunLoop& loop = Scheduler::current().mainRunLoop();
  loop.perform([&] {
    ran.push_back(1);
    QCoreApplication::processEvents();
    ran.push_back(3);
  });
  loop.perform([&] { ran.push_back(2); });
  QCoreApplication::processEvents();
  EXPECT_THAT(ran, ElementsAre(1, 2, 3));

  bool fired = false;
  const auto timer = NSTimer::scheduled(0.01, [&] { fired = true; });
  EXPECT_TRUE(QTest::qWaitFor([&] { return fired; }));
}

}  // namespace
}  // namespace platform
