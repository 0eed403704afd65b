#include "platform/qt/QtSlots.h"

namespace platform {

namespace {

bool hasSlot(const QObject& object, const QByteArray& signature) {
  return object.metaObject()->indexOfSlot(signature) >= 0;
}

}  // namespace

std::string actionName(const QObject& sender, const char* signature) {
  const QByteArray whole(signature);
  const QByteArray signal = whole.left(whole.indexOf('('));
  if (sender.objectName().isEmpty()) return signal.toStdString();
  const QByteArray slot = "on_" + sender.objectName().toUtf8() + "_";
  for (const QObject* each = sender.parent(); each; each = each->parent()) {
    if (hasSlot(*each, slot + whole) || hasSlot(*each, slot + signal + "()")) {
      return (slot + signal).toStdString();
    }
  }
  return signal.toStdString();
}

}  // namespace platform
