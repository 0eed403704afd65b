#include "platform/qt/QtView.h"

#include <QAction>
#include <QTabBar>
#include <QToolButton>

#include "platform/qt/QtClasses.h"
#include "platform/qt/QtItems.h"
#include "platform/qt/QtProxies.h"
#include "platform/qt/QtText.h"
#include "platform/qt/QtTree.h"
#include "platform/qt/QtWidgetKinds.h"
#include "platform/uikit/UIButton.h"
#include "platform/uikit/UISegmentedControl.h"
#include "platform/uikit/UITextField.h"

namespace platform {

namespace qtview {

CGRect frame(const QWidget* widget) {
  if (!widget) return {};
  const CGRect place = frameOf(*widget);
  // The place of a window is that of the window; its view fills it.
  return isScreenWindow(*widget) ? CGRect{{}, place.size} : place;
}

UIView* superview(const QWidget* widget) {
  if (!widget) return nullptr;
  if (isScreenWindow(*widget)) {
    return QtProxies::shared().windowOf(const_cast<QWidget&>(*widget)).get();
  }
  QWidget* const around = shownParent(*widget);
  return around ? QtProxies::shared().viewOf(*around).get() : nullptr;
}

UIView::Subviews subviews(const QWidget* widget) {
  UIView::Subviews views;
  if (!widget) return views;
  for (QWidget* child : shownChildren(*widget)) views.push_back(QtProxies::shared().viewOf(*child));
  return views;
}

UIWindow* window(QWidget* widget) {
  QWidget* const around = widget ? windowAround(*widget) : nullptr;
  return around ? QtProxies::shared().windowOf(*around).get() : nullptr;
}

// A dock that floated was a window, and is none any more.
UIResponder* nextResponder(QWidget* widget, UIViewController* controller) {
  if (!widget) return nullptr;
  if (isScreenWindow(*widget)) return QtProxies::shared().controllerOf(*widget).get();
  const bool isPage = controller && controller->parentViewController();
  return isPage ? static_cast<UIResponder*>(controller) : superview(widget);
}

std::optional<String> accessibilityLabel(const QWidget* widget) {
  if (!widget) return std::nullopt;
  if (!widget->accessibleName().isEmpty()) return toldOfWidget(*widget, textOf(widget->accessibleName()));
  const auto label = kindOf(*widget).label;
  return label ? toldOfWidget(*widget, label(*widget)) : std::nullopt;
}

std::optional<String> accessibilityIdentifier(const QWidget* widget) {
  if (!widget) return std::nullopt;
  if (!widget->objectName().isEmpty()) return textOf(widget->objectName());
  const auto* button = qobject_cast<const QToolButton*>(widget);
  const QAction* const action = button ? button->defaultAction() : nullptr;
  return action ? textOf(action->objectName()) : std::nullopt;
}

}  // namespace qtview

namespace {

std::optional<String> textOfWidget(const QWidget* widget) {
  const auto text = widget ? kindOf(*widget).text : nullptr;
  return text ? toldOfWidget(*widget, text(*widget)) : std::nullopt;
}

class QtLabelView final : public QtView<UILabel> {
 public:
  using QtView::QtView;
  std::optional<String> text() const override { return textOfWidget(widget()); }
};

class QtButtonView final : public QtView<UIButton> {
 public:
  using QtView::QtView;
  std::shared_ptr<UILabel> titleLabel() const override {
    const auto label = UIButton::titleLabel();
    label->setText(textOfWidget(widget()));
    return label;
  }
};

// What is in it is the user's own.
class QtTextFieldView final : public QtView<UITextField> {
 public:
  using QtView::QtView;
  std::optional<String> text() const override { return std::nullopt; }
  bool isSecureTextEntry() const override { return widget() && isForPasswords(*widget()); }
};

class QtSegmentsView final : public QtView<UISegmentedControl> {
 public:
  using QtView::QtView;
  int numberOfSegments() const override { return tabs() ? tabs()->count() : 0; }
  int selectedSegmentIndex() const override { return tabs() ? tabs()->currentIndex() : kNoSegment; }
  std::optional<String> titleForSegmentAtIndex(int index) const override {
    if (!tabs()) return std::nullopt;
    const auto text = textWithoutMnemonic(tabs()->tabText(index));
    return toldOfWidget(*tabs(), text ? text : plainTextOf(tabs()->tabToolTip(index), Qt::AutoText));
  }

 private:
  const QTabBar* tabs() const { return qobject_cast<const QTabBar*>(widget()); }
};

template <class View, class Base>
std::shared_ptr<UIView> make(QWidget& widget) {
  return std::make_shared<View>(widget, classOf(*widget.metaObject(), Base::classObject(), typeid(View)));
}

}  // namespace

std::shared_ptr<UIView> makeViewOf(QWidget& widget) {
  switch (kindOf(widget).presentation) {
    case QtPresentation::Label:
      return make<QtLabelView, UILabel>(widget);
    case QtPresentation::Button:
      return make<QtButtonView, UIButton>(widget);
    case QtPresentation::TextField:
      return make<QtTextFieldView, UITextField>(widget);
    case QtPresentation::Segments:
      return make<QtSegmentsView, UISegmentedControl>(widget);
    case QtPresentation::Control:
      return make<QtView<UIControl>, UIControl>(widget);
    default:
      return make<QtView<UIView>, UIView>(widget);
  }
}

}  // namespace platform
