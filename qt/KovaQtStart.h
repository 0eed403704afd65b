#pragma once

#include <Kova/KovaQt.h>

#include <string>

// The start that hosts and the plugin share. Main thread.
namespace kovaqt {

// The administrator's switch.
inline constexpr const char* kDisablingFile = "/etc/xdg/kova/disabled";

// Whether the user or the administrator has switched off Kova.
bool isDisabled(const std::string& disablingFile = kDisablingFile);

void start(const QString& environmentId, const KovaQtOptions& options);
void setConsent(bool given);

}  // namespace kovaqt
