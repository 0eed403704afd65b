#include "platform/qt/QtProxies.h"

#include <QAction>
#include <QWidget>

namespace platform {

QtProxies& QtProxies::shared() {
  static QtProxies& proxies = *new QtProxies;
  return proxies;
}

QtProxies::Proxies& QtProxies::proxiesOf(QObject& object) {
  const auto [entry, isNew] = proxies_.try_emplace(&object);
  if (isNew || !entry->second.owner) {
    entry->second = {};
    entry->second.owner = &object;
    QObject::connect(&object, &QObject::destroyed, &receiver_, [this](QObject* dead) {
      // Released at the end: what goes with it may ask for others.
      const auto node = proxies_.extract(dead);
    });
  }
  return entry->second;
}

const QtProxies::Proxies* QtProxies::find(const QObject& object) const {
  const auto found = proxies_.find(&object);
  return found == proxies_.end() || !found->second.owner ? nullptr : &found->second;
}

// While the constructor of a base runs, the widget is of the base's class, and so is a view that is made
// then.
bool QtProxies::isOutgrown(const Proxies& proxies, const QWidget& widget) {
  const QMetaObject* const now = widget.metaObject();
  return now != proxies.viewClass && now->inherits(proxies.viewClass) && !proxies.controller;
}

// The making may ask for other proxies; the place of one stays where it is.

std::shared_ptr<UIView> QtProxies::viewOf(QWidget& widget) {
  Proxies& proxies = proxiesOf(widget);
  if (proxies.view && !isOutgrown(proxies, widget)) return proxies.view;
  proxies.viewClass = widget.metaObject();
  proxies.view = makers_.view(widget);
  if (makers_.viewMade) makers_.viewMade(widget, *proxies.view);
  return proxies.view;
}

std::shared_ptr<UIView> QtProxies::viewOf(QAction& action) {
  Proxies& proxies = proxiesOf(action);
  if (proxies.view) return proxies.view;
  proxies.view = makers_.actionView(action);
  if (makers_.viewMade) makers_.viewMade(action, *proxies.view);
  return proxies.view;
}

std::shared_ptr<UIWindow> QtProxies::windowOf(QWidget& widget) {
  Proxies& proxies = proxiesOf(widget);
  if (!proxies.window) proxies.window = makers_.window(widget);
  return proxies.window;
}

std::shared_ptr<UIViewController> QtProxies::controllerOf(QWidget& widget) {
  Proxies& proxies = proxiesOf(widget);
  if (!proxies.controller) {
    proxies.controller = makers_.controller(widget);
    const auto view = viewOf(widget);
    proxies.controller->setView(view);
    if (makers_.viewMade) makers_.viewMade(widget, *view);
  }
  return proxies.controller;
}

std::shared_ptr<UIView> QtProxies::viewIfMade(const QWidget& widget) const {
  const Proxies* const proxies = find(widget);
  return proxies ? proxies->view : nullptr;
}

}  // namespace platform
