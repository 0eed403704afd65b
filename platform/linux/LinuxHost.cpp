#include "platform/linux/LinuxHost.h"

#include <pwd.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "platform/foundation/ASCII.h"
#include "platform/foundation/Digest.h"
#include "platform/foundation/NSFileManager.h"

namespace platform {

namespace {

// The text of a file of one line; none when it cannot be read or is blank.
std::optional<std::string> lineOfFile(const std::string& path) {
  const std::optional<std::string> contents = NSFileManager().contents(path);
  if (!contents) return std::nullopt;
  std::string line(trimmingASCIIBlanks(*contents));
  return line.empty() ? std::nullopt : std::optional(std::move(line));
}

// Services are often started without HOME.
std::string homeDirectory() {
  if (const char* home = std::getenv("HOME"); home && home[0] == '/') return home;
  const passwd* user = getpwuid(getuid());
  return user && user->pw_dir ? user->pw_dir : "";
}

// One of the XDG base directories. The rules have a relative path ignored.
std::string baseDirectory(const char* variable, const char* belowHome) {
  const char* chosen = std::getenv(variable);
  if (chosen && chosen[0] == '/') return chosen;
  return homeDirectory() + belowHome;
}

// The value of a line KEY=value or KEY="value" of /etc/os-release.
std::optional<std::string> distributionFact(std::string_view key) {
  const std::string release = NSFileManager().contents("/etc/os-release").value_or("");
  const std::string wanted = std::string(key) + "=";
  for (std::size_t at = 0; at < release.size();) {
    const std::size_t end = std::min(release.find('\n', at), release.size());
    std::string_view line = std::string_view(release).substr(at, end - at);
    at = end + 1;
    if (!line.starts_with(wanted)) continue;
    line.remove_prefix(wanted.size());
    if (line.size() >= 2 && line.front() == '"' && line.back() == '"') line = line.substr(1, line.size() - 2);
    if (!line.empty()) return std::string(line);
  }
  return std::nullopt;
}

}  // namespace

void installLinuxHost(const HostOptions& options) {
  const std::string& identifier =
      options.applicationIdentifier.empty() ? options.applicationName : options.applicationIdentifier;
  const std::string& root = options.rootDirectory;
  const auto folder = [&](const char* variable, const char* belowHome, const char* belowRoot) {
    return (root.empty() ? baseDirectory(variable, belowHome) : root + belowRoot) + "/" + identifier;
  };
  const std::string data = folder("XDG_DATA_HOME", "/.local/share", "/data");

  Directories directories;
  directories.documents = data + "/Documents";
  directories.applicationSupport = data;
  directories.caches = folder("XDG_CACHE_HOME", "/.cache", "/cache");
  directories.preferences = folder("XDG_CONFIG_HOME", "/.config", "/config");
  directories.applicationIdentifier = identifier;
  NSFileManager().createDirectory(directories.documents, true);
  setDirectories(std::move(directories));
}

std::optional<std::string> deviceModel() {
  if (auto product = lineOfFile("/sys/devices/virtual/dmi/id/product_name")) return product;
  utsname system;
  return uname(&system) == 0 ? std::optional<std::string>(system.machine) : std::nullopt;
}

std::optional<std::string> systemVersion() {
  if (auto version = distributionFact("VERSION_ID")) return version;
  utsname system;
  return uname(&system) == 0 ? std::optional<std::string>(system.release) : std::nullopt;
}

std::optional<NSUUID> vendorIdentifier(std::string_view applicationIdentifier,
                                       const std::string& machineIdPath) {
  const std::optional<std::string> machine = lineOfFile(machineIdPath);
  // systemd writes this word until the machine's first start is over.
  if (!machine || *machine == "uninitialized") return std::nullopt;
  const std::string material = *machine + "\n" + std::string(applicationIdentifier);
  const auto digest = CC_SHA256({reinterpret_cast<const std::uint8_t*>(material.data()), material.size()});
  NSUUID::Bytes bytes;
  std::copy_n(digest.begin(), bytes.size(), bytes.begin());
  bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0f) | 0x80);  // version 8: made by a rule of our own
  bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3f) | 0x80);
  return NSUUID(bytes);
}

}  // namespace platform
