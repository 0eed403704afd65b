#include "platform/qt/QtGestures.h"

#include <QGestureEvent>
#include <QWidget>
#include <utility>

#include "platform/qt/QtClasses.h"
#include "platform/qt/QtProxies.h"
#include "platform/qt/QtTree.h"
#include "platform/uikit/UIGestureRecognizer.h"

namespace platform {

namespace {

class QtRecognizer final : public UIGestureRecognizer {
 public:
  QtRecognizer(std::shared_ptr<UIView> view, const Class& cls) : view_(std::move(view)), class_(cls) {}

  const Class& isa() const noexcept override { return class_; }
  std::shared_ptr<UIView> view() const override { return view_; }

 private:
  const std::shared_ptr<UIView> view_;
  const Class& class_;
};

}  // namespace

QtGestures& QtGestures::shared() {
  static QtGestures& gestures = *new QtGestures;
  return gestures;
}

void QtGestures::comes(QWidget& widget, QGestureEvent& event) {
  if (isOwn(widget)) return;
  for (const QGesture* const gesture : event.gestures()) {
    if (gesture->state() != Qt::GestureFinished || std::exchange(told_, gesture) == gesture) continue;
    forgetting_.ask();
    const Class& cls =
        classOf(*gesture->metaObject(), UIGestureRecognizer::classObject(), typeid(QtRecognizer));
    const auto view = QtProxies::shared().viewOf(shownWidget(widget));
    std::make_shared<QtRecognizer>(view, cls)->setState(UIGestureRecognizerState::Ended);
  }
}

}  // namespace platform
