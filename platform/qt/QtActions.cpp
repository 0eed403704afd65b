#include "platform/qt/QtActions.h"

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QAbstractSlider>
#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QScrollBar>
#include <QShortcutEvent>
#include <QTabBar>
#include <QToolButton>

#include "platform/qt/QtChoices.h"
#include "platform/qt/QtGuard.h"
#include "platform/qt/QtParts.h"
#include "platform/qt/QtProxies.h"
#include "platform/qt/QtSlots.h"
#include "platform/qt/QtTouches.h"
#include "platform/qt/QtTree.h"
#include "platform/qt/QtView.h"

namespace platform {

namespace {

std::shared_ptr<UIView> viewOfWidget(QWidget& widget) {
  return QtProxies::shared().viewOf(shownWidget(widget));
}

// The button that a key holds down, if it is not what the event releases.
const QAbstractButton* buttonHeldDuring(const QWidget& widget, const QEvent& event) {
  const auto* const button = qobject_cast<const QAbstractButton*>(QApplication::focusWidget());
  const bool isRelease = event.type() == QEvent::KeyRelease || event.type() == QEvent::MouseButtonRelease;
  return button && button->isDown() && (!isRelease || button != &widget) ? button : nullptr;
}

// The button that was touched, if the action is what it does.
std::shared_ptr<UIView> touchedButtonOf(const QAction& action) {
  const auto touched = QtTouches::shared().touchedView();
  for (QObject* const object : action.associatedObjects()) {
    const auto* const button = qobject_cast<const QToolButton*>(object);
    if (button && touched && QtProxies::shared().viewIfMade(*button) == touched) return touched;
  }
  return nullptr;
}

}  // namespace

QtActions& QtActions::shared() {
  static QtActions& actions = *new QtActions;
  return actions;
}

void QtActions::watch(QWidget& widget) {
  QWidget* const sender = &widget;
  QObject::disconnect(sender, nullptr, &receiver_, nullptr);
  const auto sends = [this, sender](const char* signature) {
    return [this, sender, signature] { guardedFromQt([&] { send(*sender, signature); }); };
  };
  if (auto* button = qobject_cast<QAbstractButton*>(sender)) {
    watchButton(*button);
  } else if (auto* box = qobject_cast<QComboBox*>(sender)) {
    QObject::connect(box, &QComboBox::activated, &receiver_, sends("activated(int)"));
  } else if (auto* tabs = qobject_cast<QTabBar*>(sender)) {
    watchTabs(*tabs);
  } else if (auto* items = qobject_cast<QAbstractItemView*>(sender); items && !boxOf(*items)) {
    QObject::connect(items, &QAbstractItemView::activated, &receiver_, sends("activated(QModelIndex)"));
  } else if (auto* label = qobject_cast<QLabel*>(sender)) {
    QObject::connect(label, &QLabel::linkActivated, &receiver_, sends("linkActivated(QString)"));
  } else if (auto* slider = qobject_cast<QAbstractSlider*>(sender);
             slider && !qobject_cast<QScrollBar*>(sender)) {
    QObject::connect(slider, &QAbstractSlider::sliderReleased, &receiver_, sends("sliderReleased()"));
  }
}

// A click is said after the button was released, and by then the app may have opened a dialog: so the release
// is taken for it when a click follows.
void QtActions::watchButton(QAbstractButton& button) {
  QObject::connect(&button, &QAbstractButton::released, &receiver_, [this, sender = &button] {
    guardedFromQt([&] {
      if (isClickAhead(*sender)) willClick(*sender);
    });
  });
}

// Not when the pointer has only left the button, nor when Escape, a change of focus or the app lets go of it.
bool QtActions::isClickAhead(const QAbstractButton& button) const {
  return !(QApplication::mouseButtons() & Qt::LeftButton) && held_ != &button;
}

void QtActions::willClick(QAbstractButton& button) {
  const auto* const tool = qobject_cast<const QToolButton*>(&button);
  if (tool && tool->defaultAction()) return;  // which says so itself
  send(button, "clicked(bool)");
}

void QtActions::watchTabs(QTabBar& tabs) {
  QObject::connect(&tabs, &QTabBar::currentChanged, &receiver_, [sender = &tabs] {
    guardedFromQt([sender] {
      const auto view = QtProxies::shared().viewIfMade(*sender);
      if (view) view->didChangeValueForKey("selectedSegmentIndex");
    });
  });
}

void QtActions::watch(QAction& action) {
  if (!actions_.insert(&action).second) return;
  QObject::connect(&action, &QAction::triggered, &receiver_,
                   [this, sender = &action] { guardedFromQt([&] { triggered(*sender); }); });
  QObject::connect(&action, &QObject::destroyed, &receiver_, [this](QObject* dead) { actions_.erase(dead); });
}

std::shared_ptr<UIView> QtActions::viewOf(QAction& action) const {
  if (const auto button = touchedButtonOf(action)) return button;
  const auto entry = QtProxies::shared().viewOf(action);
  if (QtTouches::shared().touchedView() == entry) return entry;
  const bool isInMenu = menu_ && menu_->actions().contains(&action);
  QWidget* const owner = isInMenu ? menu_.data() : ownerOf(action);
  if (owner) static_cast<QtActionView&>(*entry).setOwner(*owner);
  return entry;
}

void QtActions::send(QWidget& sender, const char* signature) {
  QtTouches::shared().sendAction(actionName(sender, signature), viewOfWidget(sender));
}

void QtActions::comes(QWidget& widget, const QEvent& event) {
  said_.clear();
  held_ = buttonHeldDuring(widget, event);
  menu_ = qobject_cast<QMenu*>(&widget);
  const auto choice = choiceBy(widget, event);
  if (!choice) return;
  auto* const action = qobject_cast<QAction*>(&choice->sender);
  const auto view = action ? viewOf(*action) : viewOfWidget(static_cast<QWidget&>(choice->sender));
  QtTouches::shared().expectAction(actionName(choice->sender, choice->signature), view, choice->sender);
}

// A button shows itself pressed for a while before it says that it was clicked.
void QtActions::comes(QObject& owner, const QShortcutEvent& event) {
  said_.clear();
  menu_.clear();
  if (event.isAmbiguous()) return;
  if (auto* const action = qobject_cast<QAction*>(&owner)) return willTrigger(*action);
  auto* const button = qobject_cast<QAbstractButton*>(&owner);
  // As long as its key is held, it is pressed again and again, and clicked once.
  if (button && button->isEnabled() && !button->isDown()) send(*button, "clicked(bool)");
}

void QtActions::willTrigger(QAction& action) {
  if (!action.isEnabled()) return;
  triggered(action);
  said_ = &action;
}

void QtActions::triggered(QAction& action) {
  if (std::exchange(said_, nullptr) == &action) return;
  const std::string name = actionName(action, "triggered(bool)");
  QtTouches::shared().sendAction(name, viewOf(action));
}

}  // namespace platform
