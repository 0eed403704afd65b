// The text that "%@" writes of a Value. Collections are written in the platform's property-list style: one
// entry a line, four blanks a level, dictionaries in ascending order of their keys when all keys are strings,
// text in quotes unless it consists of ASCII letters and digits alone.

#include <algorithm>
#include <vector>

#include "platform/foundation/Decimal.h"
#include "platform/foundation/Value.h"
#include "platform/runtime/NSObject.h"

namespace platform {

namespace {

// Deeper collections are written as "…": a description serves people, and must not exhaust the stack.
constexpr int kDeepestLevel = 200;

bool standsWithoutQuotes(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
  });
}

// The next code point of well-formed UTF-8, removed from the head of `text`.
char32_t takeCodePoint(std::string_view& text) {
  const auto lead = static_cast<unsigned char>(text[0]);
  const std::size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  char32_t point = length == 1 ? lead : lead & (0xFFu >> (length + 1));
  for (std::size_t i = 1; i < length; ++i)
    point = (point << 6) | (static_cast<unsigned char>(text[i]) & 0x3F);
  text.remove_prefix(length);
  return point;
}

// The digits of a number in a base of 2^bits, with zeros in front.
void appendDigits(std::string& out, char32_t number, int digits, int bits) {
  for (int i = digits - 1; i >= 0; --i)
    out += "0123456789abcdef"[(number >> (i * bits)) & ((1u << bits) - 1)];
}

void appendUTF16Escape(std::string& out, char32_t unit) {
  out += "\\U";
  appendDigits(out, unit, 4, 4);
}

void appendQuotedCharacter(std::string& out, char32_t point) {
  switch (point) {
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
  if (point >= 0x20 && point < 0x7F) {
    out += static_cast<char>(point);
  } else if (point < 0x20 || point == 0x7F) {
    out += '\\';
    appendDigits(out, point, 3, 3);
  } else if (point < 0x10000) {
    appendUTF16Escape(out, point);
  } else {
    appendUTF16Escape(out, 0xD800 + ((point - 0x10000) >> 10));
    appendUTF16Escape(out, 0xDC00 + ((point - 0x10000) & 0x3FF));
  }
}

void appendQuotedIfNeeded(std::string& out, std::string_view text) {
  if (standsWithoutQuotes(text)) {
    out += text;
    return;
  }
  out += '"';
  while (!text.empty()) appendQuotedCharacter(out, takeCodePoint(text));
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
