// What arrives of the kinds of widgets that no program of the other tests has.

#include <Kova/Kova.h>
#include <gmock/gmock.h>

#include <QCalendarWidget>
#include <QColorDialog>
#include <QComboBox>
#include <QDial>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QGraphicsTextItem>
#include <QGraphicsView>
#include <QGroupBox>
#include <QHeaderView>
#include <QInputDialog>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QPageSetupDialog>
#include <QPrintDialog>
#include <QPrintPreviewDialog>
#include <QPushButton>
#include <QSlider>
#include <QTableWidget>
#include <QToolButton>
#include <QUrlQuery>
#include <QVBoxLayout>

#include "tests/platform/qt/Touching.h"
#include "tests/qt/KovaQtHost.h"

// Stands for the one of a library that is not linked: it is known by its name.
class QOpenGLWidget : public QWidget {
  Q_OBJECT
};

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

// "QFileDialog 'Open'", in the order in which they came.
Lines screensIn(const HttpServer& server) {
  Lines screens;
  for (const HttpRequest& request : server.requests()) {
    const QUrlQuery query(QUrl(QString::fromStdString(request.target)));
    const auto part = [&](const char* name) {
      return query.queryItemValue(QLatin1String(name), QUrl::FullyDecoded).toStdString();
    };
    if (query.hasQueryItem("h")) screens.push_back(part("h") + " '" + part("t") + "'");
  }
  return screens;
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

TEST_F(WireTest, OfWidgetsThatPaintThemselves) {
  add<QDial>("turn");
  add<QCalendarWidget>("day");
  add<QOpenGLWidget>("model").setMinimumSize(50, 50);
  add<QGroupBox>("paper").setTitle("&Paper");
  auto* const inside = new QLabel("inside", window.findChild<QOpenGLWidget*>());
  inside->resize(50, 50);
  start();
  for (const char* name : {"turn", "day", "model", "paper"}) click(*window.findChild<QWidget*>(name));
  EXPECT_THAT(arrived(),
              testing::UnorderedElementsAre("touch QDial#turn sliderReleased", "touch QCalendarWidget#day",
                                            "touch QOpenGLWidget#model", "touch QGroupBox#paper <Paper>"));
}

// Those that show the user's files, printers and pages tell no texts.
TEST_F(WireTest, OfDialogsOfQt) {
  QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
  start();
  QColorDialog colour(&window);
  QInputDialog name(&window);
  QFileDialog file(&window, "Open");
  QPrintDialog print(&window);
  QPageSetupDialog page(&window);
  QPrintPreviewDialog preview(&window);
  for (QDialog* const dialog : std::initializer_list<QDialog*>{&colour, &name, &file, &print, &page}) {
    dialog->show();
    EXPECT_TRUE(QTest::qWaitForWindowActive(dialog));
    QCoreApplication::processEvents();
    auto* const button = dialog->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Cancel);
    button->setText("Leave");
    QTest::mousePress(dialog->windowHandle(), Qt::LeftButton, {},
                      button->mapTo(dialog, button->rect().center()));
    QTest::mouseRelease(dialog->windowHandle(), Qt::LeftButton, {}, {-1, -1});  // which is no click
    dialog->hide();
    QCoreApplication::processEvents();
  }
  preview.show();
  EXPECT_TRUE(QTest::qWaitForWindowActive(&preview));
  QCoreApplication::processEvents();
  const std::string told = "touch QPushButton 'Leave' <Leave>", redacted = "touch QPushButton '****' <****>";
  EXPECT_THAT(arrived(), testing::UnorderedElementsAre(told, told, redacted, redacted, redacted));
  for (const char* screen : {"QColorDialog", "QInputDialog", "QFileDialog 'Open'", "QPrintPreviewDialog"}) {
    EXPECT_THAT(screensIn(server), testing::Contains(testing::StartsWith(screen)));
  }
}

TEST_F(WireTest, OfToolWindowsThatAreSaidToBeScreens) {
  QWidget silent(&window, Qt::Tool), palette(&window, Qt::Tool);
  palette.setProperty("kovaScreen", "Palette");
  palette.setWindowTitle("Colours");
  silent.setWindowTitle("Silent");
  start();
  silent.show();
  palette.show();
  QCoreApplication::processEvents();
  arrived();
  EXPECT_THAT(screensIn(server), testing::Contains("Palette 'Colours'"));
  EXPECT_THAT(screensIn(server), testing::Not(testing::Contains("QWidget 'Silent'")));
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

#include <KovaQtWireTest.moc>
