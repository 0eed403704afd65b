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
#include <QWindow>
#include <stdexcept>
#include <thread>
#include <vector>

#include "platform/dispatch/Scheduler.h"
#include "platform/qt/QtGuard.h"
#include "platform/uikit/UIAlertController.h"
#include "platform/uikit/UIGestureRecognizer.h"
#include "platform/uikit/UIWindow.h"
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

QMenu& openMenu(QAction& entry) {
  QMenuBar& bar = *static_cast<QMainWindow*>(entry.parent())->menuBar();
  QtHost::click(bar, bar.actionGeometry(bar.actions().front()).center());
  return *bar.actions().front()->menu<QMenu*>();
}

QAction* makeEntry(QMainWindow& window, Slot slot) {
  auto* const entry = new QAction("&Open...", &window);
  entry->setObjectName("actionOpen");
  entry->setShortcut(QKeySequence("Ctrl+O"));
  connect(entry, &QAction::triggered, slot);
  window.menuBar()->addMenu("&File")->addAction(entry);
  return entry;
}

// A button whose base has itself polished in its constructor: Qt does so again when the object is whole.
class PolishedByItsBase : public QPushButton {
 public:
  explicit PolishedByItsBase(QWidget* parent) : QPushButton(parent) {
    ensurePolished();
    isWhole_ = true;
  }
  const QMetaObject* metaObject() const override {
    static const QMetaObject whole = [] {
      QMetaObject made = QPushButton::staticMetaObject;
      made.d.superdata = &QPushButton::staticMetaObject;
      return made;
    }();
    return isWhole_ ? &whole : &QPushButton::staticMetaObject;
  }

 private:
  bool isWhole_ = false;
};

class QtActions : public testing::Test {
 protected:
  // What is told of the sender that is made, when it is used, however the slot behaves.
  template <class Make, class Use>
  void tells(const Lines& told, Make make, Use use, bool mayBeDeleted = false) {
    std::vector<Slot> kinds = {Slot::DoesNothing, Slot::ProcessesEvents, Slot::OpensADialog};
    if (mayBeDeleted) kinds.push_back(Slot::DeletesTheSender);
    for (const Slot slot : kinds) {
      SCOPED_TRACE(told.front() + ", slot " + std::to_string(int(slot)));
      QMainWindow window;
      auto* const sender = make(window, slot);
      QtHost::show(window);
      host.take();
      use(*sender);
      EXPECT_TRUE(QTest::qWaitFor([] { return std::ranges::count(QtHost::lines(), "slot") > 0; }));
      Lines lines = host.take(), expected = told;
      EXPECT_EQ(std::erase(lines, "slot"), 1);
      if (slot == Slot::OpensADialog) expected.push_back("dialog");
      EXPECT_EQ(lines, expected);
    }
  }

  QtHost host;
};

TEST_F(QtActions, OfButtonsAreToldOnceAndBeforeWhatTheirSlotDoes) {
  const auto make = [](QMainWindow& window, Slot slot) {
    auto& button = in<PolishedByItsBase>(window);
    button.setText("&Go");
    connect(&button, &QPushButton::clicked, slot);
    return &button;
  };
  const Lines told = {"touch QPushButton 'Go'", "action clicked of QPushButton"};
  const auto click = [](auto& button) { QtHost::click(button); };
  tells(told, make, click, true);
  tells(told, make, [](auto& button) { QtHost::type(*button.window(), Qt::Key_G, Qt::AltModifier); });
  const auto makeTool = [](QMainWindow& window, Slot slot) {
    auto& button = in<QToolButton>(window);
    auto* const action = new QAction("&Bold\tCtrl+B", &button);
    action->setObjectName("actionBold");
    connect(action, &QAction::triggered, slot);
    button.setDefaultAction(action);
    return action;
  };
  tells({"touch QToolButton#actionBold 'Bold'", "action triggered of QToolButton"}, makeTool,
        [](auto& action) { QtHost::click(*static_cast<QWidget*>(action.parent())); });
}

