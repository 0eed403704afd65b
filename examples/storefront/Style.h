#pragma once

#include <memory>
#include <string>

#include "examples/support/Drawing.h"
#include "platform/uikit/UIKit.h"

// The shop's colours, fonts and the parts that its screens are made of.
namespace style {

struct Colours {
  platform::Color ink, muted, paper, card, line, accent, onAccent, bar;
  Ground ground;  // of pictures
};
// Of the light appearance, unless the dark one was chosen before the first screen was made.
const Colours& colours();
void chooseDark();

inline constexpr double kMargin = 20;
inline constexpr double kRowHeight = 48;

// A stack of screens below the device's status bar, that goes by the name of its first one.
std::shared_ptr<platform::UINavigationController> stackOf(
    const std::shared_ptr<platform::UIViewController>& root);
std::shared_ptr<platform::UILabel> title(const std::string& text);
std::shared_ptr<platform::UILabel> text(const std::string& text);
std::shared_ptr<platform::UIButton> primaryButton(const std::string& title);
std::shared_ptr<platform::UIButton> plainButton(const std::string& title);
std::shared_ptr<platform::UITextField> field(const std::string& placeholder);
std::shared_ptr<platform::UITableViewCell> row(const std::string& text, const std::string& detail);

}  // namespace style
