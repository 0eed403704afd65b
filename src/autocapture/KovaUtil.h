#pragma once

#include "src/autocapture/TouchTarget.h"
#include "src/core/Clock.h"
#include "src/core/Ids.h"
#include "src/core/UIApplication+DispatchState.h"
#include "src/core/URLEncoding.h"

// The small services that capture and message building share, under one name. Each has a header of its own,
// which says what it does and which the library itself includes.
class KovaUtil {
 public:
  KovaUtil() = delete;

  static constexpr auto& randomId = kova::randomId;
  static constexpr auto& epochString = kova::epochString;
  static constexpr auto& epochStringForDate = kova::epochStringForDate;
  static constexpr auto& timeSinceLastSelector = kova::timeSinceLastSelector;
  static constexpr auto& updateTimeForSelector = kova::updateTimeForSelector;

  static constexpr auto& appVisibilityState = kova::appVisibilityState;
  static constexpr auto& setAppVisibilityStateOverride = kova::setAppVisibilityStateOverride;
  static constexpr auto& appVisibilityStateOverride = kova::appVisibilityStateOverride;

  static constexpr auto& urlEncode = kova::urlEncode;
  static constexpr auto& urlDecode = kova::urlDecode;

  static constexpr auto& closestControl = kova::closestControl;
  static constexpr auto& propertyName = kova::propertyName;
  static constexpr auto& getText = kova::getText;
  static constexpr auto& extractText = kova::extractText;
  static constexpr auto& truncateString = kova::truncateString;
  static constexpr auto& trimSelector = kova::trimSelector;
};
