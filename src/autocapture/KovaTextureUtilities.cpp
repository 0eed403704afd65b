#include "src/autocapture/KovaTextureUtilities.h"

#include <Kova/KovaConstants.h>

#include "platform/foundation/NSException.h"
#include "platform/runtime/NSObject.h"

using namespace platform;

namespace {

constexpr std::string_view kTextureViewClass = "_ASDisplayView";
constexpr std::string_view kAttributedStringClass = "NSAttributedString";

// The class may come from the toolkit or from elsewhere: only its name tells what it is.
bool isAttributedString(const NSObject& object) {
  const Class* cls = &object.isa();
  while (cls && cls->name() != kAttributedStringClass) cls = cls->superclass();
  return cls != nullptr;
}

}  // namespace

bool KovaTextureUtilities::isTextureNode(const NSObject& object) {
  return object.isa().name() == kTextureViewClass;
}

std::optional<String> KovaTextureUtilities::getTextFromTextureNode(const NSObject& object) {
  try {
    const KeyValue title = object.valueForKeyPath(TITLE_PATH);
    const auto* attributed = std::get_if<std::shared_ptr<NSObject>>(&title);
    if (!attributed || !isAttributedString(**attributed)) return std::nullopt;
    const KeyValue plain = (*attributed)->valueForKey("string");
    if (const auto* text = std::get_if<std::string>(&plain)) return String(*text);
  } catch (const ForcedUnwind&) {
    throw;
  } catch (...) {
    // The toolkit's business; a touch without text is a touch all the same.
  }
  return std::nullopt;
}
