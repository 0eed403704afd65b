// What a touch tells of its target: control, controller, variable, text and selector.

#include <Kova/KovaConstants.h>

#include "platform/foundation/Text.h"
#include "platform/uikit/UIButton.h"
#include "platform/uikit/UIControl.h"
#include "platform/uikit/UILabel.h"
#include "platform/uikit/UITableViewCell.h"
#include "platform/uikit/UITextField.h"
#include "platform/uikit/UIViewController+Variables.h"
#include "src/autocapture/KovaTextureUtilities.h"
#include "src/autocapture/TouchTarget.h"
#include "src/autocapture/UIResponder+KovaIgnore.h"

using namespace platform;

namespace {

constexpr int kMaximumResponderSteps = 30;
constexpr int kMaximumTextDepth = 4;
constexpr std::size_t kMaximumTextLength = 64;  // UTF-16 units
constexpr std::size_t kSubviewsRead = 2;

// A class test by record is a few pointer comparisons, where dynamic_cast compares names.
template <class T>
T* as(UIResponder* responder) {
  return responder->isKindOfClass(T::classObject()) ? static_cast<T*>(responder) : nullptr;
}
template <class T>
const T* as(const UIView& view) {
  return view.isKindOfClass(T::classObject()) ? static_cast<const T*>(&view) : nullptr;
}

std::optional<String> textOfLabel(const std::shared_ptr<UILabel>& label) {
  return label ? label->text() : std::nullopt;
}

std::optional<String> textOfLeaf(const UIView& view) KOVA_ON_MAIN_THREAD {
  if (const auto* label = as<UILabel>(view)) return label->text();
  if (const auto* button = as<UIButton>(view)) return textOfLabel(button->titleLabel());
  if (const auto* cell = as<UITableViewCell>(view)) return textOfLabel(cell->textLabel());
  if (KovaTextureUtilities::isTextureNode(view)) return KovaTextureUtilities::getTextFromTextureNode(view);
  return std::nullopt;
}

// The beginning of `text` that matters when the whole is cut at `maxLength` units: one unit more than there
// is room for, so that the cut finds what completes the last character.
void appendText(std::string_view text, std::string& output, std::size_t maxLength) {
  if (!output.empty()) output += ' ';
  const std::size_t length = utf16Length(output);
  output += composedCharacterSequencesForPrefix(text, maxLength + 1 - std::min(length, maxLength));
}

// A controller's flag holds for its view.
bool redactsText(const UIView& view) KOVA_ON_MAIN_THREAD {
  const UIViewController* const controller = view.viewController();
  return kovaRedactText(view) || (controller && kovaRedactText(*controller));
}

// Null beyond the second subview. Asked for anew each time: reading the text of one view may run code of the
// app, which may move others.
std::shared_ptr<UIView> subviewAt(const UIView& view, std::size_t index) {
  const UIView::Subviews& subviews = view.subviews();
  return index < std::min(subviews.size(), kSubviewsRead) ? subviews[index] : nullptr;
}

}  // namespace

UIControl* kova::closestControl(UIView& view) {
  UIResponder* responder = &view;
  for (int steps = 0; responder && steps < kMaximumResponderSteps; ++steps) {
    if (as<UIViewController>(responder)) return nullptr;
    if (auto* control = as<UIControl>(responder)) return control;
    responder = responder->nextResponder();
  }
  return nullptr;
}

UIViewController* kova::owningViewController(const UIResponder& object) {
  UIResponder* responder = object.nextResponder();
  for (int steps = 0; responder && steps < kMaximumResponderSteps; ++steps) {
    if (auto* controller = as<UIViewController>(responder)) return controller;
    responder = responder->nextResponder();
  }
  return nullptr;
}

std::optional<String> kova::propertyName(const UIResponder& object) {
  UIViewController* const controller = owningViewController(object);
  const auto name = controller ? nameOfVariableMethod.send(*controller, object) : std::nullopt;
  return name && name->view().starts_with('_') ? String(name->view().substr(1)) : name;
}

String kova::getText(const UIView& view, bool redacted) {
  std::string output;
  extractText(view, output, redacted, 0, kMaximumTextLength);
  return String(truncateString(output, kMaximumTextLength));
}

bool kova::extractText(const UIView& view, std::string& output, bool redacted, int depth,
                       std::size_t maxLength) {
  if (depth > kMaximumTextDepth || as<UITextField>(view) || utf16Length(output) >= maxLength) return false;
  if (view.subviews().empty()) {
    const auto text = textOfLeaf(view);
    if (!text || text->empty()) return false;
    const bool isRedacted = redacted || (KOVA_ownLabelRules(view) & kKovaIgnoreRuleRedactText);
    appendText(isRedacted ? KovaRedactedTextSubstitution : text->view(), output, maxLength);
    return true;
  }
  bool appended = false;
  for (std::size_t i = 0; const auto subview = subviewAt(view, i); ++i) {
    const bool isSubviewRedacted = redacted || redactsText(*subview);
    appended |= extractText(*subview, output, isSubviewRedacted, depth + 1, maxLength);
    // One substitution stands for a redacted tree.
    if (redacted && appended) break;
  }
  return appended;
}

std::string_view kova::truncateString(std::string_view text, std::size_t index) {
  return composedCharacterSequencesForPrefix(text, index);
}

std::optional<String> kova::trimSelector(const std::optional<String>& name) {
  if (!name || !name->view().ends_with(':')) return name;
  return String(name->view().substr(0, name->size() - 1));
}
