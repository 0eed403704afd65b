#include <gtest/gtest.h>

#include <QCalendarWidget>
#include <QCheckBox>
#include <QComboBox>
#include <QCompleter>
#include <QDateEdit>
#include <QDial>
#include <QGraphicsTextItem>
#include <QGraphicsView>
#include <QGroupBox>
#include <QHeaderView>
#include <QKeySequenceEdit>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QShortcut>
#include <QSpinBox>
#include <QTableWidget>
#include <QTextEdit>
#include <QToolButton>
#include <QVBoxLayout>

#include "tests/platform/qt/QtHost.h"

namespace platform {
namespace {

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

void stepAndLeave(QWidget& widget) {
  QtHost::click(widget);
  QtHost::type(widget, Qt::Key_Up);
  QtHost::click(*widget.window()->findChild<QLineEdit*>("other"));
}

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
    {"ComboBoxByItsList",
     makeComboBox,
     [](QWidget& widget) {
       auto& box = static_cast<QComboBox&>(widget);
       QApplication::setDoubleClickInterval(0);  // in which the list takes no click
       QtHost::click(box);
       EXPECT_TRUE(QTest::qWaitForWindowExposed(box.view()->window()));
       QtHost::click(*box.view()->viewport(), box.view()->visualRect(box.model()->index(1, 0)).center());
     },
     {"touch QComboBox#it 'One'", "touch QModelIndex '****'", "action activated of QComboBox"}},
    {"Completer",
     [] {
       auto* const edit = named<QLineEdit>();
       edit->setCompleter(new QCompleter(QStringList{"one", "other"}, edit));
       return static_cast<QWidget*>(edit);
     },
     [](QWidget& edit) {
       QtHost::click(edit);
       QtHost::type(edit, Qt::Key_O);
       QAbstractItemView& list = *static_cast<QLineEdit&>(edit).completer()->popup();
       EXPECT_TRUE(QTest::qWaitForWindowExposed(&list));
       QtHost::click(*list.viewport(), list.visualRect(list.model()->index(0, 0)).center());
       QtHost::click(*edit.window()->findChild<QLineEdit*>("other"));
     },
     {"touch QLineEdit#it", "touch QModelIndex '****'", "edit QLineEdit#it", "touch QLineEdit#other"}},
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
    {"DoubleSpinBox",
     [] { return static_cast<QWidget*>(named<QDoubleSpinBox>()); },
     stepAndLeave,
     {"touch QDoubleSpinBox#it", "edit QDoubleSpinBox#it", "touch QLineEdit#other"}},
    {"DateEdit",
     [] { return static_cast<QWidget*>(named<QDateEdit>(QDate(2022, 2, 2))); },
     stepAndLeave,
     {"touch QDateEdit#it", "edit QDateEdit#it", "touch QLineEdit#other"}},
    {"DateFromItsCalendar",
     [] {
       auto* const date = named<QDateEdit>(QDate(2022, 2, 2));
       date->setCalendarPopup(true);
       return static_cast<QWidget*>(date);
     },
     [](QWidget& date) {
       QtHost::click(date, {date.width() - 5, date.height() / 2});
       auto& calendar = *static_cast<QDateEdit&>(date).calendarWidget();
       EXPECT_TRUE(QTest::qWaitForWindowExposed(calendar.window()));
       QtHost::type(calendar, Qt::Key_Right);
       QtHost::type(calendar, Qt::Key_Return);
       QtHost::click(*date.window()->findChild<QLineEdit*>("other"));
     },
     {"touch QDateEdit#it", "edit QDateEdit#it", "touch QLineEdit#other"}},
    {"PlainTextEdit",
     [] { return static_cast<QWidget*>(named<QPlainTextEdit>("mine")); },
     typeAndLeave,
     {"touch QPlainTextEdit#it", "edit QPlainTextEdit#it", "touch QLineEdit#other"}},
    {"KeySequenceEdit",
     [] { return static_cast<QWidget*>(named<QKeySequenceEdit>()); },
     typeAndLeave,
     {"touch QKeySequenceEdit#it", "edit QKeySequenceEdit#it", "touch QLineEdit#other"}},
    {"Dial",
     [] { return static_cast<QWidget*>(named<QDial>()); },
     click,
     {"touch QDial#it", "action sliderReleased of QDial"}},
    {"ScrollBar",
     [] { return static_cast<QWidget*>(named<QScrollBar>(Qt::Horizontal)); },
     click,
     {"touch QScrollBar#it"}},
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

}  // namespace
}  // namespace platform
