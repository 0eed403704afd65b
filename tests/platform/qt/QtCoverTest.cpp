// What stays out of a window's picture, looked at pixel by pixel.

#include <gtest/gtest.h>

#include <QCalendarWidget>
#include <QComboBox>
#include <QFile>
#include <QGraphicsProxyWidget>
#include <QGraphicsView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QScrollArea>

#include "platform/graphics/BitmapContext.h"
#include "platform/qt/QtProxies.h"
#include "platform/qt/QtTree.h"
#include "platform/uikit/CoveredViews.h"
#include "tests/platform/qt/QtHost.h"

namespace platform {
namespace {

ViewCover coverOf(UIView& view) {
  auto* field = dynamic_cast<UITextField*>(&view);
  if (field && field->hasBeenSecureTextEntry()) return ViewCover::Whole;
  if (view.accessibilityIdentifier() == String("secret")) return ViewCover::Whole;
  return view.accessibilityIdentifier() == String("opaque") ? ViewCover::Inside : ViewCover::None;
}

template <class Widget>
Widget* place(Widget* widget, const QRect& frame, const char* name = "") {
  widget->setGeometry(frame);
  widget->setObjectName(name);
  return widget;
}

class QtCover : public testing::Test {
 protected:
  bool isCovered(int x, int y) {
    QtHost::show(window);
    const auto shown = QtProxies::shared().windowOf(window);
    BitmapContext context(shown->bounds().size, 1, BitmapContext::Backing::Black);
    shown->drawViewHierarchyInRect(shown->bounds(), true, context);
    return context.makeImage()->colorAtPixel(x, y) == CoveredViews::color();
  }

  QtHost host;
  QWidget window;
};

TEST_F(QtCover, KeepsWhatTheRuleNamesAndPasswordsOutOfPictures) {
  window.resize(300, 300);
  auto* const password = place(new QLineEdit("1234", &window), {0, 0, 100, 30});
  password->setEchoMode(QLineEdit::Password);
  auto* const combo = place(new QComboBox(&window), {100, 0, 100, 30});
  combo->setEditable(true);
  combo->lineEdit()->setEchoMode(QLineEdit::Password);
  auto* const hinted = place(new QLineEdit("4111", &window), {200, 0, 100, 30});
  hinted->setInputMethodHints(Qt::ImhSensitiveData);

  auto* const area = place(new QScrollArea(&window), {0, 50, 100, 50}, "opaque");
  area->setWidget(place(new QLabel("inside"), {0, 0, 50, 200}));
  auto* const scene = place(new QGraphicsView(new QGraphicsScene(&window), &window), {0, 150, 100, 100});
  scene->scale(2, 2);
  scene->scene()->setSceneRect(0, 0, 50, 50);
  scene->scene()->addWidget(place(new QLabel("in a scene"), {10, 10, 20, 10}, "secret"));
  // Shown to the user before any picture is taken: one that came with a password, and one that got it later.
  auto* const filled = place(new QLineEdit("1234", &window), {0, 260, 100, 30});
  filled->setEchoMode(QLineEdit::Password);
  auto* const typed = place(new QLineEdit(&window), {100, 260, 100, 30});
  QtHost::show(window);
  typed->setEchoMode(QLineEdit::Password);
  typed->setText("1234");
  QCoreApplication::processEvents();
  filled->setEchoMode(QLineEdit::Normal);
  typed->setEchoMode(QLineEdit::Normal);
  {
    const CoveredViews covered(coverOf);
    for (const auto& [x, y] :
         {std::pair(5, 275), {105, 275}, {5, 15}, {105, 15}, {205, 15}, {20, 75}, {25, 175}, {55, 185}}) {
      EXPECT_TRUE(isCovered(x, y)) << x << ", " << y;
    }
    EXPECT_FALSE(isCovered(60, 75)) << "the area itself";
    EXPECT_FALSE(isCovered(20, 105)) << "no further than the area reaches";
    EXPECT_FALSE(isCovered(65, 185)) << "the scene itself";
    window.setObjectName("secret");
    EXPECT_TRUE(isCovered(290, 290));
  }
  EXPECT_FALSE(isCovered(5, 15)) << "without a rule";
  QFile libraries("/proc/self/maps");
  EXPECT_TRUE(libraries.open(QFile::ReadOnly));
  EXPECT_FALSE(libraries.readAll().contains("libcairo")) << "Qt draws";
}

class OwnProxy final : public QGraphicsProxyWidget {
 public:
  int type() const override { return UserType + 1; }
};

TEST_F(QtCover, KeepsOutWhatAWidgetPaintsItself) {
  window.resize(100, 230);
  auto* const bar = place(new QMenuBar(&window), {0, 200, 100, 30});
  bar->addAction("XXXXXX")->setObjectName("secret");
  place(new QListWidget(&window), {0, 0, 100, 30}, "opaque");
  place(new QPlainTextEdit(&window), {0, 30, 100, 30}, "opaque");
  auto* const scene = place(new QGraphicsView(new QGraphicsScene(&window), &window), {0, 60, 100, 40});
  scene->scene()->setSceneRect(0, 0, 90, 30);
  auto* const proxy = new OwnProxy;
  proxy->setWidget(place(new QLabel("in a scene"), {0, 0, 90, 30}, "secret"));
  scene->scene()->addItem(proxy);
  auto* const asking = place(new QCalendarWidget(&window), {0, 100, 100, 100});
  place(new QLineEdit("1234", asking), {0, 0, 100, 100})->setEchoMode(QLineEdit::Password);
  const CoveredViews covered(coverOf);
  for (const int y : {15, 45, 80, 150}) EXPECT_TRUE(isCovered(50, y)) << y;
  const QPoint entry = bar->actionGeometry(bar->actions().front()).topLeft();
  EXPECT_TRUE(isCovered(entry.x() + 2, 200 + entry.y() + 2));
}

}  // namespace
}  // namespace platform
