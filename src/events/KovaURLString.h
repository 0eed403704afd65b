#pragma once

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "platform/foundation/Value.h"

class KISessionManager;

// What the library adds to strings that are, or become, pixel URLs.

// Appends "&name=" and the encoded text of the value.
void KOVA_appendParameter(std::string& url, std::string_view name,
                          const std::optional<platform::Value>& value);
// Appends "&name=value", nothing encoded.
void KOVA_appendParameterEncoded(std::string& url, std::string_view name, std::string_view encodedValue);
// Appends "ts" with the current time in milliseconds since 1970, unencoded.
void KOVA_appendTimestampParameter(std::string& url);
// Appends "v": the id of the session's most recent pageview, or a fresh random id when there is none.
void KOVA_appendMostRecentPageviewIdOrRandomNumber(std::string& url, const KISessionManager& sessionManager);
// Appends the parameter twice for each entry, with its key and then with its value, both encoded twice.
void KOVA_addPairedProperties(std::string& url, const std::optional<platform::Dictionary>& properties,
                              std::string_view destinationKey);

// The decoded values of those query parameters of the URL whose names are listed; a later one of the same
// name replaces an earlier one.
platform::Dictionary KOVA_dictionaryExtractingQueryParameters(std::string_view url,
                                                              std::initializer_list<std::string_view> names);
