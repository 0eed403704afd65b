#include "examples/storefront/Style.h"

using namespace platform;

namespace style {

std::shared_ptr<UILabel> title(const std::string& text) {
  const auto label = std::make_shared<UILabel>(text);
  label->setFont(UIFont::boldSystemFont(24));
  label->setTextColor(kInk);
  return label;
}

std::shared_ptr<UILabel> text(const std::string& text) {
  const auto label = std::make_shared<UILabel>(text);
  label->setFont(UIFont::systemFont(15));
  label->setTextColor(kMuted);
  label->setNumberOfLines(0);
  return label;
}

std::shared_ptr<UIButton> primaryButton(const std::string& title) {
  const auto button = std::make_shared<UIButton>(title);
  button->titleLabel()->setFont(UIFont::systemFont(17, UIFont::Weight::Medium));
  button->setBackgroundColor(kAccent);
  button->setCornerRadius(12);
  return button;
}

std::shared_ptr<UIButton> plainButton(const std::string& title) {
  const auto button = std::make_shared<UIButton>(title);
  button->setTitleColor(kAccent);
  return button;
}

std::shared_ptr<UITextField> field(const std::string& placeholder) {
  const auto field = std::make_shared<UITextField>();
  field->setPlaceholder(placeholder);
  field->setAccessibilityLabel(placeholder);
  field->setBackgroundColor(kCard);
  field->setCornerRadius(10);
  field->setBorder(1, kLine);
  return field;
}

std::shared_ptr<UITableViewCell> row(const std::string& text, const std::string& detail) {
  const auto cell = std::make_shared<UITableViewCell>();
  cell->textLabel()->setText(text);
  cell->textLabel()->setTextColor(kInk);
  cell->detailTextLabel()->setText(detail);
  cell->detailTextLabel()->setTextColor(kMuted);
  cell->setBackgroundColor(kCard);
  cell->setCornerRadius(10);
  cell->setClipsToBounds(true);
  cell->setBorder(1, kLine);
  return cell;
}

}  // namespace style
