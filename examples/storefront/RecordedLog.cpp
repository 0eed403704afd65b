#include "examples/storefront/RecordedLog.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <optional>
#include <sstream>
#include <string_view>
#include <utility>

#include "platform/foundation/SystemLog.h"
#include "platform/foundation/Text.h"

namespace {

constexpr std::string_view kDebugLine = "[KOVA DEBUG]: ";
constexpr std::size_t kKindWidth = 10;

using Fields = std::map<std::string, std::string, std::less<>>;

// The lines "   Name      : value", up to the first that is none.
Fields fieldsOf(std::string_view message) {
  Fields fields;
  std::istringstream lines{std::string(message)};
  std::string line;
  std::getline(lines, line);
  while (std::getline(lines, line)) {
    const auto colon = line.find(" : ");
    if (colon == std::string::npos) break;
    fields[std::string(platform::trimmingWhitespaceAndNewlines(line.substr(0, colon)))] =
        line.substr(colon + 3);
  }
  return fields;
}

std::string valueOf(const Fields& fields, std::string_view name) {
  const auto found = fields.find(name);
  return found == fields.end() ? "" : found->second;
}

std::string withOneSpace(std::string_view text) {
  std::istringstream words{std::string(text)};
  std::string joined;
  for (std::string word; words >> word;) joined += (joined.empty() ? "" : " ") + word;
  return joined;
}

std::string lineOf(std::string kind, const std::string& what) {
  kind.resize(std::max(kKindWidth, kind.size() + 1), ' ');
  return kind + what;
}

std::string interactionLine(const Fields& fields) {
  std::string what = valueOf(fields, "Target Text");
  for (const char* other : {"Target View accessibilityLabel", "Target View Class"}) {
    if (what.empty()) what = valueOf(fields, other);
  }
  const auto add = [&what](const char* before, const std::string& value, const char* after) {
    if (!value.empty()) what += before + value + after;
  };
  add("  → ", valueOf(fields, "Action Method"), "");
  add("  [", valueOf(fields, "Target View Name"), "]");
  add("  on ", valueOf(fields, "View controller"), "");
  return lineOf(valueOf(fields, "Event Type"), what);
}

std::string pageviewLine(const Fields& fields) {
  const std::string title = valueOf(fields, "View controller title");
  return lineOf("pageview", valueOf(fields, "View controller") + (title.empty() ? "" : "  “" + title + "”"));
}

// `rest`: "name" with\n - properties: {…}\n - eventProperties: {…}
std::string customLine(std::string_view rest) {
  const auto name = rest.substr(0, rest.find(" with\n"));
  const auto properties = rest.find("properties: ");
  const auto end = rest.find("\n - eventProperties");
  const auto shown =
      properties < end ? rest.substr(properties + 12, end - properties - 12) : std::string_view();
  return lineOf("event", std::string(name) + "  " + withOneSpace(shown));
}

std::optional<std::string> recordIn(std::string_view message) {
  const auto isAbout = [&message](std::string_view beginning) {
    if (!message.starts_with(beginning)) return false;
    message.remove_prefix(beginning.size());
    return true;
  };
  if (isAbout("Logged event with properties:")) return interactionLine(fieldsOf(message));
  if (isAbout("Logged view controller with properties:")) return pageviewLine(fieldsOf(message));
  if (isAbout("Logged custom event ")) return customLine(message);
  if (isAbout("Ignoring view "))
    return lineOf("ignored", valueOf(fieldsOf(message), "Class") + ", as the app asks");
  if (isAbout("WebSocketConnection - ")) return lineOf("dashboard", std::string(message));
  return std::nullopt;
}

}  // namespace

void RecordedLog::readBy(Reader reader) {
  platform::SystemLog::setSink([reader = std::move(reader)](std::string_view message) {
    if (!message.starts_with(kDebugLine)) {
      std::fprintf(stderr, "%.*s\n", static_cast<int>(message.size()), message.data());
      return;
    }
    if (auto line = recordIn(message.substr(kDebugLine.size()))) reader(*std::move(line));
  });
}
