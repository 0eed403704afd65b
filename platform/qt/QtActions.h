#pragma once

#include <QAbstractButton>
#include <QAction>
#include <QMenu>
#include <QObject>
#include <QPointer>
#include <memory>
#include <unordered_set>

class QEvent;
class QShortcutEvent;
class QTabBar;
class QWidget;

namespace platform {

class UIView;

// Turns the signals that widgets and actions send of themselves into actions of the platform. Main thread
// only.
class QtActions {
 public:
  static QtActions& shared();

  // As often as you like: Qt polishes a widget again whose base had it polished while that was constructed,
  // and several widgets may have an action.
  void watch(QWidget& widget);
  void watch(QAction& action);
  // The widget, or what the shortcut belongs to, is about to get what the user did. An app whose slot comes
  // before ours may open a dialog in it: that must not hide what opened it.
  void comes(QWidget& widget, const QEvent& event);
  void comes(QObject& owner, const QShortcutEvent& event);

 private:
  void watchButton(QAbstractButton& button);
  bool isClickAhead(const QAbstractButton& button) const;
  void watchTabs(QTabBar& tabs);
  void send(QWidget& sender, const char* signature);
  void triggered(QAction& action);
  void willClick(QAbstractButton& button);
  void willTrigger(QAction& action);
  std::shared_ptr<UIView> viewOf(QAction& action) const;

  QObject receiver_;
  std::unordered_set<const QObject*> actions_;
  QPointer<QAction> said_;  // before it said so itself
  // Held down by a key when something else than its release came.
  QPointer<const QAbstractButton> held_;
  QPointer<QMenu> menu_;  // that the latest input has come to
};

}  // namespace platform
