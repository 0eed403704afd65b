#include "platform/qt/QtText.h"

#include <QTextDocumentFragment>

namespace platform {

std::optional<String> textOf(const QString& text) {
  if (text.isEmpty()) return std::nullopt;
  return String(text.toStdString());
}

std::optional<String> textWithoutMnemonic(const QString& text) {
  QString shown;
  shown.reserve(text.size());
  for (qsizetype i = 0; i < text.size() && text[i] != u'\t'; ++i) {
    if (text[i] == u'&' && ++i == text.size()) break;  // "&&" stands for one
    shown += text[i];
  }
  return textOf(shown);
}

std::optional<String> plainTextOf(const QString& text, Qt::TextFormat format) {
  const bool isRich = format == Qt::RichText || (format == Qt::AutoText && Qt::mightBeRichText(text));
  return textOf(isRich ? QTextDocumentFragment::fromHtml(text).toPlainText() : text);
}

std::optional<String> titleOf(QString title) { return textOf(title.remove(QLatin1String("[*]")).trimmed()); }

}  // namespace platform
