#pragma once

#include <QObject>
#include <QPointer>
#include <functional>
#include <memory>
#include <unordered_map>
#include <utility>

#include "platform/uikit/UIViewController.h"
#include "platform/uikit/UIWindow.h"

class QAction;
class QWidget;

namespace platform {

// Where the views, windows and controllers that stand for Qt's objects are kept: made when they are first
// asked for, one each, and released when the object dies, so that what hangs on a proxy lives as long as the
// widget.
//
// Owner: the process. Main thread only.
class QtProxies {
 public:
  // How they are made; stated once, before the first is asked for.
  struct Makers {
    std::shared_ptr<UIView> (*view)(QWidget& widget);
    // For a widget or an action, or it has got its controller; may be empty.
    std::function<void(QObject& object, UIView& view)> viewMade;
    std::shared_ptr<UIView> (*actionView)(QAction& action);
    std::shared_ptr<UIWindow> (*window)(QWidget& widget);
    std::shared_ptr<UIViewController> (*controller)(QWidget& widget);
  };

  static QtProxies& shared();
  void setMakers(Makers makers) { makers_ = std::move(makers); }

  // Of a widget that is shown (QtTree.h). One that was made while the widget was constructed makes room for
  // another when the widget is of its own class.
  std::shared_ptr<UIView> viewOf(QWidget& widget);
  std::shared_ptr<UIView> viewOf(QAction& action);
  // Of a window, and of a window or a page. The controller has its view.
  std::shared_ptr<UIWindow> windowOf(QWidget& widget);
  std::shared_ptr<UIViewController> controllerOf(QWidget& widget);
  // Null when the widget has none so far.
  std::shared_ptr<UIView> viewIfMade(const QWidget& widget) const;

  // How many objects have proxies.
  std::size_t size() const { return proxies_.size(); }

 private:
  struct Proxies {
    std::shared_ptr<UIView> view;
    const QMetaObject* viewClass = nullptr;  // the widget's when its view was made
    std::shared_ptr<UIWindow> window;
    std::shared_ptr<UIViewController> controller;
    QPointer<QObject> owner;  // null once its end has begun: what is made then is nobody's
  };

  static bool isOutgrown(const Proxies& proxies, const QWidget& widget);
  Proxies& proxiesOf(QObject& object);
  const Proxies* find(const QObject& object) const;

  Makers makers_{};
  QObject receiver_;
  std::unordered_map<const QObject*, Proxies> proxies_;
};

}  // namespace platform
