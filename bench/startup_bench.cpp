// Start-up on an existing store, and memory: each run is a process of its own, started by this program with
// an argument.

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

#include "bench/BenchHost.h"
#include "src/core/NSOperationQueue+SafeOperation.h"

extern char** environ;

namespace {

constexpr int kRuns = 15;

// The child's part: initialises and prints microseconds, kilobytes before and after, bytes a queued event.
void measureStart(const std::string& root) {
  bench::Host::startIn(root, false);
  const double before = bench::residentMemory();
  const auto start = bench::Clock::now();
  Kova::initialize(bench::kEnvironment, bench::Host::options());
  const double microseconds = bench::secondsSince(start) * 1e6;
  KOVA_serialStateQueue()->waitUntilAllOperationsAreFinished();
  const double after = bench::residentMemory();
  std::printf("%f %f ", microseconds, after - before);
}

// Events that wait in memory for their first pageview: the limit of 300 is filled, and the growth is shared
// by them.
void measureQueuedEvent(const std::string& root) {
  bench::Host::startIn(root, false);
  const auto options = bench::Host::options();
  Kova::initialize(bench::kEnvironment, options);
  Kova::track("warm up");
  KOVA_serialStateQueue()->waitUntilAllOperationsAreFinished();
  const double before = bench::residentMemory();
  for (int i = 0; i < 299; ++i) bench::trackOne();
  KOVA_serialStateQueue()->waitUntilAllOperationsAreFinished();
  std::printf("%f ", (bench::residentMemory() - before) * 1024 / 299);
}

std::vector<double> figuresOfChild(const char* program, const std::string& what, const std::string& root) {
  const std::string output = root + "/figures";
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                   0600);
  std::string arguments[] = {program, what, root};
  char* argv[] = {arguments[0].data(), arguments[1].data(), arguments[2].data(), nullptr};
  pid_t child = 0;
  if (posix_spawn(&child, program, &actions, nullptr, argv, environ) != 0) std::abort();
  posix_spawn_file_actions_destroy(&actions);
  int status = 0;
  waitpid(child, &status, 0);
  if (status != 0) std::abort();
  std::ifstream file(output);
  std::vector<double> figures;
  for (double figure; file >> figure;) figures.push_back(figure);
  return figures;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 3 && std::string(argv[1]) == "start") return measureStart(argv[2]), 0;
  if (argc == 3 && std::string(argv[1]) == "queued") return measureQueuedEvent(argv[2]), 0;

  const bench::Host host(false);  // only for its directory
  const std::string idle = host.root() + "/idle", busy = host.root() + "/busy";
  for (const std::string& root : {idle, busy}) {
    std::filesystem::create_directory(root);
    figuresOfChild(argv[0], "start", root);  // makes the store
  }
  std::vector<double> times, memory, queued, busyTimes;
  for (int run = 0; run < kRuns; ++run) {
    const auto figures = figuresOfChild(argv[0], "start", idle);
    times.push_back(figures.at(0) / 1000);
    memory.push_back(figures.at(1) / 1024);
    queued.push_back(figuresOfChild(argv[0], "queued", busy).at(0) / 1024);
    busyTimes.push_back(figuresOfChild(argv[0], "start", busy).at(0) / 1000);
  }
  bench::printLine("initialize on an existing store, on the calling thread", bench::median(times), "ms",
                   "<= 1.5");
  bench::printLine("  the same, with 300 events that wait", bench::median(busyTimes), "ms", "-");
  bench::printLine("resident memory after start", bench::median(memory), "MB more", "<= 3");
  bench::printLine("memory of a queued event", bench::median(queued), "KB", "<= 2");
}
