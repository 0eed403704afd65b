#include "platform/qt/QtWidgetKinds.h"

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QAbstractSlider>
#include <QAbstractSpinBox>
#include <QCalendarWidget>
#include <QComboBox>
#include <QGraphicsView>
#include <QGroupBox>
#include <QHash>
#include <QKeySequenceEdit>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QTabBar>
#include <QTextEdit>
#include <cstring>

#include "platform/qt/QtText.h"

namespace platform {

namespace {

std::optional<String> textOfButton(const QWidget& widget) {
  return textWithoutMnemonic(static_cast<const QAbstractButton&>(widget).text());
}

// A button with nothing but a picture goes by its tool tip.
std::optional<String> labelOfButton(const QWidget& widget) {
  const auto text = textOfButton(widget);
  return text ? text : plainTextOf(widget.toolTip(), Qt::AutoText);
}

std::optional<String> textOfComboBox(const QWidget& widget) {
  return textOf(static_cast<const QComboBox&>(widget).currentText());
}

std::optional<String> textOfLabel(const QWidget& widget) {
  const auto& label = static_cast<const QLabel&>(widget);
  const auto text = plainTextOf(label.text(), label.textFormat());
  return label.buddy() && text ? textWithoutMnemonic(label.text()) : text;
}

std::optional<String> titleOfGroupBox(const QWidget& widget) {
  return textWithoutMnemonic(static_cast<const QGroupBox&>(widget).title());
}

using P = QtPresentation;
constexpr QtWidgetKind kView;
constexpr QtWidgetKind kLeaf{P::View, true};
constexpr QtWidgetKind kButton{P::Button, true, textOfButton, labelOfButton};
constexpr QtWidgetKind kComboBox{P::Button, true, textOfComboBox};
constexpr QtWidgetKind kTextField{P::TextField, true};
constexpr QtWidgetKind kControl{P::Control};
constexpr QtWidgetKind kSegments{P::Segments};
constexpr QtWidgetKind kLabel{P::Label, false, textOfLabel};
constexpr QtWidgetKind kGroupBox{P::View, false, nullptr, titleOfGroupBox};
constexpr QtWidgetKind kItems{P::Items};
constexpr QtWidgetKind kActions{P::Actions};
constexpr QtWidgetKind kScene{P::Scene};

struct Row {
  const QMetaObject* cls;
  const QtWidgetKind* kind;
};

// What is not here is a plain view.
const Row kRows[] = {
    {&QAbstractButton::staticMetaObject, &kButton},
    {&QComboBox::staticMetaObject, &kComboBox},
    {&QTabBar::staticMetaObject, &kSegments},
    {&QLineEdit::staticMetaObject, &kTextField},
    {&QTextEdit::staticMetaObject, &kTextField},
    {&QPlainTextEdit::staticMetaObject, &kTextField},
    {&QKeySequenceEdit::staticMetaObject, &kTextField},
    {&QAbstractSpinBox::staticMetaObject, &kTextField},
    {&QAbstractSlider::staticMetaObject, &kControl},
    {&QLabel::staticMetaObject, &kLabel},
    {&QGroupBox::staticMetaObject, &kGroupBox},
    {&QAbstractItemView::staticMetaObject, &kItems},
    {&QMenu::staticMetaObject, &kActions},
    {&QMenuBar::staticMetaObject, &kActions},
    {&QGraphicsView::staticMetaObject, &kScene},
    {&QCalendarWidget::staticMetaObject, &kLeaf},
};

// Of libraries that this one does not know.
constexpr const char* kLeavesByName[] = {"QOpenGLWidget", "QWebEngineView", "QQuickWidget", "QVideoWidget"};

const QtWidgetKind* kindOfClass(const QMetaObject& cls) {
  for (const Row& row : kRows) {
    if (row.cls == &cls) return row.kind;
  }
  for (const char* name : kLeavesByName) {
    if (std::strcmp(cls.className(), name) == 0) return &kLeaf;
  }
  return nullptr;
}

const QtWidgetKind& nearestKind(const QMetaObject* cls) {
  for (; cls; cls = cls->superClass()) {
    if (const QtWidgetKind* const kind = kindOfClass(*cls)) return *kind;
  }
  return kView;
}

}  // namespace

const QtWidgetKind& kindOf(const QWidget& widget) {
  // The place of a class may become another's when a library is unloaded; its name tells.
  struct Known {
    QByteArray className;
    const QtWidgetKind* kind = nullptr;
  };
  static auto& known = *new QHash<const QMetaObject*, Known>;
  const QMetaObject* const cls = widget.metaObject();
  Known& entry = known[cls];
  if (entry.className != cls->className()) entry = {cls->className(), &nearestKind(cls)};
  const QtWidgetKind* const kind = entry.kind;
  if (kind == &kComboBox && static_cast<const QComboBox&>(widget).isEditable()) return kTextField;
  return *kind;
}

bool isForPasswords(const QWidget& widget) {
  constexpr Qt::InputMethodHints kSensitive = Qt::ImhHiddenText | Qt::ImhSensitiveData;
  if (kindOf(widget).presentation != QtPresentation::TextField) return false;
  if ((widget.inputMethodHints() & kSensitive) != Qt::ImhNone) return true;
  const auto* line = qobject_cast<const QLineEdit*>(&widget);
  if (!line) line = widget.findChild<const QLineEdit*>(QString(), Qt::FindDirectChildrenOnly);
  return line && line->echoMode() != QLineEdit::Normal;
}

}  // namespace platform
