#include "examples/support/CommandLine.h"

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <utility>

CommandLine::CommandLine(std::string program, std::string usage)
    : program_(std::move(program)), usage_(std::move(usage)) {}

CommandLine& CommandLine::option(const std::string& name, Take take) {
  options_[name] = std::move(take);
  return *this;
}

CommandLine& CommandLine::flag(const std::string& name, bool& isThere) {
  flags_[name] = &isThere;
  return *this;
}

void CommandLine::parse(int argc, char** argv) const {
  char** const end = argv + argc;
  for (char** next = argv + 1; next < end;) {
    const std::string name = *next++;
    try {
      apply(name, next, end);
    } catch (const std::invalid_argument& problem) {
      fail(problem.what());
    }
  }
}

void CommandLine::apply(const std::string& name, char**& next, char** end) const {
  if (name == "--help") {
    std::fputs(usage_.c_str(), stdout);
    std::exit(0);
  }
  if (const auto flag = flags_.find(name); flag != flags_.end()) {
    *flag->second = true;
    return;
  }
  const auto option = options_.find(name);
  if (option == options_.end()) throw std::invalid_argument("what does '" + name + "' mean?");
  if (next == end) throw std::invalid_argument(name + " needs a value");
  option->second(*next++);
}

void CommandLine::fail(const std::string& problem) const {
  std::fprintf(stderr, "%s: %s; try --help\n", program_.c_str(), problem.c_str());
  std::exit(2);
}

platform::NSURL httpURL(const std::string& text) {
  const bool isHTTP = text.starts_with("http://") || text.starts_with("https://");
  const auto url = isHTTP ? platform::NSURL::create(text) : std::nullopt;
  if (!url) throw std::invalid_argument("'" + text + "' is no http or https URL");
  return *url;
}

platform::NSURL anyURL(const std::string& text) {
  const auto url = platform::NSURL::create(text);
  if (!url || !url->scheme()) throw std::invalid_argument("'" + text + "' is no URL");
  return *url;
}

double seconds(const std::string& text, double most) {
  double value = 0;
  const char* const last = text.data() + text.size();
  const auto [end, error] = std::from_chars(text.data(), last, value);
  if (error != std::errc() || end != last || !(value >= 0 && value <= most)) {
    throw std::invalid_argument("'" + text + "' is no number of seconds from 0 to " +
                                std::to_string(static_cast<int>(most)));
  }
  return value;
}