TEST_F(QtActions, OfEntriesAreToldOnceAndBeforeWhatTheirSlotDoes) {
  const Lines told = {"touch QAction 'File'", "touch QAction#actionOpen 'Open...'",
                      "action triggered of QAction"};
  const auto click = [](QAction& entry) {
    QMenu& menu = openMenu(entry);
    QtHost::click(menu, menu.actionGeometry(&entry).center());
  };
  tells(told, makeEntry, click, true);
  tells(told, makeEntry, [](QAction& entry) { QtHost::type(openMenu(entry), Qt::Key_O); });
  const auto type = [](QAction& entry) {
    QtHost::type(*static_cast<QWidget*>(entry.parent()), Qt::Key_O, Qt::ControlModifier);
  };
  tells({told.begin() + 1, told.end()}, makeEntry, type, true);
}

TEST_F(QtActions, OfOtherWidgetsAreToldOnceAndBeforeWhatTheirSlotDoes) {
  const auto makeBox = [](QMainWindow& window, Slot slot) {
    auto& box = in<QComboBox>(window);
    box.addItems({"One", "Two"});
    connect(&box, &QComboBox::activated, slot);
    return &box;
  };
  tells({"touch QComboBox 'Two'", "action activated of QComboBox"}, makeBox, [](auto& box) {
    box.showPopup();
    for (const Qt::Key key : {Qt::Key_Down, Qt::Key_Return}) QtHost::type(*box.view(), key);
  });
  const auto makeTable = [](QMainWindow& window, Slot slot) {
    auto& table = in<QTableWidget>(window);
    table.setColumnCount(1);
    table.setRowCount(1);
    table.setEditTriggers({});
    connect(&table, &QTableWidget::activated, slot);
    return &table;
  };
  tells({"touch QModelIndex '****'", "touch QModelIndex '****'", "action activated of QTableWidget"},
        makeTable, [](auto& table) {
          const QPoint cell = table.visualRect(table.model()->index(0, 0)).center();
          QTest::mouseDClick(table.window()->windowHandle(), Qt::LeftButton, {},
                             table.viewport()->mapTo(table.window(), cell));
        });
  const auto makeLink = [](QMainWindow& window, Slot slot) {
    auto& label = in<QLabel>(window);
    label.setText("<a href='x'>XXXXXXXXXX</a>");
    connect(&label, &QLabel::linkActivated, slot);
    return &label;
  };
  tells({"touch QLabel 'XXXXXXXXXX'", "action linkActivated of QLabel"}, makeLink, [](auto& label) {
    QtHost::click(label, {15, label.height() / 2});
  });
  const auto makeSlider = [](QMainWindow& window, Slot slot) {
    auto& slider = in<QSlider>(window);
    connect(&slider, &QSlider::sliderReleased, slot);
    return &slider;
  };
  tells({"touch QSlider", "action sliderReleased of QSlider"}, makeSlider, [](auto& slider) {
    QtHost::click(slider, {slider.width() / 2, slider.height() - 5});
  });
}

// The box that asks about pairing is none of the app's: no screen, nothing told of it. Somebody answers, how
// ever it goes.
TEST(QtAlerts, AreAnsweredOnceHoweverTheyGoAndTellNothing) {
  QtHost host;
  const auto under = UIWindow::create();
  under->setRootViewController(std::make_shared<UIViewController>());
  under->makeKeyAndVisible();
  const std::pair<void (*)(QMessageBox&, QWidget*&), const char*> rows[] = {
      {[](auto& box, auto&) { QtHost::click(*box.defaultButton()); }, "Yes"},
      {[](auto& box, auto&) { QtHost::type(box, Qt::Key_Escape); }, "No"},
      {[](auto& box, auto&) { box.close(); }, "No"},
      {[](auto&, auto& window) { delete std::exchange(window, nullptr); }, "No"}};
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
    EXPECT_THAT(host.take(), ElementsAre("appear UIAlertController 'Pair?'"));
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

// Which a widget of Qt Quick does that shows a scene.
TEST(QtEvents, TellAPressOnceThoughItIsHandedToAWindowThatNobodySees) {
  class HandingOn final : public QLabel {
   public:
    using QLabel::QLabel;

   private:
    void mousePressEvent(QMouseEvent* event) override {
      QCoreApplication::sendEvent(&unseen_, event);
      event->ignore();
    }
    QWindow unseen_;
  };
  QtHost host;
  QMainWindow window;
  auto& label = in<HandingOn>(window);
  QtHost::show(window);
  host.take();
  QtHost::click(label);
  EXPECT_THAT(host.take(), ElementsAre("touch QLabel"));
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
  auto& label = in<QLabel>(window);
  label.grabGesture(type);
  window.grabGesture(type);
  QtHost::show(window);
  QtHost::click(label);
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
