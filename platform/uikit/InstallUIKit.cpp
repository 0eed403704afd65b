#include "platform/uikit/InstallUIKit.h"

#include "platform/foundation/SystemLog.h"
#include "platform/runtime/RuntimeLog.h"
#include "platform/uikit/UIAlertController.h"
#include "platform/uikit/UIApplication.h"
#include "platform/uikit/UIButton.h"
#include "platform/uikit/UIEvent.h"
#include "platform/uikit/UIImageView.h"
#include "platform/uikit/UIKeyboardLayoutStar.h"
#include "platform/uikit/UILongPressGestureRecognizer.h"
#include "platform/uikit/UINavigationController.h"
#include "platform/uikit/UIPanGestureRecognizer.h"
#include "platform/uikit/UIScrollView.h"
#include "platform/uikit/UISegmentedControl.h"
#include "platform/uikit/UISwipeGestureRecognizer.h"
#include "platform/uikit/UITabBarController.h"
#include "platform/uikit/UITableViewCell.h"
#include "platform/uikit/UITapGestureRecognizer.h"
#include "platform/uikit/UITextField.h"
#include "platform/uikit/UITouch.h"
#include "platform/uikit/UIWindow.h"
#include "platform/uikit/UIWindowScene.h"

namespace platform {

namespace {

template <typename... Classes>
void enter() {
  (static_cast<void>(Classes::classObject()), ...);
}

}  // namespace

void installUIKit() {
  setRuntimeLog(NSLog);
  // A class brings its superclasses with it.
  enter<UIApplication, UIEvent, UITouch, UIWindow, UIWindowScene>();
  enter<UITapGestureRecognizer, UILongPressGestureRecognizer, UIPanGestureRecognizer,
        UISwipeGestureRecognizer>();
  enter<UIButton, UIImageView, UIKeyboardLayoutStar, UILabel, UIScrollView, UISegmentedControl,
        UITableViewCell, UITextField>();
  enter<UIAlertController, UINavigationController, UINavigationItem, UITabBarController, UITabBarItem>();
}

}  // namespace platform
