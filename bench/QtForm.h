#pragma once

#include <QApplication>
#include <QLabel>
#include <QMouseEvent>
#include <QPushButton>
#include <QVBoxLayout>
#include <QWindow>

#include "bench/BenchHost.h"

namespace bench {

// A form with a button, shown.
class QtForm : public QWidget {
 public:
  QtForm() {
    auto* const rows = new QVBoxLayout(this);
    for (int i = 0; i < 20; ++i) rows->addWidget(new QLabel(QStringLiteral("Row %1").arg(i)));
    rows->addWidget(&button);
    resize(800, 600);
    show();
    QCoreApplication::processEvents();
  }
  // As the window system reports it. Microseconds.
  double mouse(QEvent::Type type) {
    const bool isDown = type == QEvent::MouseButtonPress;
    const QPointF place = button.mapTo(this, button.rect().center());
    QMouseEvent event(type, place, place, Qt::LeftButton, isDown ? Qt::LeftButton : Qt::NoButton, {});
    const auto start = bench::Clock::now();
    QCoreApplication::sendEvent(windowHandle(), &event);
    return bench::secondsSince(start) * 1e6;
  }
  void click() {
    mouse(QEvent::MouseButtonPress);
    mouse(QEvent::MouseButtonRelease);
    QCoreApplication::processEvents();
  }

  QPushButton button{"Save"};
};

}  // namespace bench
