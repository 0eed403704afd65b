#include <gtest/gtest.h>

#include <QLabel>
#include <QMainWindow>
#include <QMenuBar>
#include <QPushButton>
#include <QTabBar>
#include <QToolBar>
#include <QToolButton>

#include "platform/qt/QtProxies.h"
#include "platform/uikit/UIViewController+Variables.h"
#include "tests/platform/qt/QtHost.h"

namespace platform {
namespace {

TEST(QtTabBar, SaysWhichTabWasChosenWhenItWasTouched) {
  QtHost host;
  class Observer : public NSObject {
   public:
    void observeValueForKeyPath(const std::string&, NSObject& object, const KeyValue&, const void*) override {
      auto& control = static_cast<UISegmentedControl&>(object);
      chosen = control.titleForSegmentAtIndex(control.selectedSegmentIndex()).value_or("").str();
    }
    std::string chosen;
  };
  QTabBar tabs;
  tabs.addTab("&First");
  tabs.addTab("Second");
  QtHost::show(tabs);
  const auto observer = std::make_shared<Observer>();
  QtProxies::shared().viewOf(tabs)->addObserver(observer, "selectedSegmentIndex", nullptr);
  QtHost::click(tabs, tabs.tabRect(1).center());
  EXPECT_EQ(observer->chosen, "Second");
}

TEST(QtMenus, HoldWhatIsChosenInThemThoughAToolBarHasItToo) {
  QtHost host;
  QMainWindow window;
  QMenu* const file = window.menuBar()->addMenu("&File");
  QAction* const open = file->addAction("&Open...");
  open->setShortcut(QKeySequence("Ctrl+O"));
  window.addToolBar("Tools")->addAction(open);
  QtHost::show(window);
  const auto openMenu = [&] {
    QtHost::click(*window.menuBar(), window.menuBar()->actionGeometry(file->menuAction()).center());
  };
  const auto above = [&] { return QtProxies::shared().viewOf(*open)->superview(); };
  openMenu();
  for (const Qt::Key key : {Qt::Key_Down, Qt::Key_Return}) QtHost::type(*file, key);
  EXPECT_EQ(above()->isa().name(), "QMenu");
  QtHost::type(window, Qt::Key_O, Qt::ControlModifier);
  EXPECT_EQ(above()->isa().name(), "QToolButton");
  openMenu();
  QtHost::click(*file, file->actionGeometry(open).center());
  EXPECT_EQ(above()->isa().name(), "QMenu");
  EXPECT_EQ(above()->superview()->isa().name(), "QMenuBar");
  EXPECT_EQ(above()->window()->isa().name(), "QWidgetWindow");
}

// Whatever their parent is.
TEST(QtMenus, LieInWhatOpensThem) {
  QtHost host;
  QMainWindow window;
  QMenu ofButton(&window), ofMenu(&window), ofLabel(&window);
  auto* const button = new QToolButton;
  button->setMenu(&ofButton);
  window.addToolBar("Tools")->addWidget(button);
  ofButton.addMenu(&ofMenu);
  auto* const label = new QLabel("Map");
  window.setCentralWidget(label);
  label->setContextMenuPolicy(Qt::CustomContextMenu);
  QObject::connect(label, &QWidget::customContextMenuRequested, [&] { ofLabel.popup({}); });
  QAction* const entry = ofMenu.addAction("Open");
  entry->setShortcut(QKeySequence("Ctrl+O"));
  window.addAction(entry);
  QtHost::show(window);
  QtHost::type(window, Qt::Key_O, Qt::ControlModifier);
  QTest::mouseClick(window.windowHandle(), Qt::RightButton, {}, label->geometry().center());
  const auto above = [](auto& object) { return QtProxies::shared().viewOf(object)->superview(); };
  EXPECT_EQ(above(*entry), QtProxies::shared().viewOf(ofMenu).get());
  EXPECT_EQ(above(ofMenu), QtProxies::shared().viewOf(ofButton).get());
  EXPECT_EQ(above(ofButton), QtProxies::shared().viewOf(*button).get());
  EXPECT_EQ(above(ofLabel), QtProxies::shared().viewOf(*label).get());
}

TEST(QtControllers, HoldWhatTheAppHasNamed) {
  QtHost host;
  QWidget window;
  const auto holderName = [&](const char* name) {
    QPushButton button(&window);
    button.setObjectName(name);
    const auto view = QtProxies::shared().viewOf(button);
    return nameOfVariableMethod.send(*QtProxies::shared().controllerOf(window), *view);
  };
  EXPECT_EQ(holderName("saveButton"), String("saveButton"));
  EXPECT_EQ(holderName("qt_spinbox_lineedit"), std::nullopt) << "Qt has given that name";
  EXPECT_EQ(holderName(""), std::nullopt);
}

TEST(QtProxies, AreOneAWidgetAndGoWithIt) {
  QtHost host;
  const std::size_t before = QtProxies::shared().size();
  auto* const button = new QPushButton;
  const std::weak_ptr<UIView> view = QtProxies::shared().viewOf(*button);
  EXPECT_EQ(QtProxies::shared().viewOf(*button), view.lock());
  const auto kept = view.lock();  // as a touch keeps it
  delete button;
  EXPECT_EQ(QtProxies::shared().size(), before);
  EXPECT_EQ(kept->superview(), nullptr);
  EXPECT_TRUE(kept->isHidden());
}

}  // namespace
}  // namespace platform
