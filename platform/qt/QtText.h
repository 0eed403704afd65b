#pragma once

#include <QString>
#include <optional>

#include "platform/foundation/String.h"

namespace platform {

// Texts of Qt's as those of the platform. None for an empty one, since Qt has no text that is none.
std::optional<String> textOf(const QString& text);
// Without the marks of the keys that choose it ("&File") and the shortcut behind a tab.
std::optional<String> textWithoutMnemonic(const QString& text);
// What the reader of a rich text sees.
std::optional<String> plainTextOf(const QString& text, Qt::TextFormat format);
// A window's title without the place where Qt marks it as changed.
std::optional<String> titleOf(QString title);

}  // namespace platform
