// The C interface on top of the facade: texts and handles become values, and nothing is thrown across.

#include <Kova/Kova.h>
#include <Kova/KovaC.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <string_view>

#include "platform/foundation/NSJSONSerialization.h"
#include "platform/foundation/SystemLog.h"
#include "platform/runtime/Fork.h"

using platform::MutableDictionary;
using platform::Value;

struct kova_settings {
  KovaHost host;
  std::shared_ptr<KovaOptions> options = std::make_shared<KovaOptions>();
};

struct kova_properties {
  MutableDictionary entries;
};

namespace {

std::optional<std::string_view> textOf(const char* text, std::size_t length) {
  if (!text) return std::nullopt;
  return std::string_view(text, length == KOVA_WHOLE ? std::strlen(text) : length);
}

// What `work` answers; KOVA_FAILED when it throws.
template <class Work>
kova_status attempt(Work&& work) noexcept {
  try {
    return work();
  } catch (...) {
    return KOVA_FAILED;
  }
}

// Of a call of the facade, which says nothing itself.
kova_status outcome() { return Kova::hasFailed() ? KOVA_FAILED : KOVA_OK; }

// Runs a call of the facade, which needs the text.
template <class Call>
kova_status withText(const char* text, std::size_t length, Call&& call) noexcept {
  return attempt([&] {
    const auto given = textOf(text, length);
    if (!given) return KOVA_INVALID;
    call(*given);
    return outcome();
  });
}

template <class Call>
kova_status plain(Call&& call) noexcept {
  return attempt([&] {
    call();
    return outcome();
  });
}

KovaProperties propertiesOf(const kova_properties* properties) {
  if (!properties) return nullptr;
  return Value(platform::Dictionary(properties->entries));
}

using TextSetter = void (*)(kova_settings&, const std::string&);
using FlagSetter = void (*)(kova_settings&, bool);

const std::map<std::string_view, TextSetter>& textSetters() {
  static const auto& setters = *new std::map<std::string_view, TextSetter>{
      {"name", [](kova_settings& s, const std::string& text) { s.host.name = text; }},
      {"identifier", [](kova_settings& s, const std::string& text) { s.host.identifier = text; }},
      {"version", [](kova_settings& s, const std::string& text) { s.host.version = text; }},
      {"build", [](kova_settings& s, const std::string& text) { s.host.build = text; }},
      {"directory", [](kova_settings& s, const std::string& text) { s.host.directory = text; }},
      {"captureBaseUrl",
       [](kova_settings& s, const std::string& text) { s.options->setCaptureBaseUrl(text); }},
  };
  return setters;
}

const std::map<std::string_view, FlagSetter>& flagSetters() {
  static const auto& setters = *new std::map<std::string_view, FlagSetter>{
      {"assumesNetwork", [](kova_settings& s, bool flag) { s.host.assumesNetwork = flag; }},
      {"compressUploads", [](kova_settings& s, bool flag) { s.options->setCompressUploads(flag); }},
      {"debug", [](kova_settings& s, bool flag) { s.options->setDebug(flag); }},
      {"disableAdvertiserIdCapture",
       [](kova_settings& s, bool flag) { s.options->setDisableAdvertiserIdCapture(flag); }},
      {"disableVendorIdCapture",
       [](kova_settings& s, bool flag) { s.options->setDisableVendorIdCapture(flag); }},
      {"disableTracking", [](kova_settings& s, bool flag) { s.options->setDisableTracking(flag); }},
      {"disableTelemetryCapture",
       [](kova_settings& s, bool flag) { s.options->setDisableTelemetryCapture(flag); }},
      {"maskedPictures", [](kova_settings& s, bool flag) { s.options->setMaskedPictures(flag); }},
      {"useEnvironmentProxy", [](kova_settings& s, bool flag) { s.options->setUseEnvironmentProxy(flag); }},
  };
  return setters;
}

template <class Setters, class Given>
kova_status set(kova_settings* settings, const Setters& setters, const char* name, const Given& given) {
  if (!settings || !name) return KOVA_INVALID;
  const auto setter = setters.find(name);
  if (setter == setters.end()) return KOVA_UNKNOWN;
  setter->second(*settings, given);
  return KOVA_OK;
}

kova_status setProperty(kova_properties* properties, const char* name, Value value) {
  if (!properties || !name) return KOVA_INVALID;
  properties->entries.set(Value(name), std::move(value));
  return KOVA_OK;
}

std::size_t copied(const std::optional<std::string>& text, char* buffer, std::size_t size) {
  const std::string_view given = text ? std::string_view(*text) : std::string_view();
  if (!buffer || size == 0) return given.size();
  const std::size_t count = std::min(given.size(), size - 1);
  std::copy_n(given.data(), count, buffer);
  buffer[count] = '\0';
  return given.size();
}

// The receiver of log lines. The mutex is held during each call of it: once it has been replaced it is not
// called any more. A child that is forked meanwhile has a mutex of its own: nobody is left there to unlock
// it.
struct Receiver {
  std::mutex mutex;
  kova_log_function receive = nullptr;
  void* context = nullptr;
};

Receiver& receiver() {
  static Receiver& instance = *[] {
    auto* made = new Receiver;
    platform::runInForkedChildren([] { new (&receiver().mutex) std::mutex; });
    return made;
  }();
  return instance;
}

constexpr std::pair<std::string_view, std::uint64_t KovaCounts::*> kPlaces[] = {
    {"accepted", &KovaCounts::accepted},     {"found", &KovaCounts::found},
    {"waiting", &KovaCounts::waiting},       {"delivered", &KovaCounts::delivered},
    {"pushedOut", &KovaCounts::pushedOut},   {"refused", &KovaCounts::refused},
    {"unsendable", &KovaCounts::unsendable}, {"unreadable", &KovaCounts::unreadable},
    {"inMemory", &KovaCounts::inMemory},     {"possiblyTwice", &KovaCounts::possiblyTwice},
};

std::optional<std::uint64_t> countNamed(std::string_view name) {
  const KovaStatus status = Kova::status();
  const bool isOfEvents = name.starts_with("events.");
  if (!isOfEvents && !name.starts_with("requests.")) return std::nullopt;
  const KovaCounts& counts = isOfEvents ? status.events : status.requests;
  for (const auto& [place, member] : kPlaces) {
    if (name.substr(name.find('.') + 1) == place) return counts.*member;
  }
  return std::nullopt;
}

// A decimal number without leading zeros.
bool isEnvironment(const std::optional<std::string_view>& id) {
  return id && !id->empty() && id->front() != '0' && id->find_first_not_of("0123456789") == id->npos;
}

int flagsOf(KovaFlushed flushed) {
  return (flushed.isStored ? KOVA_STORED : 0) | (flushed.isStored && flushed.isSent ? KOVA_SENT : 0);
}

}  // namespace

