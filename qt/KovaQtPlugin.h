#pragma once

#include <QGenericPlugin>

// What `kova-run` has Qt load into a program that knows nothing of it, before any widget exists. Nothing is
// made, and nothing is stored, before the program shows its first window.
class KovaQtPlugin final : public QGenericPlugin {
  Q_OBJECT
  Q_PLUGIN_METADATA(IID QGenericPluginFactoryInterface_iid FILE "kova.json")

 public:
  QObject* create(const QString& key, const QString& settings) override;
};
