#include "platform/qt/QtChoices.h"

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QAbstractSlider>
#include <QAction>
#include <QComboBox>
#include <QKeyEvent>
#include <QLabel>
#include <QMenu>
#include <QMouseEvent>
#include <QScrollBar>
#include <QStyle>
#include <QToolButton>

#include "platform/qt/QtTree.h"

namespace platform {

namespace {

bool isRelease(const QEvent& event) { return event.type() == QEvent::MouseButtonRelease; }

// 0 for what is no key.
int keyOf(const QEvent& event) {
  const bool isKey = event.type() == QEvent::KeyPress || event.type() == QEvent::ShortcutOverride;
  return isKey ? static_cast<const QKeyEvent&>(event).key() : 0;
}

bool isReturn(const QEvent& event) { return keyOf(event) == Qt::Key_Return || keyOf(event) == Qt::Key_Enter; }

QAction* entryByLetter(const QMenu& menu, int key) {
  for (QAction* const action : menu.actions()) {
    if (key && QKeySequence::mnemonic(action->text()) == QKeySequence(Qt::ALT | Qt::Key(key))) return action;
  }
  return nullptr;
}

QAction* entryBy(const QMenu& menu, const QEvent& event) {
  if (isRelease(event)) return menu.actionAt(static_cast<const QMouseEvent&>(event).position().toPoint());
  if (isReturn(event) || keyOf(event) == Qt::Key_Space) return menu.activeAction();
  return entryByLetter(menu, keyOf(event));
}

std::optional<QtChoice> choiceInMenu(const QMenu& menu, const QEvent& event) {
  QAction* const entry = entryBy(menu, event);
  if (!entry || !entry->isEnabled() || entry->isSeparator() || entry->menu()) return std::nullopt;
  return QtChoice{*entry, "triggered(bool)"};
}

std::optional<QtChoice> choiceInItems(QAbstractItemView& items, const QEvent& event) {
  const bool isClick = isRelease(event) || event.type() == QEvent::MouseButtonDblClick;
  if ((!isClick && !isReturn(event)) || !items.currentIndex().isValid()) return std::nullopt;
  if (QComboBox* const box = boxOf(items)) return QtChoice{*box, "activated(int)"};
  const bool byOneClick =
      items.style()->styleHint(QStyle::SH_ItemView_ActivateItemOnSingleClick, nullptr, &items);
  if (isClick && byOneClick != isRelease(event)) return std::nullopt;
  return QtChoice{items, "activated(QModelIndex)"};
}

std::optional<QtChoice> choiceOfButton(QAbstractButton& button) {
  auto* const tool = qobject_cast<QToolButton*>(&button);
  QAction* const action = tool ? tool->defaultAction() : nullptr;
  if (!button.isDown()) return std::nullopt;
  return action ? QtChoice{*action, "triggered(bool)"} : QtChoice{button, "clicked(bool)"};
}

bool hasLink(const QLabel& label) {
  return !label.openExternalLinks() && label.text().contains(QLatin1String("href"), Qt::CaseInsensitive);
}

}  // namespace

QComboBox* boxOf(const QAbstractItemView& list) {
  auto* const box = qobject_cast<QComboBox*>(list.window()->parentWidget());
  return box && box->view() == &list ? box : nullptr;
}

std::optional<QtChoice> choiceBy(QWidget& widget, const QEvent& event) {
  QWidget* const shown = &shownWidget(widget);
  if (const auto* menu = qobject_cast<const QMenu*>(shown)) return choiceInMenu(*menu, event);
  if (auto* items = qobject_cast<QAbstractItemView*>(shown)) return choiceInItems(*items, event);
  if (!isRelease(event)) return std::nullopt;
  if (auto* button = qobject_cast<QAbstractButton*>(shown)) return choiceOfButton(*button);
  if (auto* label = qobject_cast<QLabel*>(shown); label && hasLink(*label)) {
    return QtChoice{*label, "linkActivated(QString)"};
  }
  auto* const slider = qobject_cast<QAbstractSlider*>(shown);
  if (!slider || !slider->isSliderDown() || qobject_cast<QScrollBar*>(slider)) return std::nullopt;
  return QtChoice{*slider, "sliderReleased()"};
}

}  // namespace platform
