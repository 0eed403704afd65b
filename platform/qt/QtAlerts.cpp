#include "platform/qt/QtAlerts.h"

#include <QApplication>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <algorithm>
#include <map>

#include "platform/qt/QtGuard.h"
#include "platform/qt/QtTree.h"
#include "platform/uikit/UIAlertController.h"

namespace platform {

namespace {

using Action = std::shared_ptr<UIAlertAction>;

std::map<const UIAlertController*, QPointer<QMessageBox>>& boxes() {
  static auto& all = *new std::map<const UIAlertController*, QPointer<QMessageBox>>;
  return all;
}

QString textOf(const std::optional<String>& text) { return QString::fromStdString(text.value_or("").str()); }

// What is chosen by Escape, or when the box goes without a choice: to cancel, or else what is not preferred.
// Null when there is nothing to choose.
Action wayOutOf(const UIAlertController& alert) {
  const auto& actions = alert.actions();
  const auto isCancel = [](const Action& each) { return each->style() == UIAlertAction::Style::Cancel; };
  const auto isOther = [&](const Action& each) { return each != alert.preferredAction(); };
  if (const auto found = std::ranges::find_if(actions, isCancel); found != actions.end()) return *found;
  if (const auto found = std::ranges::find_if(actions, isOther); found != actions.end()) return *found;
  return actions.empty() ? nullptr : actions.front();
}

QMessageBox::ButtonRole roleOf(const UIAlertAction& action, bool isWayOut) {
  if (action.style() == UIAlertAction::Style::Destructive) return QMessageBox::DestructiveRole;
  return isWayOut ? QMessageBox::RejectRole : QMessageBox::AcceptRole;
}

// Once; not when the alert has gone by itself.
void answer(const std::weak_ptr<UIAlertController>& asked, const Action& action) {
  guardedFromQt([&] {
    const auto alert = asked.lock();
    if (alert && boxes().erase(alert.get()) > 0) alert->choose(action);
  });
}

void addAction(QMessageBox& box, const std::shared_ptr<UIAlertController>& alert, const Action& action) {
  const bool isWayOut = action == wayOutOf(*alert);
  QPushButton* const button =
      box.addButton(QString::fromStdString(action->title().str()), roleOf(*action, isWayOut));
  if (alert->preferredAction() == action) box.setDefaultButton(button);
  if (isWayOut) box.setEscapeButton(button);
  QObject::connect(button, &QPushButton::clicked, button,
                   [weak = std::weak_ptr(alert), action] { answer(weak, action); });
}

// Where the user can get at it.
QWidget* windowToAskIn() {
  QWidget* const modal = QApplication::activeModalWidget();
  return modal ? modal : QApplication::activeWindow();
}

}  // namespace

void showAlert(const std::shared_ptr<UIAlertController>& alert) {
  auto* const box = new QMessageBox(windowToAskIn());
  markAsOwn(*box);
  box->setAttribute(Qt::WA_DeleteOnClose);
  box->setAttribute(Qt::WA_QuitOnClose, false);  // the program ends when its own windows say so
  box->setWindowTitle(textOf(alert->title()));
  box->setText(textOf(alert->message()));
  for (const auto& action : alert->actions()) addAction(*box, alert, action);
  // Also with the window that it is in, which is not looked at while it goes.
  static QObject& receiver = *new QObject;
  const auto isGone = [weak = std::weak_ptr(alert), action = wayOutOf(*alert)] { answer(weak, action); };
  QObject::connect(box, &QObject::destroyed, &receiver, isGone, Qt::QueuedConnection);
  boxes()[alert.get()] = box;
  box->setModal(false);
  box->show();
}

void hideAlert(const UIAlertController& alert) {
  const auto node = boxes().extract(&alert);
  if (node && node.mapped()) node.mapped()->close();
}

}  // namespace platform
