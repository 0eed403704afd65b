#pragma once

#include <QObject>
#include <unordered_set>

class QAbstractButton;
class QAction;
class QTabBar;
class QWidget;

namespace platform {

// Turns the signals that widgets and actions send of themselves into actions of the platform. Main thread
// only.
class QtActions {
 public:
  static QtActions& shared();

  // Once for each widget; an action, which several widgets may have, as often as they like.
  void watch(QWidget& widget);
  void watch(QAction& action);

 private:
  void watchButton(QAbstractButton& button);
  void watchTabs(QTabBar& tabs);
  void send(QWidget& sender, const char* signature);
  void triggered(QAction& action);

  QObject receiver_;
  std::unordered_set<const QObject*> actions_;
};

}  // namespace platform
