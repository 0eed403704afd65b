#pragma once

#include <QApplication>
#include <QMenu>
#include <QTemporaryDir>
#include <QTest>
#include <optional>
#include <string>
#include <vector>

#include "platform/foundation/NSNotificationCenter.h"
#include "platform/qt/QtApplication.h"
#include "platform/qt/QtView.h"
#include "platform/uikit/UIButton.h"
#include "platform/uikit/UISegmentedControl.h"
#include "platform/uikit/UITableViewCell.h"
#include "platform/uikit/UITextField.h"
#include "platform/uikit/UIViewController.h"

namespace platform {

// A Qt application without a screen, and a record of what the platform is told of it.
class QtHost {
 public:
  using Lines = std::vector<std::string>;

  QtHost() {
    qputenv("XDG_DATA_HOME", folder_.path().toUtf8());
    qputenv("QT_QPA_PLATFORM", "offscreen");
    beginApplication();
    QCoreApplication::setApplicationName("Rows");
    QtOptions options;
    options.screenProperty = "screen";
    options.willQuit = [] { lines().push_back("quits"); };
    options.itemTexts.substitute = "****";
    startQtApplication(std::move(options));
    originalSend() = UIApplication::sendEventMethod.replace(UIApplication::classObject(), sendEvent);
    UIApplication::sendActionMethod.replace(UIApplication::classObject(), sendAction);
    UIViewController::viewDidAppearMethod.replace(UIViewController::classObject(), appear);
    NSNotificationCenter::defaultCenter().addObserver(
        UITextFieldTextDidEndEditingNotification, [](const NSNotification& notification) {
          lines().push_back("edit " + nameOf(static_cast<const UIView&>(*notification.object)));
        });
  }

  static Lines& lines() {
    static auto& all = *new Lines;
    return all;
  }
  // What was told since the last call.
  static Lines take() {
    QCoreApplication::processEvents();
    return std::exchange(lines(), {});
  }

  static void show(QWidget& window) {
    window.show();
    EXPECT_TRUE(QTest::qWaitForWindowExposed(&window));
    window.activateWindow();
    EXPECT_TRUE(QTest::qWaitForWindowActive(&window));
  }
  // The application object goes, and another comes.
  void endApplication() { application_.reset(); }
  void beginApplication() { application_.emplace(argumentCount_, arguments_); }

  // As the window system reports it, in the middle unless a position is given.
  static void click(QWidget& widget, QPoint position = {-1, -1}) {
    if (position.x() < 0) position = widget.rect().center();
    QTest::mouseClick(widget.window()->windowHandle(), Qt::LeftButton, {},
                      widget.mapTo(widget.window(), position));
  }
  static void type(QWidget& widget, int key, Qt::KeyboardModifiers modifiers = {}) {
    QTest::keyClick(widget.window()->windowHandle(), Qt::Key(key), modifiers);
  }

  // "QPushButton#save 'Save'"
  static std::string nameOf(const UIView& view) {
    std::string name = view.isa().name();
    if (const auto identifier = view.accessibilityIdentifier()) name += "#" + identifier->str();
    if (const auto text = textOf(view)) name += " '" + text->str() + "'";
    return name;
  }

 private:
  static std::optional<String> textOf(const UIView& view) {
    if (const auto* label = dynamic_cast<const UILabel*>(&view)) return label->text();
    if (const auto* button = dynamic_cast<const UIButton*>(&view)) return button->titleLabel()->text();
    if (const auto* cell = dynamic_cast<const UITableViewCell*>(&view)) return cell->textLabel()->text();
    if (const auto* field = dynamic_cast<const UITextField*>(&view)) return field->text();
    return view.accessibilityLabel();
  }

  static decltype(UIApplication::sendEventMethod)::Imp& originalSend() {
    static decltype(UIApplication::sendEventMethod)::Imp original;
    return original;
  }
  static void sendEvent(UIApplication& self, SEL selector, UIEvent& event) {
    const auto& touch = event.allTouches().front();
    if (touch->phase() == UITouchPhase::Began) lines().push_back("touch " + nameOf(*touch->view()));
    originalSend()(self, selector, event);
  }
  static bool sendAction(UIApplication&, SEL, SEL action, NSObject*, NSObject* sender, UIEvent*) {
    lines().push_back("action " + NSStringFromSelector(action) + " of " + sender->isa().name());
    return true;
  }
  static void appear(UIViewController& self, SEL, bool) {
    lines().push_back("appear " + self.isa().name() + " '" + self.title().value_or("").str() + "'");
  }

  QTemporaryDir folder_;
  int argumentCount_ = 1;
  char* arguments_[2] = {const_cast<char*>("rows"), nullptr};
  std::optional<QApplication> application_;
};

}  // namespace platform
