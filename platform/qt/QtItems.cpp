#include "platform/qt/QtItems.h"

#include <QAbstractItemView>
#include <QHeaderView>

#include "platform/qt/QtText.h"

namespace platform {

namespace {

QtItemTexts& itemTexts() {
  static auto& texts = *new QtItemTexts;
  return texts;
}

// As the app puts it there, or the editor of a cell.
bool isInRow(const QWidget& widget) {
  for (const QWidget* each = &widget; each && !each->isWindow(); each = each->parentWidget()) {
    const auto* const items = qobject_cast<const QAbstractItemView*>(each->parentWidget());
    if (items && items->viewport() == each && !qobject_cast<const QHeaderView*>(items)) return true;
  }
  return false;
}

}  // namespace

void setItemTexts(QtItemTexts texts) { itemTexts() = std::move(texts); }

std::optional<String> toldOfCell(const QModelIndex& cell) {
  return itemTexts().areShown ? textOf(cell.data().toString()) : itemTexts().substitute;
}

std::optional<String> toldOfWidget(const QWidget& widget, std::optional<String> text) {
  const bool isTold = !text || itemTexts().areShown || !isInRow(widget);
  return isTold ? std::move(text) : itemTexts().substitute;
}

}  // namespace platform
