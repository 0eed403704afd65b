#pragma once

#include <functional>
#include <map>
#include <string>

#include "platform/foundation/NSURL.h"

// The options of a program, each with who takes it. What cannot be understood ends the program with status 2
// and a line on standard error; --help prints the usage and ends it with status 0.
class CommandLine {
 public:
  // Throws std::invalid_argument, with what is wrong, when the value makes no sense.
  using Take = std::function<void(const std::string& value)>;

  CommandLine(std::string program, std::string usage);

  // Options that need a value, and options that are there or not: "--window".
  CommandLine& option(const std::string& name, Take take);
  CommandLine& flag(const std::string& name, bool& isThere);
  void parse(int argc, char** argv) const;

  [[noreturn]] void fail(const std::string& problem) const;

 private:
  void apply(const std::string& name, char**& next, char** end) const;

  const std::string program_;
  const std::string usage_;
  std::map<std::string, Take, std::less<>> options_;
  std::map<std::string, bool*, std::less<>> flags_;
};

// The value of an option; throws std::invalid_argument when it is none.
platform::NSURL httpURL(const std::string& text);
platform::NSURL anyURL(const std::string& text);
double seconds(const std::string& text, double most);
