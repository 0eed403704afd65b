// What arrives of the kinds of widgets that no program of the other tests has.

#include <Kova/Kova.h>
#include <gmock/gmock.h>

#include <QComboBox>
#include <QGraphicsTextItem>
#include <QGraphicsView>
#include <QHeaderView>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QSlider>
#include <QTableWidget>
#include <QToolButton>
#include <QVBoxLayout>

#include "tests/platform/qt/Touching.h"
#include "tests/qt/KovaQtHost.h"

namespace {

using Lines = std::vector<std::string>;

// "touch QLabel#hint 'Read on' <label> linkActivated"
std::string lineOf(const QJsonObject& touch) {
  const auto part = [&](const char* name, const char* before, const char* after) {
    const std::string text = touch[QLatin1String(name)].toString().toStdString();
    return text.empty() ? "" : before + text + after;
  };
  return part("type", "", " ") + part("targetView", "", "") + part("targetA11yId", "#", "") +
         part("targetText", " '", "'") + part("targetA11yLabel", " <", ">") + part("targetSelector", " ", "");
}

Lines linesIn(const HttpServer& server) {
  Lines lines;
  for (const HttpRequest& request : server.requests()) {
    const QJsonDocument body = QJsonDocument::fromJson(QByteArray::fromStdString(request.body));
    for (const auto& message : body["messages"].toArray()) {
      const QJsonObject touch = message.toObject()["event"].toObject()["touchEvent"].toObject();
      if (!touch.isEmpty()) lines.push_back(lineOf(touch));
    }
  }
  return lines;
}

class WireTest : public KovaQtTest {
 protected:
  template <class Widget>
  Widget& add(const char* name) {
    auto* const widget = new Widget;
    widget->setObjectName(name);
    layout->addWidget(widget);
    return *widget;
  }
  void start() {
    KovaQt::start("11", options);
    window.show();
    EXPECT_TRUE(QTest::qWaitForWindowActive(&window));
  }
  void click(QWidget& widget, QPoint position = {-1, -1}) {
    if (position.x() < 0) position = widget.rect().center();
    QTest::mouseClick(window.windowHandle(), Qt::LeftButton, {}, widget.mapTo(&window, position));
    QCoreApplication::processEvents();
  }
  Lines arrived() {
    EXPECT_TRUE(Kova::flush(30).isSent);
    return linesIn(server);
  }

  QWidget window;
  QVBoxLayout* const layout = new QVBoxLayout(&window);
};

TEST_F(WireTest, OfWidgets) {
  auto& table = add<QTableWidget>("people");
  table.setColumnCount(1);
  table.setHorizontalHeaderLabels({"Name"});
  table.setRowCount(1);
  table.setItem(0, 0, new QTableWidgetItem("Ada"));
  auto& scene = add<QGraphicsView>("board");
  scene.setScene(new QGraphicsScene(0, 0, 50, 50, &scene));
  auto* const piece = scene.scene()->addText("XXXXXXXX");
  piece->setObjectName("king");
  auto& box = add<QComboBox>("size");
  box.addItems({"Small", "Large"});
  auto& label = add<QLabel>("hint");
  label.setText("<a href='x'>XXXXXXXXXX</a>");
  auto& slider = add<QSlider>("volume");
  auto& icon = add<QToolButton>("bold");
  icon.setToolTip("<b>Bold</b>");
  auto& password = add<QLineEdit>("password");
  password.setEchoMode(QLineEdit::Password);
  start();

  click(*table.viewport(), table.visualItemRect(table.item(0, 0)).center());
  click(*table.horizontalHeader()->viewport(), {5, 5});
  click(*scene.viewport(), scene.mapFromScene(piece->sceneBoundingRect().center()));
  box.setFocus();
  QTest::keyClick(window.windowHandle(), Qt::Key_Down);
  click(label, {15, label.height() / 2});
  click(slider, {slider.width() / 2, slider.height() - 5});
  click(icon);
  click(password);
  QTest::keyClick(window.windowHandle(), Qt::Key_A);
  QTest::keyClick(window.windowHandle(), Qt::Key_Return);
  EXPECT_THAT(arrived(), testing::UnorderedElementsAre(
                             "touch QModelIndex '****' <****>", "touch QModelIndex 'Name' <Name>",
                             "touch QGraphicsTextItem#king", "touch QComboBox#size 'Large' activated",
                             "touch QLabel#hint 'XXXXXXXXXX' linkActivated",
                             "touch QSlider#volume sliderReleased", "touch QToolButton#bold <Bold> clicked",
                             "touch QLineEdit#password", "fieldedit QLineEdit#password"));
}

TEST_F(WireTest, OfGesturesThatAreAskedFor) {
  const Qt::GestureType type = QGestureRecognizer::registerRecognizer(new Touching);
  auto& label = add<QLabel>("picture");
  label.grabGesture(type);
  options.enableGestureAutocapture = true;
  start();
  click(label);
  EXPECT_THAT(arrived(),
              testing::UnorderedElementsAre("touch QLabel#picture", "QSwipeGesture QLabel#picture"));
}

}  // namespace
