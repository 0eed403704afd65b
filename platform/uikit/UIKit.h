#pragma once

// The whole layer, for apps.

#include "platform/uikit/UIAlertController.h"
#include "platform/uikit/UIApplication.h"
#include "platform/uikit/UIButton.h"
#include "platform/uikit/UIDevice.h"
#include "platform/uikit/UIImageView.h"
#include "platform/uikit/UILabel.h"
#include "platform/uikit/UILongPressGestureRecognizer.h"
#include "platform/uikit/UINavigationController.h"
#include "platform/uikit/UIPanGestureRecognizer.h"
#include "platform/uikit/UIScreen.h"
#include "platform/uikit/UIScrollView.h"
#include "platform/uikit/UISegmentedControl.h"
#include "platform/uikit/UISwipeGestureRecognizer.h"
#include "platform/uikit/UITabBarController.h"
#include "platform/uikit/UITableViewCell.h"
#include "platform/uikit/UITapGestureRecognizer.h"
#include "platform/uikit/UITextField.h"
#include "platform/uikit/UITouchInput.h"
#include "platform/uikit/UIWindow.h"
#include "platform/uikit/UIWindowScene.h"
