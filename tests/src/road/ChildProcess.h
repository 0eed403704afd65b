#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// A child process whose standard input and output are lines exchanged with the test; its standard error is
// the test's. It is killed with the object, and dies with the test. For the test's main thread.
class ChildProcess {
 public:
  // Looks the program up on the PATH; one that is not there ends at once.
  explicit ChildProcess(std::vector<std::string> words);
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // Throws when the process has closed its input.
  void writeLine(std::string_view line);
  // The next line; throws std::runtime_error when the output ends or none comes within 30 s.
  std::string readLine();

  void kill(int signal);
  // Waits for the end: the exit status, or the negated signal that ended it.
  int wait();

 private:
  pid_t pid_ = -1;
  int socket_ = -1;
  std::string unread_;
  std::optional<int> ending_;
};
