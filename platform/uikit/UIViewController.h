#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "platform/runtime/Method.h"
#include "platform/uikit/UIBarItem.h"
#include "platform/uikit/UIView.h"

namespace platform {

class UINavigationController;

// One screen, or a part of one: owns a view and is told when that appears and disappears.
//
// Life cycle of the view: made by loadView on first use, then viewDidLoad. Appearance: viewWillAppear, the
// view comes into a window that is shown, viewDidAppear; viewWillDisappear, viewDidDisappear on leaving. They
// are called when the controller becomes the root of a shown window, is pushed or uncovered, its tab is
// selected, it is presented, or what covered it is dismissed. Transitions take no time: what `animated` and
// completions are about has happened when the call returns.
//
// Of a container and the children that it shows, the container is told first that it will appear or
// disappear, and last that it did. Whoever is told may navigate, present or dismiss there and then: what that
// makes pointless is left out, and no controller is told twice in a row that it appeared.
//
// A controller holds its children and what it presents; it refers upwards weakly, and takes what it presents
// from the screen when it dies. Owner: std::shared_ptr. Main thread only.
class PLATFORM_EXPORT UIViewController : public UIResponder {
  NS_OBJECT(UIViewController, UIResponder)

 public:
  using Completion = std::function<void()>;
  using Children = std::vector<std::shared_ptr<UIViewController>>;

  // What others may replace.
  static Method<void(UIViewController&, bool animated)> viewDidAppearMethod;
  static Method<void(UIViewController&, const std::shared_ptr<UIViewController>& controller, bool animated,
                     const Completion& completion)>
      presentViewControllerMethod;
  static Method<void(UIViewController&, bool animated, const Completion& completion)>
      dismissViewControllerMethod;

  static void describe(ClassBuilder<UIViewController>& c);

  UIViewController();
  ~UIViewController() override;

  // The view.
  std::shared_ptr<UIView> view();
  // Null while it has not been made.
  virtual std::shared_ptr<UIView> viewIfLoaded() const { return view_; }
  void setView(std::shared_ptr<UIView> view);
  // Makes the view and sets it; a plain UIView unless a subclass makes another.
  virtual void loadView();
  virtual void viewDidLoad() {}
  virtual void viewWillAppear(bool /*animated*/) {}
  // "viewDidAppear:". A subclass calls up.
  virtual void viewDidAppear(bool animated);
  virtual void viewWillDisappear(bool /*animated*/) {}
  virtual void viewDidDisappear(bool /*animated*/) {}
  // The view has got its size.
  virtual void viewDidLayoutSubviews() {}

  virtual std::optional<String> title() const { return title_; }
  // Also that of the items below.
  void setTitle(std::optional<String> title);
  // Made on first use, with the title that the controller has then.
  virtual std::shared_ptr<UINavigationItem> navigationItem();
  virtual std::shared_ptr<UITabBarItem> tabBarItem();

  // Containment. Adding takes the controller from its parent or presenter; who adds also places the view and
  // announces the appearance, as the containers of this layer do. A controller cannot be added below itself:
  // throws std::invalid_argument. One that is removed while it is shown disappears before.
  virtual UIViewController* parentViewController() const { return parent_; }
  virtual Children childViewControllers() const { return children_; }
  void addChildViewController(std::shared_ptr<UIViewController> child);
  void removeFromParentViewController();
  // The nearest one among the parents; null when there is none.
  UINavigationController* navigationController() const;
  // A container's calls about a child. They reach the child only in pairs and only while the container itself
  // is on screen; when that appears or disappears, the children that are shown do so with it.
  void beginAppearanceTransition(bool isAppearing, bool animated);
  void endAppearanceTransition();
  // Those children that appear with the container; all unless a class shows one at a time.
  virtual Children appearingChildren() const { return childViewControllers(); }
  bool isViewAppeared() const { return appearance_ == Appearance::Appeared; }

  // Presentation. The presenter is the outermost parent of the receiver; a presented controller covers the
  // window. In full screen the presenter disappears; below a sheet, or over the present context, it stays.
  // "presentViewController:animated:completion:". A controller that presents something already, or one that
  // is on no screen, logs a warning and does nothing.
  virtual void presentViewController(const std::shared_ptr<UIViewController>& controller, bool animated,
                                     const Completion& completion = nullptr);
  // "dismissViewControllerAnimated:completion:". Takes away what the receiver presents, with everything
  // presented on top of it, or, when it presents nothing, the receiver itself. With nothing to take away only
  // the completion is called.
  virtual void dismissViewController(bool animated, const Completion& completion = nullptr);
  virtual std::shared_ptr<UIViewController> presentedViewController() const;
  virtual UIViewController* presentingViewController() const;
  // Automatic is a sheet, on systems before 13 full screen.
  enum class ModalPresentationStyle { Automatic, FullScreen, PageSheet, OverCurrentContext };
  ModalPresentationStyle modalPresentationStyle() const { return modalPresentationStyle_; }
  void setModalPresentationStyle(ModalPresentationStyle style) { modalPresentationStyle_ = style; }

  // The view's superview, which is the window for a root; without one the presenter.
  UIResponder* nextResponder() const override;

 protected:
  // While it lives, children are no longer listed but still know their parent: they are leaving the screen.
  class Withdrawal {
   public:
    // Of the children from the index on.
    Withdrawal(UIViewController& parent, std::size_t first);
    ~Withdrawal();
    Withdrawal(const Withdrawal&) = delete;
    Withdrawal& operator=(const Withdrawal&) = delete;

   private:
    const std::shared_ptr<NSObject> keepAlive_;
    UIViewController& parent_;
    const Children children_;
  };

 private:
  enum class Appearance { Disappeared, Appearing, Appeared, Disappearing };

  // The transitions of this controller and its children, whatever it presents.
  void beginOwnTransition(bool isAppearing, bool animated);
  void endOwnTransition();
  void beginAppearing(bool animated);
  void beginDisappearing(bool animated);
  void leaveScreen();
  bool isOnScreen() const {
    return appearance_ == Appearance::Appearing || appearance_ == Appearance::Appeared;
  }
  bool shows(UIViewController& child) const;

  void present(const std::shared_ptr<UIViewController>& controller, bool animated,
               const Completion& completion);
  void dismiss(bool animated, const Completion& completion);
  void dismissPresented(bool animated);
  const char* refusalToPresent(const UIViewController* controller) const;
  bool isFullScreen() const;
  bool isCovered() const;
  Children presentedChain() const;
  void coverWithPresented();
  void hideCoveredView();
  void uncover();
  void arrangePresentedViews();

  std::shared_ptr<UIView> view_;
  std::optional<String> title_;
  std::shared_ptr<UINavigationItem> navigationItem_;
  std::shared_ptr<UITabBarItem> tabBarItem_;
  UIViewController* parent_ = nullptr;
  Children children_;
  std::shared_ptr<UIViewController> presented_;
  UIViewController* presenting_ = nullptr;
  Appearance appearance_ = Appearance::Disappeared;
  unsigned transition_ = 0;  // counts those begun
  bool transitionAnimated_ = false;
  bool isLoadingView_ = false;
  bool isDismissing_ = false;
  // Where the view was before it was covered.
  std::weak_ptr<UIView> coveredSuperview_;
  std::size_t coveredIndex_ = 0;
  ModalPresentationStyle modalPresentationStyle_ = ModalPresentationStyle::Automatic;
};

}  // namespace platform
