#pragma once

#include <QEvent>
#include <QGesture>
#include <QGestureRecognizer>

// A gesture that ends with the release of a button.
class Touching final : public QGestureRecognizer {
  QGesture* create(QObject*) override { return new QSwipeGesture; }
  Result recognize(QGesture*, QObject*, QEvent* event) override {
    if (event->type() == QEvent::MouseButtonPress) return TriggerGesture;
    return event->type() == QEvent::MouseButtonRelease ? FinishGesture : Ignore;
  }
};
