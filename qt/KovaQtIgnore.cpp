#include "qt/KovaQtIgnore.h"

#include <Kova/KovaIgnore.h>

#include <QApplication>
#include <QByteArray>
#include <QVariant>
#include <QWidget>
#include <optional>
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

// What the latest rule for one of its classes says; nothing without one.
std::optional<bool> saidOfClasses(KovaQtRule rule, const QWidget& widget) {
  for (auto each = classRules().rbegin(); each != classRules().rend(); ++each) {
    if (each->rule == rule && widget.inherits(each->className)) return each->holds;
  }
  return std::nullopt;
}

// What is redacted in a window is so in what it asks: the box over a file dialog names a file.
std::optional<bool> saidOf(const Flag& flag, const QWidget& widget) {
  if (const QVariant own = widget.property(flag.property); own.isValid()) return own.toBool();
  auto said = saidOfClasses(flag.rule, widget);
  if (!widget.isWindow() || !redacts(flag.rule)) return said;
  const QWidget* opener = widget.parentWidget();
  for (; opener && !said.value_or(false); opener = opener->parentWidget()) {
    if (const auto ofOpener = saidOfClasses(flag.rule, *opener)) said = ofOpener;
  }
  return said;
}

// A screen's controller tells of the widget what its view tells, and lies outside of that.
void apply(const Flag& flag, UIView& view, bool holds) {
  flag.set(view, holds);
  if (UIViewController* const controller = view.viewController()) flag.set(*controller, holds);
}

}  // namespace

void applyProperty(QWidget& widget, const QByteArray& name) {
  if (!name.startsWith("kova")) return;
  for (const Flag& flag : kFlags) {
    if (name != flag.property) continue;
    QWidget& shown = shownWidget(widget);
    const QVariant own = widget.property(flag.property);
    const bool holds = own.isValid() ? own.toBool() : saidOf(flag, shown).value_or(false);
    apply(flag, *QtProxies::shared().viewOf(shown), holds);
  }
}

void applyRules(QWidget& widget, UIView& view) {
  for (const Flag& flag : kFlags) {
    if (const auto said = saidOf(flag, widget)) apply(flag, view, *said);
  }
}

void setClassRule(const QString& className, KovaQtRule rule, bool holds) {
  classRules().push_back({className.toUtf8(), rule, holds});
  if (!QCoreApplication::instance()) return;
  for (QWidget* const widget : QApplication::allWidgets()) {
    if (const auto view = QtProxies::shared().viewIfMade(*widget)) applyRules(*widget, *view);
  }
}

}  // namespace kovaqt
