#include "platform/qt/QtAlerts.h"

#include <QApplication>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <map>

#include "platform/qt/QtTree.h"
#include "platform/uikit/UIAlertController.h"

namespace platform {

namespace {

std::map<const UIAlertController*, QPointer<QMessageBox>>& boxes() {
  static auto& all = *new std::map<const UIAlertController*, QPointer<QMessageBox>>;
  return all;
}

QString textOf(const std::optional<String>& text) { return QString::fromStdString(text.value_or("").str()); }

QMessageBox::ButtonRole roleOf(const UIAlertAction& action) {
  return action.style() == UIAlertAction::Style::Cancel ? QMessageBox::RejectRole : QMessageBox::AcceptRole;
}

void addAction(QMessageBox& box, const std::shared_ptr<UIAlertController>& alert,
               const std::shared_ptr<UIAlertAction>& action) {
  const QString title = QString::fromStdString(action->title().str());
  QPushButton* const button = box.addButton(title, roleOf(*action));
  if (alert->preferredAction() == action) box.setDefaultButton(button);
  QObject::connect(button, &QPushButton::clicked, button, [weak = std::weak_ptr(alert), action] {
    if (const auto shown = weak.lock()) shown->choose(action);
  });
}

}  // namespace

void showAlert(const std::shared_ptr<UIAlertController>& alert) {
  auto* const box = new QMessageBox(QApplication::activeWindow());
  markAsOwn(*box);
  box->setAttribute(Qt::WA_DeleteOnClose);
  box->setAttribute(Qt::WA_QuitOnClose, false);  // the program ends when its own windows say so
  box->setWindowTitle(textOf(alert->title()));
  box->setText(textOf(alert->message()));
  for (const auto& action : alert->actions()) addAction(*box, alert, action);
  boxes()[alert.get()] = box;
  box->setModal(false);
  box->show();
}

void hideAlert(const UIAlertController& alert) {
  const auto node = boxes().extract(&alert);
  if (node && node.mapped()) node.mapped()->close();
}

}  // namespace platform
