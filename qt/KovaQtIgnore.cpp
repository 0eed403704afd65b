#include "qt/KovaQtIgnore.h"

#include <Kova/KovaIgnore.h>

#include <QByteArray>
#include <QVariant>
#include <QWidget>

#include "platform/qt/QtProxies.h"
#include "platform/qt/QtTree.h"

using namespace platform;

namespace kovaqt {

namespace {

struct Rule {
  const char* property;
  void (*set)(UIResponder& responder, bool value);
};

constexpr Rule kRules[] = {
    {"kovaIgnore", setKovaIgnore},
    {"kovaIgnoreInnerHierarchy", setKovaIgnoreInnerHierarchy},
    {"kovaRedactText", setKovaRedactText},
    {"kovaRedactAccessibilityLabel", setKovaRedactAccessibilityLabel},
};

UIView& viewOf(QWidget& widget) { return *QtProxies::shared().viewOf(shownWidget(widget)); }

}  // namespace

void applyProperty(QWidget& widget, const QByteArray& name) {
  if (!name.startsWith("kova")) return;
  for (const Rule& rule : kRules) {
    if (name == rule.property) return rule.set(viewOf(widget), widget.property(rule.property).toBool());
  }
}

void redactUsersOwnDialogs(QWidget& window) {
  if (!window.inherits("QFileDialog") && !window.inherits("QAbstractPrintDialog")) return;
  setKovaRedactText(viewOf(window), true);
  setKovaRedactAccessibilityLabel(viewOf(window), true);
}

}  // namespace kovaqt
