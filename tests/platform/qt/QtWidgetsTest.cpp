#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QCalendarWidget>
#include <QCheckBox>
#include <QComboBox>
#include <QGraphicsTextItem>
#include <QGraphicsView>
#include <QGroupBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QShortcut>
#include <QSlider>
#include <QSpinBox>
#include <QTabBar>
#include <QTableWidget>
#include <QTextEdit>
#include <QToolButton>
#include <QVBoxLayout>

#include "platform/qt/QtProxies.h"
#include "tests/platform/qt/QtHost.h"

namespace platform {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Lines = QtHost::Lines;

// A widget in a window, what is done with it, and what the platform is told.
struct Row {
  const char* name;
  QWidget* (*make)();
  void (*use)(QWidget& widget);
  Lines told;
};

template <class Widget, class... Arguments>
Widget* named(Arguments... arguments) {
  auto* const widget = new Widget(arguments...);
  widget->setObjectName("it");
  return widget;
}

void click(QWidget& widget) { QtHost::click(widget); }

// Qt moves the focus before it hands on the press.
void typeAndLeave(QWidget& widget) {
  QtHost::click(widget);
  QtHost::type(widget, Qt::Key_1);
  QtHost::click(*widget.window()->findChild<QLineEdit*>("other"));
}

void clickCell(QWidget& widget) {
  auto& table = static_cast<QTableWidget&>(widget);
  QtHost::click(*table.viewport(), table.visualItemRect(table.item(0, 0)).center());
  QtHost::click(*table.horizontalHeader()->viewport(), {5, 5});
}

void clickHandle(QWidget& slider) { QtHost::click(slider, {3, slider.height() / 2}); }

QWidget* makeToolButton() {
  auto* const button = named<QToolButton>();
  button->setToolTip("<b>Bold</b>");
  return button;
}

QWidget* makeActionButton() {
  auto* const button = new QToolButton;
  auto* const action = new QAction("&Open\tCtrl+O", button);
  action->setObjectName("actionOpen");
  button->setDefaultAction(action);
  return button;
}

QWidget* makeComboBox() {
  auto* const box = named<QComboBox>();
  box->addItems({"One", "Two"});
  return box;
}

QWidget* makeEditableComboBox() {
  QWidget* const box = makeComboBox();
  static_cast<QComboBox*>(box)->setEditable(true);
  return box;
}

QWidget* makeTabs() {
  auto* const tabs = named<QTabBar>();
  tabs->addTab("&First");
  tabs->addTab("Second");
  return tabs;
}

QWidget* makeTable() {
  auto* const table = named<QTableWidget>(1, 1);
  table->setItem(0, 0, new QTableWidgetItem("Ada's salary"));
  table->setHorizontalHeaderLabels({"Name"});
  return table;
}

QWidget* makeScene() {
  auto* const view = named<QGraphicsView>();
  view->setScene(new QGraphicsScene(0, 0, 50, 50, view));
  auto* const item = new QGraphicsTextItem("XXXXXXXXXX");
  item->setObjectName("piece");
  view->scene()->addItem(item);
  item->setPos(-20, 10);
  return view;
}

QWidget* makePassword() {
  auto* const edit = named<QLineEdit>("secret");
  edit->setEchoMode(QLineEdit::Password);
  return edit;
}

const Row kRows[] = {
    {"PushButton",
     [] { return static_cast<QWidget*>(named<QPushButton>("&Save && go")); },
     click,
     {"touch QPushButton#it 'Save & go'", "action clicked of QPushButton"}},
    {"CheckBox",
     [] { return static_cast<QWidget*>(named<QCheckBox>("Remember")); },
     [](QWidget& box) {
       QtHost::click(box, {8, box.height() / 2});
     },
     {"touch QCheckBox#it 'Remember'", "action clicked of QCheckBox"}},
    {"ButtonByKey",
     [] { return static_cast<QWidget*>(named<QPushButton>("Save")); },
     [](QWidget& button) {
       button.setFocus();
       QtHost::type(button, Qt::Key_Space);
     },
     {"touch QPushButton#it 'Save'", "action clicked of QPushButton"}},
    {"ButtonLetGoOf",
     [] { return static_cast<QWidget*>(named<QPushButton>("Save")); },
     [](QWidget& button) {
       QObject::connect(new QShortcut(Qt::Key_F5, &button), &QShortcut::activated,
                        [&button] { button.setEnabled(false); });
       for (const Qt::Key key : {Qt::Key_Escape, Qt::Key_Tab, Qt::Key_F5}) {
         button.setFocus();
         QTest::keyPress(button.window()->windowHandle(), Qt::Key_Space);
         EXPECT_TRUE(static_cast<QPushButton&>(button).isDown());
         QtHost::type(button, key);
         EXPECT_FALSE(static_cast<QPushButton&>(button).isDown());
         QTest::keyRelease(button.window()->windowHandle(), Qt::Key_Space);
       }
     },
     {}},
    {"ButtonByShortcutThatIsHeld",
     [] { return static_cast<QWidget*>(named<QPushButton>("&Save")); },
     [](QWidget& button) {
       for (int i = 0; i < 3; ++i) QtHost::type(button, Qt::Key_S, Qt::AltModifier);
     },
     {"touch QPushButton#it 'Save'", "action clicked of QPushButton"}},
    {"MessageBoxByEscape",
     [] {
       auto* const box =
           new QMessageBox(QMessageBox::NoIcon, "", "", QMessageBox::Save | QMessageBox::Cancel);
       box->setWindowFlags(Qt::Widget);
       return static_cast<QWidget*>(box);
     },
     [](QWidget& box) {
       box.findChild<QPushButton*>()->setFocus();
       QtHost::type(box, Qt::Key_Escape);
     },
     {"touch QPushButton 'Cancel'", "action clicked of QPushButton"}},
    {"ClickOfTheAppItself",
     [] { return static_cast<QWidget*>(named<QPushButton>("Save")); },
     [](QWidget& button) {
       QCoreApplication::processEvents();
       static_cast<QPushButton&>(button).click();
     },
     {}},
    {"IconButton", makeToolButton, click, {"touch QToolButton#it", "action clicked of QToolButton"}},
    {"ActionButton",
     makeActionButton,
     click,
     {"touch QToolButton#actionOpen 'Open'", "action triggered of QToolButton"}},
    {"ComboBox",
     makeComboBox,
     [](QWidget& box) {
       QtHost::click(box);
       static_cast<QComboBox&>(box).hidePopup();
     },
     {"touch QComboBox#it 'One'"}},
    {"EditableComboBox",
     makeEditableComboBox,
     typeAndLeave,
     {"touch QComboBox#it", "edit QComboBox#it", "touch QLineEdit#other"}},
    {"LineEdit",
     [] { return static_cast<QWidget*>(named<QLineEdit>("mine")); },
     typeAndLeave,
     {"touch QLineEdit#it", "edit QLineEdit#it", "touch QLineEdit#other"}},
    {"Return",
     [] { return static_cast<QWidget*>(named<QLineEdit>()); },
     [](QWidget& edit) {
       edit.setFocus();
       QtHost::type(edit, Qt::Key_A);
       QtHost::type(edit, Qt::Key_Return);
     },
     {"edit QLineEdit#it"}},
    {"Password",
     makePassword,
     typeAndLeave,
     {"touch QLineEdit#it", "edit QLineEdit#it", "touch QLineEdit#other"}},
    {"NothingEdited",
     [] { return static_cast<QWidget*>(named<QLineEdit>()); },
     [](QWidget& edit) {
       QtHost::click(edit);
       static_cast<QLineEdit&>(edit).setText("by the app");
       QtHost::click(*edit.window()->findChild<QLineEdit*>("other"));
     },
     {"touch QLineEdit#it", "touch QLineEdit#other"}},
    {"TextEdit",
     [] { return static_cast<QWidget*>(named<QTextEdit>()); },
     typeAndLeave,
     {"touch QTextEdit#it", "edit QTextEdit#it", "touch QLineEdit#other"}},
    {"TextOfTheApp",
     [] {
       auto* const edit = named<QTextEdit>();
       QObject::connect(new QShortcut(Qt::Key_F5, edit), &QShortcut::activated,
                        [edit] { edit->insertPlainText("date"); });
       return static_cast<QWidget*>(edit);
     },
     [](QWidget& edit) {
       QtHost::click(edit);
       QtHost::type(edit, Qt::Key_F5);
       QtHost::click(*edit.window()->findChild<QLineEdit*>("other"));
     },
     {"touch QTextEdit#it", "touch QLineEdit#other"}},
    {"SpinBox",
     [] { return static_cast<QWidget*>(named<QSpinBox>()); },
     typeAndLeave,
     {"touch QSpinBox#it", "edit QSpinBox#it", "touch QLineEdit#other"}},
    {"Slider",
     [] { return static_cast<QWidget*>(named<QSlider>(Qt::Horizontal)); },
     clickHandle,
     {"touch QSlider#it", "action sliderReleased of QSlider"}},
    {"Label",
     [] { return static_cast<QWidget*>(named<QLabel>("<b>Bold</b> words")); },
     click,
     {"touch QLabel#it 'Bold words'"}},
    {"GroupBox",
     [] { return static_cast<QWidget*>(named<QGroupBox>("&Paper")); },
     click,
     {"touch QGroupBox#it 'Paper'"}},
    {"Table", makeTable, clickCell, {"touch QModelIndex '****'", "touch QModelIndex 'Name'"}},
    {"Scene", makeScene, click, {"touch QGraphicsTextItem#piece"}},
    {"WidgetInAScene",
     makeScene,
     [](QWidget& scene) {
       auto* const button = new QPushButton("Go");
       static_cast<QGraphicsView&>(scene).scene()->addWidget(button);
       QCoreApplication::processEvents();
       QtHost::click(scene, static_cast<QGraphicsView&>(scene).mapFromScene(button->geometry().center()));
     },
     {"touch QPushButton 'Go'", "action clicked of QPushButton"}},
    {"Calendar",
     [] { return static_cast<QWidget*>(named<QCalendarWidget>()); },
     click,
     {"touch QCalendarWidget#it"}},
    {"Disabled",
     [] {
       auto* const button = named<QPushButton>("No");
       button->setEnabled(false);
       return static_cast<QWidget*>(button);
     },
     click,
     {"touch QPushButton#it 'No'"}},
};

class QtWidgets : public testing::TestWithParam<Row> {
 protected:
  QtHost host;
};

TEST_P(QtWidgets, ToldAs) {
  QWidget window;
  auto* const layout = new QVBoxLayout(&window);
  QWidget* const widget = GetParam().make();
  layout->addWidget(widget);
  layout->addWidget(new QLineEdit);
  window.findChildren<QLineEdit*>().back()->setObjectName("other");
  QtHost::show(window);
  host.take();
  GetParam().use(*widget);
  EXPECT_EQ(host.take(), GetParam().told);
}

INSTANTIATE_TEST_SUITE_P(Table, QtWidgets, testing::ValuesIn(kRows),
                         [](const auto& row) { return std::string(row.param.name); });

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
  const std::unique_ptr<QTabBar> tabs(static_cast<QTabBar*>(makeTabs()));
  QtHost::show(*tabs);
  const auto observer = std::make_shared<Observer>();
  QtProxies::shared().viewOf(*tabs)->addObserver(observer, "selectedSegmentIndex", nullptr);
  QtHost::click(*tabs, tabs->tabRect(1).center());
  EXPECT_EQ(observer->chosen, "Second");
}

