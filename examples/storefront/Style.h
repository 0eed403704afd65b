#pragma once

#include <memory>
#include <string>

#include "platform/uikit/UIKit.h"

// The shop's colours, fonts and the parts that its screens are made of.
namespace style {

inline constexpr auto kInk = platform::Color::fromRGB(0x22282E);
inline constexpr auto kMuted = platform::Color::fromRGB(0x6B737B);
inline constexpr auto kPaper = platform::Color::fromRGB(0xFAF8F4);
inline constexpr auto kCard = platform::Color::white();
inline constexpr auto kLine = platform::Color::fromRGB(0xE4DFD6);
inline constexpr auto kAccent = platform::Color::fromRGB(0x2F7D6B);

inline constexpr double kMargin = 20;
inline constexpr double kRowHeight = 48;

std::shared_ptr<platform::UILabel> title(const std::string& text);
std::shared_ptr<platform::UILabel> text(const std::string& text);
std::shared_ptr<platform::UIButton> primaryButton(const std::string& title);
std::shared_ptr<platform::UIButton> plainButton(const std::string& title);
std::shared_ptr<platform::UITextField> field(const std::string& placeholder);
std::shared_ptr<platform::UITableViewCell> row(const std::string& text, const std::string& detail);

}  // namespace style
