#include "src/pageviews/PageviewInfo.h"

#include <Kova/KovaConstants.h>
#include <Kova/KovaOptions.h>

#include "platform/foundation/NSJSONSerialization.h"
#include "platform/uikit/UINavigationController.h"
#include "platform/uikit/UITabBarController.h"
#include "src/core/Clock.h"
#include "src/core/Ids.h"
#include "src/core/KovaLogger.h"
#include "src/core/NSObject+ClassOf.h"
#include "src/core/NSObject+TextForKey.h"

using namespace platform;

namespace {

std::optional<String> titleOf(const std::shared_ptr<UIBarItem>& item) {
  return item ? item->title() : std::nullopt;
}

// The parent decides for a screen in a navigation controller, the controller itself when it is a tab bar.
std::optional<String> titleOf(UIViewController& controller) {
  if (dynamic_cast<const UINavigationController*>(controller.parentViewController())) {
    return titleOf(controller.navigationItem());
  }
  if (dynamic_cast<const UITabBarController*>(&controller)) return titleOf(controller.tabBarItem());
  return controller.title();
}

std::optional<Dictionary> overriddenPageviewPropertiesForViewController(UIViewController& controller,
                                                                        const KovaOptions& options) {
  const auto delegate = options.autocaptureEnrichmentDelegate();
  return delegate ? delegate->autocapturePageviewPropertiesForViewController(controller) : std::nullopt;
}

// Every message of the session carries these properties: one that JSON cannot hold would stop them all.
void mergeSendable(MutableDictionary& info, const Dictionary& overridden) {
  for (const auto& [key, value] : overridden) {
    if (value.isNull()) continue;
    if (NSJSONSerialization::isValidJSONObject(MutableDictionary{{key, value}})) {
      info.set(key, value);
    } else {
      KovaLogDebug("Pageview property %@ cannot be sent and was discarded", key);
    }
  }
}

}  // namespace

Dictionary kova::pageviewInfoForViewController(UIViewController& controller, const KovaOptions& options) {
  static const SEL identifierKey("accessibilityIdentifier");
  // Controllers have none of their own: only classes of the app that give themselves one.
  const auto identifier = KOVA_textForKey(controller, identifierKey);
  const auto title = options.disableTitleCapture() ? std::nullopt : titleOf(controller);
  const auto label =
      options.disableAccessibilityLabelCapture() ? std::nullopt : controller.accessibilityLabel();
  MutableDictionary info;
  info.reserve(4);
  info.append(KovaPageviewPropertyViewController, KOVA_classOf(controller).name());
  info.append(KovaPageviewPropertyTitle, title.value_or(String()));
  info.append(KovaPageviewPropertyAccessibilityIdentifier, identifier.value_or(String()));
  info.append(KovaPageviewPropertyAccessibilityLabel, label.value_or(String()));
  if (const auto overridden = overriddenPageviewPropertiesForViewController(controller, options)) {
    mergeSendable(info, *overridden);
    if (options.disableAccessibilityLabelCapture()) info.set(KovaPageviewPropertyAccessibilityLabel, "");
    if (options.disableTitleCapture()) info.set(KovaPageviewPropertyTitle, "");
  }
  return Dictionary(std::move(info));
}

Dictionary kova::applyTimestampAndIdToPageviewInfo(const Dictionary& pageviewInfo) {
  MutableDictionary info(pageviewInfo);
  info.set(KovaPageviewPropertyTimestamp, epochString());
  info.set(KovaPageviewPropertyId, randomId());
  return Dictionary(std::move(info));
}

std::string kova::descriptionOfPageviewInfo(const Dictionary& pageviewInfo) {
  struct Line {
    std::string_view key;
    const char* label;
  };
  const Line lines[] = {
      {KovaPageviewPropertyViewController, "\n   View controller                         : "},
      {KovaPageviewPropertyTitle, "\n   View controller title                   : "},
      {KovaPageviewPropertyAccessibilityIdentifier, "\n   View controller accessibilityIdentifier : "},
      {KovaPageviewPropertyAccessibilityLabel, "\n   View controller accessibilityLabel      : "},
  };
  std::string text;
  for (const Line& line : lines) {
    const Value* value = pageviewInfo.find(line.key);
    if (value && !value->description().empty()) (text += line.label) += value->description();
  }
  return text;
}
