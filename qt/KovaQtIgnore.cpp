#include "qt/KovaQtIgnore.h"

#include <Kova/KovaIgnore.h>

#include <QAction>
#include <QApplication>
#include <QByteArray>
#include <QToolButton>
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
std::optional<bool> saidOfClassesAround(KovaQtRule rule, const QWidget& widget) {
  auto said = saidOfClasses(rule, widget);
  if (!widget.isWindow() || !redacts(rule)) return said;
  const QWidget* opener = widget.parentWidget();
  for (; opener && !said.value_or(false); opener = opener->parentWidget()) {
    if (const auto ofOpener = saidOfClasses(rule, *opener)) said = ofOpener;
  }
  return said;
}

// A button that shows an action shows its text.
std::optional<bool> saidOf(const Flag& flag, const QObject& object) {
  if (const QVariant own = object.property(flag.property); own.isValid()) return own.toBool();
  const auto* const button = qobject_cast<const QToolButton*>(&object);
  const QAction* const action = button ? button->defaultAction() : nullptr;
  if (action && action->property(flag.property).toBool()) return true;
  const auto* const widget = qobject_cast<const QWidget*>(&object);
  return widget ? saidOfClassesAround(flag.rule, *widget) : std::nullopt;
}

// A screen's controller tells of the widget what its view tells, and lies outside of that.
void apply(const Flag& flag, UIView& view, bool holds) {
  flag.set(view, holds);
  if (UIViewController* const controller = view.viewController()) flag.set(*controller, holds);
}

void applyTo(QWidget& widget, const Flag& flag) {
  QWidget& shown = shownWidget(widget);
  const QVariant own = widget.property(flag.property);
  const bool holds = own.isValid() ? own.toBool() : saidOf(flag, shown).value_or(false);
  apply(flag, *QtProxies::shared().viewOf(shown), holds);
}

void applyTo(QAction& action, const Flag& flag) {
  apply(flag, *QtProxies::shared().viewOf(action), saidOf(flag, action).value_or(false));
  for (QObject* const object : action.associatedObjects()) {
    if (auto* const button = qobject_cast<QToolButton*>(object)) applyTo(*button, flag);
  }
}

}  // namespace

void applyProperty(QObject& object, const QByteArray& name) {
  if (!name.startsWith("kova")) return;
  for (const Flag& flag : kFlags) {
    if (name != flag.property) continue;
    auto* const action = qobject_cast<QAction*>(&object);
    action ? applyTo(*action, flag) : applyTo(static_cast<QWidget&>(object), flag);
  }
}

void applyRules(QObject& object, UIView& view) {
  for (const Flag& flag : kFlags) {
    if (const auto said = saidOf(flag, object)) apply(flag, view, *said);
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
