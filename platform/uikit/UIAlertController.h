#pragma once

#include <functional>

#include "platform/uikit/UIViewController.h"

namespace platform {

// A choice in an alert. The handler is called once the alert has gone.
class PLATFORM_EXPORT UIAlertAction : public NSObject {
  NS_OBJECT(UIAlertAction, NSObject)

 public:
  enum class Style { Default, Cancel, Destructive };
  using Handler = std::function<void(UIAlertAction&)>;

  UIAlertAction(String title, Style style, Handler handler)
      : title_(std::move(title)), style_(style), handler_(std::move(handler)) {}

  const String& title() const { return title_; }
  Style style() const { return style_; }
  void run() {
    if (handler_) handler_(*this);
  }

 private:
  String title_;
  Style style_;
  Handler handler_;
};

// A message in the middle of the screen with buttons below it, presented over the present screen. Each button
// is of class "_UIAlertControllerActionView" and dismisses the alert; the choice to cancel stands first of
// two and last of more, and is bold when no other is preferred.
class PLATFORM_EXPORT UIAlertController : public UIViewController {
  NS_OBJECT(UIAlertController, UIViewController)

 public:
  UIAlertController(std::optional<String> title, std::optional<String> message);
  ~UIAlertController() override;

  static void describe(ClassBuilder<UIAlertController>& c);

  const std::optional<String>& message() const { return message_; }
  void addAction(std::shared_ptr<UIAlertAction> action);
  const std::vector<std::shared_ptr<UIAlertAction>>& actions() const { return actions_; }
  // One of the actions, shown bold; null for none.
  const std::shared_ptr<UIAlertAction>& preferredAction() const { return preferredAction_; }
  void setPreferredAction(std::shared_ptr<UIAlertAction> action);

  // One of the actions is chosen: the alert goes, then the action runs. Does nothing while nobody presents
  // it.
  void choose(std::shared_ptr<UIAlertAction> action);

  void loadView() override;
  void viewDidAppear(bool animated) override;
  void viewDidDisappear(bool animated) override;

 private:
  class ActionView;
  class View;

  void actionTapped(ActionView* button);
  void rebuild();
  bool isBold(const UIAlertAction& action) const;

  std::optional<String> message_;
  std::vector<std::shared_ptr<UIAlertAction>> actions_;
  std::shared_ptr<UIAlertAction> preferredAction_;
  std::shared_ptr<View> alertView_;
};

}  // namespace platform