extern "C" {

int kova_abi_version(void) { return KOVA_C_ABI_VERSION; }

const char* kova_library_version(void) { return KovaLibraryVersion.data(); }

kova_settings* kova_settings_new(void) {
  kova_settings* settings = nullptr;
  plain([&] {
    settings = new kova_settings;
    settings->host.runLoop = KovaRunLoop::OfItsOwn;
    settings->options->setDisableViewControllerAutocapture(true);  // there are no views to wait for
  });
  return settings;
}

void kova_settings_free(kova_settings* settings) { delete settings; }

kova_status kova_settings_set_text(kova_settings* settings, const char* name, const char* text,
                                   size_t length) {
  return attempt([&] {
    const auto given = textOf(text, length);
    return given ? set(settings, textSetters(), name, std::string(*given)) : KOVA_INVALID;
  });
}

kova_status kova_settings_set_flag(kova_settings* settings, const char* name, int flag) {
  return attempt([&] { return set(settings, flagSetters(), name, flag != 0); });
}

kova_properties* kova_properties_new(void) { return new (std::nothrow) kova_properties; }

kova_properties* kova_properties_from_json(const char* json, size_t length) {
  kova_properties* properties = nullptr;
  withText(json, length, [&](std::string_view text) {
    const auto value = platform::NSJSONSerialization::JSONObjectWithData(text);
    if (!value || !value->isDictionary()) return;
    auto made = std::make_unique<kova_properties>();
    for (const auto& [name, member] : value->dictionary()) {
      if (!member.isNull()) made->entries.set(name, member);
    }
    properties = made.release();
  });
  return properties;
}

void kova_properties_free(kova_properties* properties) { delete properties; }

kova_status kova_properties_set_text(kova_properties* properties, const char* name, const char* text,
                                     size_t length) {
  return attempt([&] {
    const auto given = textOf(text, length);
    return given ? setProperty(properties, name, *given) : KOVA_INVALID;
  });
}

kova_status kova_properties_set_integer(kova_properties* properties, const char* name, long integer) {
  return attempt([&] { return setProperty(properties, name, integer); });
}

kova_status kova_properties_set_number(kova_properties* properties, const char* name, double number) {
  if (!std::isfinite(number)) return KOVA_INVALID;
  return attempt([&] { return setProperty(properties, name, number); });
}

kova_status kova_properties_set_flag(kova_properties* properties, const char* name, int flag) {
  return attempt([&] { return setProperty(properties, name, flag != 0); });
}

void kova_set_log(kova_log_function receive, void* context) {
  plain([&] {
    const std::lock_guard lock(receiver().mutex);
    receiver().receive = receive;
    receiver().context = context;
    if (!receive) return platform::SystemLog::setSink(nullptr);
    platform::SystemLog::setSink([](std::string_view line) {
      const std::lock_guard calling(receiver().mutex);
      if (receiver().receive) receiver().receive(receiver().context, line.data(), line.size());
    });
  });
}

kova_status kova_start(const char* environment, size_t length, const kova_settings* settings) {
  return attempt([&] {
    const auto id = textOf(environment, length);
    if (!isEnvironment(id) || !settings) return KOVA_INVALID;
    Kova::startHost(settings->host);
    Kova::initialize(*id, settings->options);
    return outcome();
  });
}

kova_status kova_erase_stored(const char* environment, size_t length) {
  return attempt([&] {
    const auto id = textOf(environment, length);
    if (!isEnvironment(id)) return KOVA_INVALID;
    return Kova::eraseStored(*id) ? KOVA_OK : KOVA_FAILED;
  });
}

kova_status kova_track(const char* event, size_t length, const kova_properties* properties) {
  return withText(event, length, [&](std::string_view name) { Kova::track(name, propertiesOf(properties)); });
}

kova_status kova_identify(const char* identity, size_t length) {
  return withText(identity, length, [](std::string_view name) { Kova::identify(name); });
}

kova_status kova_reset_identity(void) {
  return plain([] { Kova::resetIdentity(); });
}

kova_status kova_add_user_properties(const kova_properties* properties) {
  return plain([&] { Kova::addUserProperties(propertiesOf(properties)); });
}

kova_status kova_add_event_properties(const kova_properties* properties) {
  return plain([&] { Kova::addEventProperties(propertiesOf(properties)); });
}

kova_status kova_remove_event_property(const char* name, size_t length) {
  return withText(name, length, [](std::string_view property) { Kova::removeEventProperty(property); });
}

kova_status kova_clear_event_properties(void) {
  return plain([] { Kova::clearEventProperties(); });
}

size_t kova_user_id(char* buffer, size_t size) { return copied(Kova::userId(), buffer, size); }
size_t kova_identity(char* buffer, size_t size) { return copied(Kova::identity(), buffer, size); }
size_t kova_session_id(char* buffer, size_t size) { return copied(Kova::sessionId(), buffer, size); }

long kova_count(const char* name) {
  long count = -1;
  attempt([&] {
    if (const auto found = name ? countNamed(name) : std::nullopt) count = static_cast<long>(*found);
    return KOVA_OK;
  });
  return count;
}

kova_status kova_set_tracking_enabled(int is_enabled) {
  return plain([&] { Kova::setTrackingEnabled(is_enabled != 0); });
}

int kova_is_tracking_enabled(void) { return Kova::isTrackingEnabled() ? 1 : 0; }

kova_status kova_change_interval(double seconds) {
  return plain([&] { Kova::changeInterval(seconds); });
}

int kova_flush(double seconds) { return flagsOf(Kova::flush(seconds)); }
int kova_shutdown(double seconds) { return flagsOf(Kova::shutdown(seconds)); }

}  // extern "C"
