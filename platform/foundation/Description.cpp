// The text that "%@" writes of a Value. Collections are written in the platform's property-list style: one
// entry a line, four blanks a level, dictionaries in ascending order of their keys when all keys are strings,
// text in quotes unless it consists of ASCII letters and digits alone.

#include <algorithm>
#include <vector>

#include "platform/foundation/ASCII.h"
#include "platform/foundation/Decimal.h"
#include "platform/foundation/Text.h"
#include "platform/foundation/Value.h"
#include "platform/runtime/NSObject.h"

namespace platform {

namespace {

// Deeper collections are written as "…": a description serves people, and must not exhaust the stack.
constexpr int kDeepestLevel = 200;

bool standsWithoutQuotes(std::string_view text) {
  return !text.empty() && std::ranges::all_of(text, isASCIIAlphanumeric);
}

// The digits of a number in a base of 2^bits, with zeros in front.
void appendDigits(std::string& out, char16_t number, int digits, int bits) {
  for (int i = digits - 1; i >= 0; --i)
    out += "0123456789abcdef"[(number >> (i * bits)) & ((1u << bits) - 1)];
}

void appendQuotedCharacter(std::string& out, char16_t unit) {
  switch (unit) {
    case '"':
      out += "\\\"";
      return;
    case '\\':
      out += "\\\\";
      return;
    case '\n':
      out += "\\n";
      return;
    case '\t':
      out += "\\t";
      return;
    case '\r':
      out += "\\r";
      return;
    default:
      break;
  }
  if (unit >= 0x20 && unit < 0x7F) {
    out += static_cast<char>(unit);
  } else if (unit < 0x80) {
    out += '\\';
    appendDigits(out, unit, 3, 3);
  } else {
    out += "\\U";
    appendDigits(out, unit, 4, 4);
  }
}

void appendQuotedIfNeeded(std::string& out, std::string_view text) {
  if (standsWithoutQuotes(text)) {
    out += text;
    return;
  }
  out += '"';
  for (const char16_t unit : utf16(text)) appendQuotedCharacter(out, unit);
  out += '"';
}

void describe(std::string& out, const Value& value, int level);

void indent(std::string& out, int level) { out.append(static_cast<std::size_t>(level) * 4, ' '); }

// A member of a collection: a nested collection begins on the same line, after the indentation of its level.
void describeMember(std::string& out, const Value& value, int level) {
  if (value.isArray() || value.isDictionary()) {
    indent(out, level);
    describe(out, value, level);
  } else {
    appendQuotedIfNeeded(out, wellFormedUTF8(value.description()));
  }
}

void describeArray(std::string& out, const Array& items, int level) {
  out += "(\n";
  for (std::size_t i = 0; i < items.size(); ++i) {
    indent(out, level + 1);
    describeMember(out, items[i], level + 1);
    out += i + 1 < items.size() ? ",\n" : "\n";
  }
  indent(out, level);
  out += ')';
}

void describeDictionary(std::string& out, const Dictionary& dictionary, int level) {
  std::vector<const Entry*> entries;
  for (const Entry& entry : dictionary) entries.push_back(&entry);
  if (std::all_of(entries.begin(), entries.end(), [](const Entry* e) { return e->first.isString(); })) {
    std::sort(entries.begin(), entries.end(),
              [](const Entry* a, const Entry* b) { return a->first.string() < b->first.string(); });
  }
  out += "{\n";
  for (const Entry* entry : entries) {
    indent(out, level + 1);
    describeMember(out, entry->first, level + 1);
    out += " = ";
    describeMember(out, entry->second, level + 1);
    out += ";\n";
  }
  indent(out, level);
  out += '}';
}

void describe(std::string& out, const Value& value, int level) {
  if (level > kDeepestLevel) {
    out += "…";
  } else if (value.isArray()) {
    describeArray(out, value.array(), level);
  } else {
    describeDictionary(out, value.dictionary(), level);
  }
}

}  // namespace

std::string Value::description() const {
  if (isNull()) return "<null>";
  if (isBoolean()) return boolean() ? "1" : "0";
  if (isInteger()) return decimal(integer());
  if (isUnsigned()) return decimal(unsignedInteger());
  if (is<float>()) return decimal(std::get<float>(data_));
  if (isReal()) return decimal(real());
  if (isString()) return string().str();
  if (isDate()) return date().description();
  if (isObject()) return object()->description();
  std::string out;
  describe(out, *this, 0);
  return out;
}

std::string description(const std::optional<Value>& value) { return value ? value->description() : "(null)"; }

}  // namespace platform
