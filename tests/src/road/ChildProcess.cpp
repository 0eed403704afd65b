#include "tests/src/road/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace {

constexpr int kLongestWait = 30'000;  // milliseconds

[[noreturn]] void fail(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

// In the child, between fork and exec: system calls only. Writes the reason to `failure` when the program is
// not there.
[[noreturn]] void become(char* const* words, int socket, int failure) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  dup2(socket, STDIN_FILENO);
  dup2(socket, STDOUT_FILENO);
  execvp(words[0], words);
  const int reason = errno;
  [[maybe_unused]] const auto written = write(failure, &reason, sizeof reason);
  _exit(127);
}

}  // namespace

ChildProcess::ChildProcess(std::vector<std::string> words) {
  int lines[2];
  int failure[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, lines) != 0 || pipe2(failure, O_CLOEXEC) != 0)
    fail("socketpair");
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);

  pid_ = fork();
  if (pid_ < 0) fail("fork");
  if (pid_ == 0) become(arguments.data(), lines[1], failure[1]);
  socket_ = lines[0];
  close(lines[1]);
  close(failure[1]);
  int reason = 0;
  const bool failed = read(failure[0], &reason, sizeof reason) > 0;
  close(failure[0]);
  if (!failed) return;
  close(socket_);
  wait();
  errno = reason;
  fail("cannot start " + words.front());
}

ChildProcess::~ChildProcess() {
  if (!ending_) {
    kill(SIGKILL);
    wait();
  }
  close(socket_);
}

void ChildProcess::writeLine(std::string_view line) {
  const std::string text = std::string(line) + "\n";
  if (send(socket_, text.data(), text.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(text.size()))
    fail("send");
}

std::string ChildProcess::readLine() {
  for (std::size_t searched = 0;;) {
    const std::size_t end = unread_.find('\n', searched);
    if (end != std::string::npos) {
      std::string line = unread_.substr(0, end);
      unread_.erase(0, end + 1);
      return line;
    }
    searched = unread_.size();
    pollfd readable{socket_, POLLIN, 0};
    if (poll(&readable, 1, kLongestWait) <= 0) throw std::runtime_error("the child process is silent");
    char bytes[65536];
    const ssize_t count = read(socket_, bytes, sizeof bytes);
    if (count <= 0) throw std::runtime_error("the child process has closed its output");
    unread_.append(bytes, static_cast<std::size_t>(count));
  }
}

void ChildProcess::kill(int signal) { ::kill(pid_, signal); }

int ChildProcess::wait() {
  if (ending_) return *ending_;
  int status = 0;
  while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
  }
  ending_ = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  return *ending_;
}
