#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QComboBox>
#include <QDialog>
#include <QLabel>
#include <QMainWindow>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QSlider>
#include <QTableWidget>
#include <QTimer>
#include <QToolButton>
#include <stdexcept>
#include <thread>

#include "platform/dispatch/Scheduler.h"
#include "platform/qt/QtGuard.h"
#include "platform/uikit/UIAlertController.h"
#include "platform/uikit/UIGestureRecognizer.h"
#include "tests/platform/qt/QtHost.h"
#include "tests/platform/qt/Touching.h"

namespace platform {
namespace {

using testing::ElementsAre;
using Lines = QtHost::Lines;

// What the app's slot does, which it has connected before anybody looked.
enum class Slot { DoesNothing, ProcessesEvents, OpensADialog, DeletesTheSender };

template <class Sender, class Signal>
void connect(Sender* sender, Signal signal, Slot slot) {
  QObject::connect(sender, signal, sender, [sender, slot] {
    QtHost::lines().push_back("slot");
    if (slot == Slot::DeletesTheSender) delete sender;
    if (slot == Slot::ProcessesEvents) QCoreApplication::processEvents();
    if (slot != Slot::OpensADialog) return;
    QDialog dialog;
    QTimer::singleShot(0, &dialog, [&dialog] {
      QtHost::lines().push_back("dialog");
      dialog.accept();
    });
    dialog.exec();
  });
}

template <class Widget>
Widget& in(QMainWindow& window) {
  auto* const widget = new Widget(&window);
  window.setCentralWidget(widget);
  return *widget;
}

template <class Widget>
Widget& of(QMainWindow& window) {
  return *window.findChild<Widget*>();
}

void waitForSlot() {
  EXPECT_TRUE(QTest::qWaitFor([] { return std::ranges::count(QtHost::lines(), "slot") > 0; }));
}

QAction& makeEntry(QMainWindow& window, Slot slot) {
  auto* const entry = new QAction("&Open", &window);
  entry->setShortcut(QKeySequence("Ctrl+O"));
  connect(entry, &QAction::triggered, slot);
  window.menuBar()->addMenu("&File")->addAction(entry);
  return *entry;
}

void openMenu(QMainWindow& window) {
  const QMenuBar& bar = *window.menuBar();
  QtHost::click(*window.menuBar(), bar.actionGeometry(bar.actions().front()).center());
}

QMenu& menuOf(QMainWindow& window) { return *window.menuBar()->actions().front()->menu<QMenu*>(); }

struct Row {
  const char* name;
  void (*make)(QMainWindow& window, Slot slot);
  void (*use)(QMainWindow& window);
  Lines told;
};

const Row kRows[] = {
    {"Button",
     [](QMainWindow& window, Slot slot) { connect(&in<QPushButton>(window), &QPushButton::clicked, slot); },
     [](QMainWindow& window) { QtHost::click(of<QPushButton>(window)); },
     {"touch QPushButton", "action clicked of QPushButton"}},
    {"ButtonByShortcut",
     [](QMainWindow& window, Slot slot) {
       auto& button = in<QPushButton>(window);
       button.setText("&Go");
       connect(&button, &QPushButton::clicked, slot);
     },
     [](QMainWindow& window) {
       QtHost::type(window, Qt::Key_G, Qt::AltModifier);
       waitForSlot();
     },
     {"touch QPushButton 'Go'", "action clicked of QPushButton"}},
    {"ToolButton",
     [](QMainWindow& window, Slot slot) {
       auto& button = in<QToolButton>(window);
       auto* const action = new QAction("Bold", &window);
       connect(action, &QAction::triggered, slot);
       button.setDefaultAction(action);
     },
     [](QMainWindow& window) { QtHost::click(of<QToolButton>(window)); },
     {"touch QToolButton 'Bold'", "action triggered of QToolButton"}},
    {"Entry",
     [](QMainWindow& window, Slot slot) { makeEntry(window, slot); },
     [](QMainWindow& window) {
       openMenu(window);
       QMenu& menu = menuOf(window);
       QtHost::click(menu, menu.actionGeometry(menu.actions().front()).center());
     },
     {"touch QAction 'File'", "touch QAction 'Open'", "action triggered of QAction"}},
    {"EntryByKey",
     [](QMainWindow& window, Slot slot) { makeEntry(window, slot); },
     [](QMainWindow& window) {
       openMenu(window);
       QtHost::type(menuOf(window), Qt::Key_O);
     },
     {"touch QAction 'File'", "touch QAction 'Open'", "action triggered of QAction"}},
    {"EntryByShortcut",
     [](QMainWindow& window, Slot slot) { makeEntry(window, slot); },
     [](QMainWindow& window) { QtHost::type(window, Qt::Key_O, Qt::ControlModifier); },
     {"touch QAction 'Open'", "action triggered of QAction"}},
    {"ComboBox",
     [](QMainWindow& window, Slot slot) {
       auto& box = in<QComboBox>(window);
       box.addItems({"One", "Two"});
       connect(&box, &QComboBox::activated, slot);
     },
     [](QMainWindow& window) {
       auto& box = of<QComboBox>(window);
       box.showPopup();
       QtHost::type(*box.view(), Qt::Key_Down);
       QtHost::type(*box.view(), Qt::Key_Return);
     },
     {"touch QComboBox 'Two'", "action activated of QComboBox"}},
    {"Table",
     [](QMainWindow& window, Slot slot) {
       auto& table = in<QTableWidget>(window);
       table.setColumnCount(1);
       table.setRowCount(1);
       table.setEditTriggers({});
       connect(&table, &QTableWidget::activated, slot);
     },
     [](QMainWindow& window) {
       auto& table = of<QTableWidget>(window);
       const QPoint place = table.visualRect(table.model()->index(0, 0)).center();
       QTest::mouseDClick(window.windowHandle(), Qt::LeftButton, {}, table.viewport()->mapTo(&window, place));
     },
     {"touch QModelIndex '****'", "touch QModelIndex '****'", "action activated of QTableWidget"}},
    {"Link",
     [](QMainWindow& window, Slot slot) {
       auto& label = in<QLabel>(window);
       label.setText("<a href='x'>XXXXXXXXXX</a>");
       connect(&label, &QLabel::linkActivated, slot);
     },
     [](QMainWindow& window) {
       auto& label = of<QLabel>(window);
       QtHost::click(label, {15, label.height() / 2});
     },
     {"touch QLabel 'XXXXXXXXXX'", "action linkActivated of QLabel"}},
    {"Slider",
     [](QMainWindow& window, Slot slot) { connect(&in<QSlider>(window), &QSlider::sliderReleased, slot); },
     [](QMainWindow& window) {
       auto& slider = of<QSlider>(window);
       QtHost::click(slider, {slider.width() / 2, slider.height() - 5});
     },
     {"touch QSlider", "action sliderReleased of QSlider"}},
};

class QtActions : public testing::TestWithParam<Row> {
 protected:
  Lines toldWhen(Slot slot) {
    QMainWindow window;
    GetParam().make(window, slot);
    QtHost::show(window);
    host.take();
    GetParam().use(window);
    Lines told = host.take();
    EXPECT_EQ(std::erase(told, "slot"), 1);
    return told;
  }
  QtHost host;
};

TEST_P(QtActions, AreToldOnce) { EXPECT_EQ(toldWhen(Slot::DoesNothing), GetParam().told); }

TEST_P(QtActions, AreToldOnceWhenTheirSlotProcessesEvents) {
  EXPECT_EQ(toldWhen(Slot::ProcessesEvents), GetParam().told);
}

TEST_P(QtActions, AreToldBeforeTheDialogThatTheyOpen) {
  Lines told = GetParam().told;
  told.push_back("dialog");
  EXPECT_EQ(toldWhen(Slot::OpensADialog), told);
}

INSTANTIATE_TEST_SUITE_P(Table, QtActions, testing::ValuesIn(kRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(QtSenders, MayBeDeletedByTheirSlot) {
  QtHost host;
  for (const int row : {0, 3, 5}) {
    QMainWindow window;
    kRows[row].make(window, Slot::DeletesTheSender);
    QtHost::show(window);
    host.take();
    kRows[row].use(window);
    Lines told = host.take();
    EXPECT_EQ(std::erase(told, "slot"), 1);
    EXPECT_EQ(told, kRows[row].told) << kRows[row].name;
  }
}

// The box that asks about pairing is none of the app's: no screen, nothing told of it. Somebody answers, how
// ever it goes.
TEST(QtAlerts, AreAnsweredOnceHoweverTheyGoAndTellNothing) {
  using Use = void (*)(QMessageBox & box, QWidget * &window);
  constexpr Use kAccept = [](QMessageBox& box, QWidget*&) { QtHost::click(*box.defaultButton()); };
  constexpr Use kEscape = [](QMessageBox& box, QWidget*&) { QtHost::type(box, Qt::Key_Escape); };
  constexpr Use kClose = [](QMessageBox& box, QWidget*&) { box.close(); };
  constexpr Use kEnd = [](QMessageBox&, QWidget*& window) { delete std::exchange(window, nullptr); };
  QtHost host;
  const auto under = UIWindow::create();
  under->setRootViewController(std::make_shared<UIViewController>());
  under->makeKeyAndVisible();
  const std::pair<Use, const char*> rows[] = {
      {kAccept, "Yes"}, {kEscape, "No"}, {kClose, "No"}, {kEnd, "No"}};
  for (const auto& [use, answer] : rows) {
    QWidget* window = new QMainWindow;
    QtHost::show(*window);
    host.take();
    std::string given;
    const auto alert = std::make_shared<UIAlertController>("Pair?", "With whom?");
    for (const char* title : {"No", "Yes"}) {
      alert->addAction(
          std::make_shared<UIAlertAction>(title, UIAlertAction::Style::Default, [&](auto& chosen) {
            given += chosen.title().str();
            throw std::runtime_error("What is thrown does not get into Qt.");
          }));
    }
    alert->setPreferredAction(alert->actions().back());
    under->rootViewController()->presentViewController(alert, false);
    EXPECT_TRUE(QTest::qWaitFor([&] { return window->findChild<QMessageBox*>() != nullptr; }));
    auto* const box = window->findChild<QMessageBox*>();
    QtHost::show(*box);
    use(*box, window);
    EXPECT_TRUE(QTest::qWaitFor([&] { return !given.empty(); }));
    EXPECT_EQ(given, answer);
    Lines told = host.take();
    std::erase_if(told, [](const std::string& line) {
      return !line.starts_with("touch") && !line.starts_with("action");
    });
    EXPECT_THAT(told, ElementsAre());
    delete window;
  }
}

TEST(QtGuard, LetsAThreadEndItself) {
  bool hasGoneOn = false;
  std::jthread([&] {
    guardedFromQt([] { pthread_exit(nullptr); });
    hasGoneOn = true;
  }).join();
  EXPECT_FALSE(hasGoneOn);
}

// Filters that are installed later come first.
TEST(QtEvents, AreSeenThoughTheAppKeepsThemToItself) {
  class Keeping final : public QObject {
    bool eventFilter(QObject* watched, QEvent* event) override {
      return watched->isWidgetType() && event->type() == QEvent::MouseButtonPress;
    }
  } keeping;
  QtHost host;
  qApp->installEventFilter(&keeping);
  QPushButton button("Go");
  QtHost::show(button);
  host.take();
  QtHost::click(button);
  EXPECT_THAT(host.take(), ElementsAre("touch QPushButton 'Go'"));
}

TEST(QtEvents, TellThatTheProgramOrTheSessionEnds) {
  QtHost host;
  int manager = 0;  // which nobody looks at
  QMetaObject::invokeMethod(qGuiApp, "commitDataRequest", QGenericArgument("QSessionManager&", &manager));
  EXPECT_THAT(host.take(), ElementsAre("quits"));
  QTimer::singleShot(0, qApp, &QCoreApplication::quit);
  QCoreApplication::exec();
  EXPECT_THAT(host.take(), ElementsAre("quits"));
}

TEST(QtGestures, AreRecognisersOfWhoAskedForThem) {
  QtHost host;
  static std::vector<std::string> ended;
  UIGestureRecognizer::setStateMethod.replace(
      UIGestureRecognizer::classObject(), [](UIGestureRecognizer& self, SEL, UIGestureRecognizerState state) {
        EXPECT_EQ(state, UIGestureRecognizerState::Ended);
        ended.push_back(self.isa().name() + " on " + self.view()->isa().name());
      });
  const Qt::GestureType type = QGestureRecognizer::registerRecognizer(new Touching);
  QMainWindow window;
  in<QLabel>(window).grabGesture(type);
  window.grabGesture(type);
  QtHost::show(window);
  QtHost::click(of<QLabel>(window));
  QCoreApplication::processEvents();
  EXPECT_THAT(ended, ElementsAre("QSwipeGesture on QMainWindow", "QSwipeGesture on QLabel"));
}

TEST(QtApplications, MayFollowOneAnother) {
  QtHost host;
  bool hasRun = false;
  QCoreApplication::quit();
  QCoreApplication::processEvents();
  host.endApplication();
  std::jthread([&] { Scheduler::current().mainRunLoop().perform([&] { hasRun = true; }); }).join();
  host.beginApplication();
  EXPECT_TRUE(QTest::qWaitFor([&] { return hasRun; }));
  QPushButton button("Go");
  QtHost::show(button);
  QtHost::click(button);
  EXPECT_THAT(host.take(), ElementsAre("appear QPushButton ''", "touch QPushButton 'Go'",
                                       "action clicked of QPushButton"));
}

}  // namespace
}  // namespace platform
