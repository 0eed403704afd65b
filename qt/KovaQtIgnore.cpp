#include "qt/KovaQtIgnore.h"

#include <Kova/KovaIgnore.h>

#include <QApplication>
#include <QByteArray>
#include <QVariant>
#include <QWidget>
#include <vector>

#include "platform/qt/QtProxies.h"
#include "platform/qt/QtTree.h"

using namespace platform;

namespace kovaqt {

namespace {

struct Flag {
  KovaQtRule rule;
  const char* property;
  void (*set)(UIResponder& responder, bool value);
};

constexpr Flag kFlags[] = {
    {KovaQtRule::Ignore, "kovaIgnore", setKovaIgnore},
    {KovaQtRule::IgnoreInnerHierarchy, "kovaIgnoreInnerHierarchy", setKovaIgnoreInnerHierarchy},
    {KovaQtRule::RedactText, "kovaRedactText", setKovaRedactText},
    {KovaQtRule::RedactAccessibilityLabel, "kovaRedactAccessibilityLabel", setKovaRedactAccessibilityLabel},
};

struct ClassRule {
  QByteArray className;
  KovaQtRule rule;
  bool holds;
};

// Dialogs that show the user's own files and printers tell no texts.
constexpr const char* kPrivateDialogs[] = {"QFileDialog", "QAbstractPrintDialog", "QPageSetupDialog",
                                           "QPrintPreviewDialog"};

std::vector<ClassRule>& classRules() {
  static auto& rules = *[] {
    auto* const first = new std::vector<ClassRule>;
    for (const char* dialog : kPrivateDialogs) {
      first->push_back({dialog, KovaQtRule::RedactText, true});
      first->push_back({dialog, KovaQtRule::RedactAccessibilityLabel, true});
    }
    return first;
  }();
  return rules;
}

bool redacts(KovaQtRule rule) {
  return rule == KovaQtRule::RedactText || rule == KovaQtRule::RedactAccessibilityLabel;
}

// What is redacted in a window is so in what it asks: the box over a file dialog names a file.
bool isFor(const QWidget& widget, const ClassRule& rule) {
  if (widget.inherits(rule.className)) return true;
  if (!widget.isWindow() || !redacts(rule.rule)) return false;
  const QWidget* opener = widget.parentWidget();
  while (opener && !opener->inherits(rule.className)) opener = opener->parentWidget();
  return opener;
}

void apply(const ClassRule& rule, const QWidget& widget, UIView& view) {
  if (!isFor(widget, rule)) return;
  for (const Flag& flag : kFlags) {
    if (flag.rule == rule.rule) flag.set(view, rule.holds);
  }
}

}  // namespace

void applyProperty(QWidget& widget, const QByteArray& name) {
  if (!name.startsWith("kova")) return;
  for (const Flag& flag : kFlags) {
    if (name != flag.property) continue;
    flag.set(*QtProxies::shared().viewOf(shownWidget(widget)), widget.property(flag.property).toBool());
  }
}

void applyRules(QWidget& widget, UIView& view) {
  for (const ClassRule& rule : classRules()) apply(rule, widget, view);
  for (const Flag& flag : kFlags) {
    if (const QVariant own = widget.property(flag.property); own.isValid()) flag.set(view, own.toBool());
  }
}

void setClassRule(const QString& className, KovaQtRule rule, bool holds) {
  classRules().push_back({className.toUtf8(), rule, holds});
  if (!QCoreApplication::instance()) return;
  for (QWidget* const widget : QApplication::allWidgets()) {
    if (const auto view = QtProxies::shared().viewIfMade(*widget)) apply(classRules().back(), *widget, *view);
  }
}

}  // namespace kovaqt
