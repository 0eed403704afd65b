#include <Kova/Kova.h>
#include <Kova/KovaQt.h>

#include "qt/KovaQtIgnore.h"
#include "qt/KovaQtSentData.h"
#include "qt/KovaQtStart.h"
#include "qt/KovaQtValues.h"

using kovaqt::dictionaryOf;

namespace {

std::optional<QString> textOf(const std::optional<std::string>& text) {
  return text ? std::optional(QString::fromStdString(*text)) : std::nullopt;
}

// An empty map is no properties.
KovaProperties propertiesOf(const QVariantMap& map) {
  return map.isEmpty() ? KovaProperties() : KovaProperties(dictionaryOf(map));
}

// QUrl takes the number where a link has its version for the address of a host: 1 for 0.0.0.1.
std::string textOfLink(const QUrl& url) {
  QString text = url.toString(QUrl::FullyEncoded);
  const qsizetype host = text.indexOf(QLatin1String("://0.0.0."));
  if (host >= 0) text.remove(host + 3, 6);
  return text.toStdString();
}

}  // namespace

void KovaQt::start(const QString& environmentId, const KovaQtOptions& options) {
  kovaqt::start(environmentId, options);
}

void KovaQt::setConsent(bool given) { kovaqt::setConsent(given); }

void KovaQt::showSentData(QWidget* parent) { kovaqt::showSentData(parent); }

void KovaQt::track(const QString& event, const QVariantMap& properties) {
  Kova::track(event.toStdString(), propertiesOf(properties));
}

void KovaQt::identify(const QString& identity) { Kova::identify(identity.toStdString()); }

void KovaQt::resetIdentity() { Kova::resetIdentity(); }

void KovaQt::addUserProperties(const QVariantMap& properties) {
  Kova::addUserProperties(propertiesOf(properties));
}

void KovaQt::addEventProperties(const QVariantMap& properties) {
  Kova::addEventProperties(propertiesOf(properties));
}

void KovaQt::removeEventProperty(const QString& name) { Kova::removeEventProperty(name.toStdString()); }

void KovaQt::clearEventProperties() { Kova::clearEventProperties(); }

void KovaQt::setTrackingEnabled(bool enabled) { Kova::setTrackingEnabled(enabled); }

bool KovaQt::isTrackingEnabled() { return Kova::isTrackingEnabled(); }

std::optional<QString> KovaQt::userId() { return textOf(Kova::userId()); }

std::optional<QString> KovaQt::sessionId() { return textOf(Kova::sessionId()); }

void KovaQt::setClassRule(const QString& className, KovaQtRule rule, bool holds) {
  kovaqt::setClassRule(className, rule, holds);
}

void KovaQt::handleOpenUrl(const QUrl& url) {
  if (const auto opened = platform::NSURL::create(textOfLink(url))) Kova::handleOpenURL(*opened);
}

void KovaQt::startEVPairing() { Kova::startEVPairing(); }

void KovaQt::stopEVPairing() { Kova::stopEVPairing(); }
