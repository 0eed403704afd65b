#include "src/events/KovaURLString.h"

#include <algorithm>

#include "platform/foundation/Text.h"
#include "src/core/Clock.h"
#include "src/core/Ids.h"
#include "src/core/URLEncoding.h"
#include "src/identity/KISessionManager.h"

using namespace platform;

void KOVA_appendParameter(std::string& url, std::string_view name, const std::optional<Value>& value) {
  KOVA_appendParameterEncoded(url, name, kova::urlEncode(value));
}

void KOVA_appendParameterEncoded(std::string& url, std::string_view name, std::string_view encodedValue) {
  url += '&';
  url += name;
  url += '=';
  url += encodedValue;
}

void KOVA_appendTimestampParameter(std::string& url) {
  KOVA_appendParameterEncoded(url, "ts", kova::epochString());
}

void KOVA_appendMostRecentPageviewIdOrRandomNumber(std::string& url, const KISessionManager& sessionManager) {
  const auto pageview = sessionManager.mostRecentPageviewInfo();
  const Value* id = pageview ? pageview->find("id") : nullptr;
  KOVA_appendParameter(url, "v", id ? *id : Value(kova::randomId()));
}

void KOVA_addPairedProperties(std::string& url, const std::optional<Dictionary>& properties,
                              std::string_view destinationKey) {
  if (!properties) return;
  for (const auto& [key, value] : *properties) {
    KOVA_appendParameter(url, destinationKey, kova::urlEncode(key));
    KOVA_appendParameter(url, destinationKey, kova::urlEncode(value));
  }
}

Dictionary KOVA_dictionaryExtractingQueryParameters(std::string_view url,
                                                    std::initializer_list<std::string_view> names) {
  MutableDictionary values;
  const std::size_t question = url.find('?');
  std::string_view query = question == std::string_view::npos ? std::string_view() : url.substr(question + 1);
  query = query.substr(0, query.find('#'));
  while (!query.empty()) {
    const std::string_view item = query.substr(0, query.find('&'));
    query.remove_prefix(std::min(item.size() + 1, query.size()));
    const std::size_t equals = item.find('=');
    if (equals == std::string_view::npos) continue;
    const std::string_view name = item.substr(0, equals);
    if (std::find(names.begin(), names.end(), name) == names.end()) continue;
    if (const auto value = removingPercentEncoding(item.substr(equals + 1))) values.set(name, *value);
  }
  return Dictionary(std::move(values));
}
