// What the platform is told when a widget is used.

#include <gtest/gtest.h>

#include <QCalendarWidget>
#include <QComboBox>
#include <QCompleter>
#include <QDateEdit>
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
#include <functional>
#include <type_traits>

#include "tests/platform/qt/QtHost.h"

namespace platform {
namespace {

using Lines = QtHost::Lines;

class QtWidgets : public testing::Test {
 protected:
  // The widget gets into a window, above a field to leave it for.
  template <class Widget>
  void tells(Widget* widget, const Lines& told, std::type_identity_t<std::function<void(Widget&)>> use) {
    SCOPED_TRACE(widget->metaObject()->className());
    QWidget window;
    auto* const layout = new QVBoxLayout(&window);
    layout->addWidget(widget);
    auto* const other = new QLineEdit;
    other->setObjectName("other");
    layout->addWidget(other);
    QtHost::show(window);
    host.take();
    use(*widget);
    EXPECT_EQ(host.take(), told);
  }

  QtHost host;
};

// Qt moves the focus before it hands on the press.
void leave(QWidget& widget) { QtHost::click(*widget.window()->findChild<QLineEdit*>("other")); }

template <int key>
void typeAndLeave(QWidget& widget) {
  QtHost::click(widget);
  QtHost::type(widget, key);
  leave(widget);
}

void click(QWidget& widget) { QtHost::click(widget); }

void clickItem(QAbstractItemView& items, const QModelIndex& index) {
  QtHost::click(*items.viewport(), items.visualRect(index).center());
}

TEST_F(QtWidgets, AreTouched) {
  auto* const icon = new QToolButton;
  icon->setToolTip("<b>Bold</b>");
  tells(icon, {"touch QToolButton", "action clicked of QToolButton"}, click);
  auto* const disabled = new QPushButton("No");
  disabled->setEnabled(false);
  tells(disabled, {"touch QPushButton 'No'"}, click);
  tells(new QScrollBar(Qt::Horizontal), {"touch QScrollBar"}, click);
  tells(new QLabel("<b>Bold</b> words"), {"touch QLabel 'Bold words'"}, click);
  tells(new QGroupBox("&Paper"), {"touch QGroupBox 'Paper'"}, click);
  tells(new QCalendarWidget, {"touch QCalendarWidget"}, click);
}

TEST_F(QtWidgets, ButtonsAreClickedByKeys) {
  tells(new QPushButton("&Save && go"), {"touch QPushButton 'Save & go'", "action clicked of QPushButton"},
        [](auto& button) {
          button.setFocus();
          QtHost::type(button, Qt::Key_Space);
        });
  tells(new QPushButton("&Held"), {"touch QPushButton 'Held'", "action clicked of QPushButton"},
        [](auto& button) {
          for (int i = 0; i < 3; ++i) QtHost::type(button, Qt::Key_H, Qt::AltModifier);
        });
  auto* const asks = new QMessageBox(QMessageBox::NoIcon, "", "", QMessageBox::Save | QMessageBox::Cancel);
  asks->setWindowFlags(Qt::Widget);
  tells(asks, {"touch QPushButton 'Cancel'", "action clicked of QPushButton"}, [](auto& box) {
    box.template findChild<QPushButton*>()->setFocus();
    QtHost::type(box, Qt::Key_Escape);
  });
}

TEST_F(QtWidgets, AButtonThatIsLetGoOfOrThatTheAppClicksTellsNothing) {
  tells(new QPushButton("Save"), {}, [](auto& button) {
    QObject::connect(new QShortcut(Qt::Key_F5, &button), &QShortcut::activated,
                     [&button] { button.setEnabled(false); });
    for (const Qt::Key key : {Qt::Key_Escape, Qt::Key_Tab, Qt::Key_F5}) {
      button.setFocus();
      QTest::keyPress(button.window()->windowHandle(), Qt::Key_Space);
      EXPECT_TRUE(button.isDown());
      QtHost::type(button, key);
      EXPECT_FALSE(button.isDown());
      QTest::keyRelease(button.window()->windowHandle(), Qt::Key_Space);
    }
  });
  tells(new QPushButton("Save"), {}, [](auto& button) { button.click(); });
}

TEST_F(QtWidgets, WhatTheyPaintIsTouchedInThem) {
  auto* const cells = new QTableWidget(2, 1);
  cells->setItem(0, 0, new QTableWidgetItem("Ada's salary"));
  cells->setCellWidget(1, 0, new QLabel("Ada"));
  cells->setHorizontalHeaderLabels({"Name"});
  tells(cells, {"touch QModelIndex '****'", "touch QLabel '****'", "touch QModelIndex 'Name'"},
        [](auto& table) {
          clickItem(table, table.model()->index(0, 0));
          click(*table.cellWidget(1, 0));
          QtHost::click(*table.horizontalHeader()->viewport(), {5, 5});
        });

  auto* const board = new QGraphicsView;
  board->setScene(new QGraphicsScene(0, 0, 50, 50, board));
  auto* const item = board->scene()->addText("XXXXXXXXXX");
  item->setObjectName("piece");
  item->setPos(-20, 10);
  tells(board, {"touch QGraphicsTextItem#piece", "touch QPushButton 'Go'", "action clicked of QPushButton"},
        [](auto& scene) {
          click(scene);
          auto* const button = new QPushButton("Go");
          scene.scene()->addWidget(button);
          QCoreApplication::processEvents();
          QtHost::click(scene, scene.mapFromScene(button->geometry().center()));
        });

  auto* const list = new QComboBox;
  list->addItems({"One", "Two"});
  tells(list, {"touch QComboBox 'One'", "touch QModelIndex '****'", "action activated of QComboBox"},
        [](auto& box) {
          QApplication::setDoubleClickInterval(0);  // in which the list takes no click
          click(box);
          EXPECT_TRUE(QTest::qWaitForWindowExposed(box.view()->window()));
          clickItem(*box.view(), box.model()->index(1, 0));
        });
}

TEST_F(QtWidgets, FieldsAreEditedOnceTheyAreLeft) {
  auto* const password = new QLineEdit("secret");
  password->setEchoMode(QLineEdit::Password);
  auto* const box = new QComboBox;
  box->addItem("One");
  box->setEditable(true);
  const std::pair<QWidget*, void (*)(QWidget&)> fields[] = {
      {new QLineEdit("mine"), typeAndLeave<Qt::Key_1>},
      {password, typeAndLeave<Qt::Key_1>},
      {box, typeAndLeave<Qt::Key_1>},
      {new QTextEdit, typeAndLeave<Qt::Key_1>},
      {new QPlainTextEdit("mine"), typeAndLeave<Qt::Key_1>},
      {new QKeySequenceEdit, typeAndLeave<Qt::Key_1>},
      {new QSpinBox, typeAndLeave<Qt::Key_Up>},
      {new QDoubleSpinBox, typeAndLeave<Qt::Key_Up>},
      {new QDateEdit(QDate(2022, 2, 2)), typeAndLeave<Qt::Key_Up>}};
  for (const auto& [field, use] : fields) {
    const std::string name = field->metaObject()->className();
    tells(field, {"touch " + name, "edit " + name, "touch QLineEdit#other"}, use);
  }
  auto* const popup = new QDateEdit(QDate(2022, 2, 2));
  popup->setCalendarPopup(true);
  tells(popup, {"touch QDateEdit", "edit QDateEdit", "touch QLineEdit#other"}, [](auto& date) {
    QtHost::click(date, {date.width() - 5, date.height() / 2});
    auto& calendar = *date.calendarWidget();
    EXPECT_TRUE(QTest::qWaitForWindowExposed(calendar.window()));
    QtHost::type(calendar, Qt::Key_Right);
    QtHost::type(calendar, Qt::Key_Return);
    leave(date);
  });
  auto* const completed = new QLineEdit;
  completed->setCompleter(new QCompleter(QStringList{"one", "other"}, completed));
  tells(completed, {"touch QLineEdit", "touch QModelIndex '****'", "edit QLineEdit", "touch QLineEdit#other"},
        [](auto& edit) {
          click(edit);
          QtHost::type(edit, Qt::Key_O);
          QAbstractItemView& list = *edit.completer()->popup();
          EXPECT_TRUE(QTest::qWaitForWindowExposed(&list));
          clickItem(list, list.model()->index(0, 0));
          leave(edit);
        });
  tells(new QLineEdit, {"edit QLineEdit"}, [](auto& edit) {
    edit.setFocus();
    QtHost::type(edit, Qt::Key_A);
    QtHost::type(edit, Qt::Key_Return);
  });
}

TEST_F(QtWidgets, WhatTheAppWritesIsNoEdit) {
  tells(new QLineEdit, {"touch QLineEdit", "touch QLineEdit#other"}, [](auto& edit) {
    click(edit);
    edit.setText("by the app");
    leave(edit);
  });
  auto* const edit = new QTextEdit;
  QObject::connect(new QShortcut(Qt::Key_F5, edit), &QShortcut::activated,
                   [edit] { edit->insertPlainText("date"); });
  tells(edit, {"touch QTextEdit", "touch QLineEdit#other"}, typeAndLeave<Qt::Key_F5>);
}

}  // namespace
}  // namespace platform