// The entry of a menu lies in the menu, that in the bar, that in the window.
TEST(QtMenus, TellTheEntryThatWasChosenByPointerAndByShortcut) {
  QtHost host;
  QMainWindow window;
  QMenu* const file = window.menuBar()->addMenu("&File");
  QAction* const open = file->addAction("&Open...");
  open->setObjectName("actionOpen");
  open->setShortcut(QKeySequence("Ctrl+O"));
  QtHost::show(window);
  host.take();

  QtHost::click(*window.menuBar(), window.menuBar()->actionGeometry(file->menuAction()).center());
  QtHost::click(*file, file->actionGeometry(open).center());
  EXPECT_THAT(host.take(), ElementsAre("touch QAction 'File'", "touch QAction#actionOpen 'Open...'",
                                       "action triggered of QAction"));
  const UIView* above = QtProxies::shared().viewOf(*open)->superview();
  EXPECT_EQ(above->isa().name(), "QMenu");
  EXPECT_EQ(above->superview()->isa().name(), "QMenuBar");
  EXPECT_EQ(above->window()->isa().name(), "QWidgetWindow");

  QtHost::type(window, Qt::Key_O, Qt::ControlModifier);
  EXPECT_THAT(host.take(), ElementsAre("touch QAction#actionOpen 'Open...'", "action triggered of QAction"));
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
