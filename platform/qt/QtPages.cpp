#include "platform/qt/QtPages.h"

#include <QMdiSubWindow>
#include <QStackedWidget>
#include <QTabWidget>
#include <QToolBox>
#include <QWizardPage>
#include <algorithm>

#include "platform/qt/QtText.h"

namespace platform {

namespace {

// What holds the page in its tool box is a scroll area's.
template <class Holder>
const Holder* holderOf(const QWidget& page, int distance) {
  const QWidget* around = page.parentWidget();
  for (int step = 1; around && step < distance; ++step) around = around->parentWidget();
  return qobject_cast<const Holder*>(around);
}

constexpr int kToolBoxDistance = 3;

const QTabWidget* tabsOf(const QWidget& page) {
  return holderOf<QStackedWidget>(page, 1) ? holderOf<QTabWidget>(page, 2) : nullptr;
}

const QToolBox* toolBoxOf(const QWidget& page) {
  const auto* const box = holderOf<QToolBox>(page, kToolBoxDistance);
  return box && box->indexOf(&page) >= 0 ? box : nullptr;
}

// Their pages are not the app's.
bool isInDialogOfQt(const QWidget& widget) {
  constexpr const char* kDialogs[] = {"QFileDialog",          "QColorDialog",     "QFontDialog",
                                      "QInputDialog",         "QMessageBox",      "QErrorMessage",
                                      "QAbstractPrintDialog", "QPageSetupDialog", "QPrintPreviewDialog"};
  const QWidget& window = *widget.window();
  return std::ranges::any_of(kDialogs, [&](const char* dialog) { return window.inherits(dialog); });
}

double areaOf(const QWidget& widget) { return double(widget.width()) * widget.height(); }

}  // namespace

bool isPage(const QWidget& widget) {
  if (!widget.parentWidget() || widget.isWindow() || isInDialogOfQt(widget)) return false;
  if (const auto* stack = holderOf<QStackedWidget>(widget, 1)) return stack->indexOf(&widget) >= 0;
  return qobject_cast<const QWizardPage*>(&widget) || qobject_cast<const QMdiSubWindow*>(&widget) ||
         toolBoxOf(widget);
}

std::optional<String> titleOfPage(const QWidget& page) {
  if (const QTabWidget* const tabs = tabsOf(page)) {
    return textWithoutMnemonic(tabs->tabText(tabs->indexOf(&page)));
  }
  if (const QToolBox* const box = toolBoxOf(page)) {
    return textWithoutMnemonic(box->itemText(box->indexOf(&page)));
  }
  if (const auto* wizardPage = qobject_cast<const QWizardPage*>(&page)) {
    return plainTextOf(wizardPage->title(), Qt::AutoText);
  }
  return titleOf(page.windowTitle());
}

bool fillsItsWindow(const QWidget& page) { return 2 * areaOf(page) >= areaOf(*page.window()); }

}  // namespace platform
