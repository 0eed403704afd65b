#include "src/autocapture/UIResponder+KovaAncestry.h"

#include <Kova/KovaConstants.h>

#include <array>
#include <cstdint>
#include <unordered_map>

#include "platform/dispatch/Scheduler.h"
#include "platform/uikit/UIView.h"
#include "src/autocapture/KICaptureContext.h"
#include "src/autocapture/UIResponder+KovaIgnore.h"
#include "src/core/NSObject+ClassOf.h"

using namespace platform;

namespace {

constexpr std::size_t kUsualNodeEntries = 3;

// Keys of every node and every box. Those too long to lie within a Value are made once and shared.
struct NodeKeys {
  const Value className = KovaAncestryNodePropertyClass;
  const Value label = KovaAncestryNodePropertyAccessibilityLabel;
  const Value identifier = KovaAncestryNodePropertyAccessibilityIdentifier;
  const Value boundingBox = KovaAncestryNodePropertyBoundingBox;
  const Value redacted = KovaRedactedTextSubstitution;
};

const NodeKeys& keys() {
  static const NodeKeys& instance = *new NodeKeys;
  return instance;
}

Dictionary makeNodeOfClass(const Class& cls) { return Dictionary{{keys().className, cls.name()}}; }

// The node of a responder that has nothing but its class, as most have: made once a class.
Dictionary nodeOfClass(const Class& cls) {
  static auto& nodes = *new std::unordered_map<const Class*, Dictionary>;
  if (!Scheduler::current().isMainThread()) return makeNodeOfClass(cls);
  const auto [entry, isNew] = nodes.try_emplace(&cls);
  if (isNew) entry->second = makeNodeOfClass(cls);
  return entry->second;
}

MutableDictionary entriesOf(const Class& cls, const std::optional<String>& label,
                            const std::optional<String>& identifier) {
  MutableDictionary entries;
  entries.reserve(kUsualNodeEntries);
  entries.append(keys().className, cls.name());
  if (label) entries.append(keys().label, *label);
  if (identifier) entries.append(keys().identifier, *identifier);
  return entries;
}

// Whether the node, one of that class, tells this and nothing else.
bool tells(const Dictionary& node, const std::optional<String>& label,
           const std::optional<String>& identifier) {
  const Entry* entry = node.begin() + 1;
  const auto isNext = [&entry](const Value& key, const String& text) {
    const bool isIt = entry->first.string() == key.string() && entry->second.string() == text;
    ++entry;
    return isIt;
  };
  return node.size() == 1u + label.has_value() + identifier.has_value() &&
         (!label || isNext(keys().label, *label)) && (!identifier || isNext(keys().identifier, *identifier));
}

// Who is touched has mostly the ancestors of who was touched before: the last node of each is kept, as far as
// there is room, and shared by all events for as long as it tells the same.
Dictionary nodeOfResponder(const UIResponder& responder, const Class& cls, const std::optional<String>& label,
                           const std::optional<String>& identifier) {
  if (!Scheduler::current().isMainThread()) return Dictionary(entriesOf(cls, label, identifier));
  struct Kept {
    const Class* cls = nullptr;
    Dictionary node;
  };
  constexpr std::size_t kKept = 256;
  constexpr std::uint64_t kSpread = 0x9e3779b97f4a7c15u;
  static auto& all = *new std::array<Kept, kKept>;
  const auto address = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(&responder));
  Kept& kept = all[(address * kSpread >> 32) % kKept];
  if (kept.cls != &cls || !tells(kept.node, label, identifier))
    kept = {&cls, Dictionary(entriesOf(cls, label, identifier))};
  return kept.node;
}

Dictionary boxDictionary(const CGRect& box) {
  return {{"upperLeftOrigin", Dictionary{{"x", CGRectGetMinX(box)}, {"y", CGRectGetMinY(box)}}},
          {"size", Dictionary{{"width", box.size.width}, {"height", box.size.height}}}};
}

bool isEmptyText(const Value& value) { return value.isString() && value.string().empty(); }

// The app's entries win, but never bring back a label that is left out or redacted.
void mergeOverrides(MutableDictionary& node, const Dictionary& overrides, bool labelOff, bool redactLabel) {
  MutableDictionary entries;
  for (const auto& [key, value] : overrides) {
    if (!value.isNull()) entries.append(key, value);
  }
  node.merge(Dictionary(std::move(entries)));
  if (!labelOff && !redactLabel) return;
  const Value* label = node.find(KovaAncestryNodePropertyAccessibilityLabel);
  if (label && labelOff) {
    node.remove(KovaAncestryNodePropertyAccessibilityLabel);
  } else if (label && !isEmptyText(*label)) {
    node.set(keys().label, keys().redacted);
  }
}

}  // namespace

Dictionary KOVA_autocaptureAncestryMetadata(UIResponder& responder, const KICaptureContext& context,
                                            bool captureBoundingBox, unsigned& ignoreRules) {
  const bool labelOff = context.isAccessibilityLabelCaptureDisabled();
  bool redactLabel = false;
  if (!labelOff && KOVA_shouldCheckIgnore()) {
    ignoreRules |= KOVA_ignoreRules(responder);
    const unsigned rules = ignoreRules | KOVA_ownLabelRules(responder);
    redactLabel = (rules & kKovaIgnoreRuleRedactAccessibilityLabel) != 0;
  }

  std::optional<String> label;
  if (!labelOff) label = responder.accessibilityLabel();
  std::optional<String> identifier;
  if (responder.isKindOfClass(UIView::classObject())) {
    identifier = static_cast<UIView&>(responder).accessibilityIdentifier();
  }
  CGRect box = CGRectNull;
  if (captureBoundingBox) box = KOVA_autocaptureBoundingBox(responder);

  const Class& cls = KOVA_classOf(responder);
  const auto overrides = context.overriddenAncestryNodePropertiesForResponder(&responder);
  if (redactLabel && label && !label->empty()) label = keys().redacted.string();
  if (CGRectIsNull(box) && !overrides)
    return label || identifier ? nodeOfResponder(responder, cls, label, identifier) : nodeOfClass(cls);

  MutableDictionary entries = entriesOf(cls, label, identifier);
  if (!CGRectIsNull(box)) entries.append(keys().boundingBox, boxDictionary(box));
  if (overrides) mergeOverrides(entries, *overrides, labelOff, redactLabel);
  return Dictionary(std::move(entries));
}

CGRect KOVA_autocaptureBoundingBox(const UIResponder& responder) {
  if (!responder.isKindOfClass(UIView::classObject())) return CGRectNull;
  const auto& view = static_cast<const UIView&>(responder);
  return view.convertRectToView(view.bounds(), nullptr);
}
