#pragma once

#include <atomic>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>

namespace platform {

// Immutable UTF-8 text in 16 bytes: up to 15 bytes are held in place, longer text is shared by all copies.
//
// Always well-formed UTF-8: each ill-formed sequence given to a constructor becomes U+FFFD, so that text from
// a host can be written to JSON, to a store or to a URL without a further test. May be read from any thread.
class String {
 public:
  String() { bytes_[kTag] = 0; }
  // A null pointer is empty text.
  String(const char* text) : String(text ? std::string_view(text) : std::string_view()) {}
  String(std::string_view text) { assign(text); }
  String(const std::string& text) : String(std::string_view(text)) {}
  String(const String& other) : String(other, Copy{}) {}
  String(String&& other) noexcept {
    std::memcpy(bytes_, other.bytes_, sizeof bytes_);
    other.bytes_[kTag] = 0;
  }
  String& operator=(String other) noexcept {
    swap(other);
    return *this;
  }
  ~String() {
    if (isShared()) release();
  }

  std::string_view view() const {
    if (isShared()) return {shared()->text(), shared()->length};
    return {bytes_, static_cast<std::size_t>(bytes_[kTag])};
  }
  operator std::string_view() const { return view(); }
  std::string str() const { return std::string(view()); }
  bool empty() const { return view().empty(); }
  std::size_t size() const { return view().size(); }

  friend bool operator==(const String& a, const String& b) { return a.view() == b.view(); }
  friend auto operator<=>(const String& a, const String& b) { return a.view() <=> b.view(); }

 private:
  struct Copy {};
  struct Shared {
    std::atomic<std::uint32_t> references;
    std::size_t length;
    const char* text() const { return reinterpret_cast<const char*>(this + 1); }
    char* text() { return reinterpret_cast<char*>(this + 1); }
  };
  static constexpr int kTag = 15;
  static constexpr char kShared = 0x7f;
  static constexpr std::size_t kInlineCapacity = 15;

  String(const String& other, Copy) {
    std::memcpy(bytes_, other.bytes_, sizeof bytes_);
    if (isShared()) shared()->references.fetch_add(1, std::memory_order_relaxed);
  }
  bool isShared() const { return bytes_[kTag] == kShared; }
  Shared* shared() const {
    Shared* pointer;
    std::memcpy(&pointer, bytes_, sizeof pointer);
    return pointer;
  }
  void swap(String& other) noexcept { std::swap(bytes_, other.bytes_); }
  void assign(std::string_view text);
  void assignWellFormed(std::string_view text);
  void release();

  alignas(8) char bytes_[16];
};

// Text with each ill-formed sequence of bytes replaced by U+FFFD.
std::string wellFormedUTF8(std::string_view text);
bool isWellFormedUTF8(std::string_view text);

}  // namespace platform

template <>
struct std::hash<platform::String> {
  std::size_t operator()(const platform::String& text) const noexcept {
    return std::hash<std::string_view>()(text.view());
  }
};
