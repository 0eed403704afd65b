// What arrives of the kinds of widgets that no program of the other tests has.

#include <Kova/Kova.h>
#include <gmock/gmock.h>

#include <QColorDialog>
#include <QDial>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QGroupBox>
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
    showWindow();
  }
  void click(QWidget& widget, QPoint position = {-1, -1}) {
    if (position.x() < 0) position = widget.rect().center();
    QTest::mouseClick(window->windowHandle(), Qt::LeftButton, {}, widget.mapTo(&*window, position));
    QCoreApplication::processEvents();
  }
  Lines arrived() {
    EXPECT_TRUE(Kova::flush(30).isSent);
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

  QVBoxLayout* const layout = new QVBoxLayout(&*window);
};

TEST_F(WireTest, OfWidgets) {
  auto& table = add<QTableWidget>("people");
  table.setColumnCount(1);
  table.setRowCount(1);
  table.setItem(0, 0, new QTableWidgetItem("Ada"));
  auto& label = add<QLabel>("hint");
  label.setText("<a href='x'>XXXXXXXXXX</a>");
  add<QGroupBox>("paper").setTitle("&Paper");
  add<QToolButton>("bold").setToolTip("<b>Bold</b>");
  add<QLineEdit>("password").setEchoMode(QLineEdit::Password);
  add<QOpenGLWidget>("model").setMinimumSize(50, 50);
  auto* const inside = new QLabel("inside", window->findChild<QOpenGLWidget*>());
  inside->resize(50, 50);
  const Qt::GestureType type = QGestureRecognizer::registerRecognizer(new Touching);
  add<QDial>("turn").grabGesture(type);
  options.enableGestureAutocapture = true;
  start();

  click(*table.viewport(), table.visualItemRect(table.item(0, 0)).center());
  click(label, {15, label.height() / 2});
  for (const char* name : {"paper", "bold", "model", "turn", "password"}) {
    click(*window->findChild<QWidget*>(name));
  }
  for (const Qt::Key key : {Qt::Key_A, Qt::Key_Return}) QTest::keyClick(window->windowHandle(), key);
  EXPECT_THAT(arrived(),
              testing::UnorderedElementsAre(
                  "touch QModelIndex '****' <****>", "touch QLabel#hint 'XXXXXXXXXX' linkActivated",
                  "touch QGroupBox#paper <Paper>", "touch QToolButton#bold <Bold> clicked",
                  "touch QOpenGLWidget#model", "touch QDial#turn sliderReleased", "QSwipeGesture QDial#turn",
                  "touch QLineEdit#password", "fieldedit QLineEdit#password"));
}

// Those that show the user's files, printers and pages tell no texts.
TEST_F(WireTest, OfToolWindowsThatAreScreensAndDialogsOfQt) {
  QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
  start();
  QWidget palette(&*window, Qt::Tool);
  palette.setProperty("kovaScreen", "Palette");
  palette.setWindowTitle("Colours");
  palette.show();
  QCoreApplication::processEvents();
  QColorDialog colour(&*window);
  QInputDialog name(&*window);
  QFileDialog file(&*window, "Open");
  QPrintDialog print(&*window);
  QPageSetupDialog page(&*window);
  QPrintPreviewDialog preview(&*window);
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
  for (const char* screen :
       {"QColorDialog", "QInputDialog", "QFileDialog 'Open'", "QPrintPreviewDialog", "Palette 'Colours'"}) {
    EXPECT_THAT(screensIn(server), testing::Contains(testing::StartsWith(screen)));
  }
}

}  // namespace

#include <KovaQtWireTest.moc>
