#include "examples/storefront/Style.h"

#include "examples/support/StatusBar.h"
#include "platform/uikit/UIAppearance.h"

using namespace platform;

namespace style {

namespace {

constexpr Colours kLight{.ink = Color::fromRGB(0x22282E),
                         .muted = Color::fromRGB(0x626A72),
                         .paper = Color::fromRGB(0xFAF8F4),
                         .card = Color::white(),
                         .line = Color::fromRGB(0xE4DFD6),
                         .accent = Color::fromRGB(0x2F7D6B),
                         .onAccent = Color::white(),
                         .bar = Color::fromRGB(0xFFFDFA),
                         .ground = Ground::Light};
constexpr Colours kDark{.ink = Color::fromRGB(0xECE9E3),
                        .muted = Color::fromRGB(0xA3A9AE),
                        .paper = Color::fromRGB(0x14181A),
                        .card = Color::fromRGB(0x1F2528),
                        .line = Color::fromRGB(0x343C40),
                        .accent = Color::fromRGB(0x63C2AB),
                        .onAccent = Color::fromRGB(0x0C1F1A),
                        .bar = Color::fromRGB(0x1A1F22),
                        .ground = Ground::Dark};

constinit const Colours* chosen = &kLight;

// What the platform paints by itself goes with the rest.
void paintSystemParts() {
  UIAppearance& parts = UIAppearance::shared();
  parts.label = colours().ink;
  parts.placeholder = colours().muted;
  parts.separator = colours().line;
  parts.bar = colours().bar;
  parts.alert = colours().card;
  parts.tint = colours().accent;
  parts.unselected = colours().muted;
  const bool isDark = colours().ground == Ground::Dark;  // what is raised is brighter there, too
  parts.segments = isDark ? colours().card : colours().line;
  parts.chosenSegment = isDark ? colours().line : colours().card;
  parts.keyboard = colours().paper;
  parts.key = colours().card;
  parts.specialKey = colours().line;
  parts.keyShadow = colours().line;
}

}  // namespace

const Colours& colours() { return *chosen; }

void chooseDark() { chosen = &kDark; }

std::shared_ptr<UINavigationController> stackOf(const std::shared_ptr<UIViewController>& root) {
  paintSystemParts();
  const auto stack = UINavigationController::create(root);
  stack->setTitle(root->title());
  stack->view()->addSubview(std::make_shared<StatusBar>(colours().ink));
  return stack;
}

std::shared_ptr<UILabel> title(const std::string& text) {
  const auto label = std::make_shared<UILabel>(text);
  label->setFont(UIFont::boldSystemFont(24));
  label->setTextColor(colours().ink);
  return label;
}

std::shared_ptr<UILabel> text(const std::string& text) {
  const auto label = std::make_shared<UILabel>(text);
  label->setFont(UIFont::systemFont(15));
  label->setTextColor(colours().muted);
  label->setNumberOfLines(0);
  return label;
}

std::shared_ptr<UIButton> primaryButton(const std::string& title) {
  const auto button = std::make_shared<UIButton>(title);
  button->titleLabel()->setFont(UIFont::systemFont(17, UIFont::Weight::Medium));
  button->setBackgroundColor(colours().accent);
  button->setTitleColor(colours().onAccent);
  button->setCornerRadius(12);
  return button;
}

std::shared_ptr<UIButton> plainButton(const std::string& title) {
  const auto button = std::make_shared<UIButton>(title);
  button->setTitleColor(colours().accent);
  return button;
}

std::shared_ptr<UITextField> field(const std::string& placeholder) {
  const auto field = std::make_shared<UITextField>();
  field->setPlaceholder(placeholder);
  field->setAccessibilityLabel(placeholder);
  field->setBackgroundColor(colours().card);
  field->setCornerRadius(10);
  field->setBorder(1, colours().line);
  return field;
}

std::shared_ptr<UITableViewCell> row(const std::string& text, const std::string& detail) {
  const auto cell = std::make_shared<UITableViewCell>();
  cell->textLabel()->setText(text);
  cell->textLabel()->setTextColor(colours().ink);
  cell->detailTextLabel()->setText(detail);
  cell->detailTextLabel()->setTextColor(colours().muted);
  cell->setBackgroundColor(colours().card);
  cell->setCornerRadius(10);
  cell->setClipsToBounds(true);
  cell->setBorder(1, colours().line);
  return cell;
}

}  // namespace style
