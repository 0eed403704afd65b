#include "tests/src/road/ChildProcess.h"

#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace {

constexpr int kLongestWait = 30'000;  // milliseconds

}  // namespace

ChildProcess::ChildProcess(std::vector<std::string> words) {
  words.insert(words.begin(), {"setpriv", "--pdeathsig", "KILL"});  // it dies with the test
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  int lines[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, lines) != 0) throw std::runtime_error("socketpair");
  posix_spawn_file_actions_t streams;
  posix_spawn_file_actions_init(&streams);
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO}) {
    posix_spawn_file_actions_adddup2(&streams, lines[1], stream);
  }
  const int failure = posix_spawnp(&pid_, arguments[0], &streams, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&streams);
  close(lines[1]);
  socket_ = lines[0];
  if (failure == 0) return;
  close(socket_);
  throw std::system_error(failure, std::generic_category(), "setpriv");
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
  if (send(socket_, text.data(), text.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(text.size())) {
    throw std::runtime_error("the child process has closed its input");
  }
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
