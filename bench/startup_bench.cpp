// Start-up on an existing store, and memory: each run is a process of its own, started by this program with
// an argument.

#include <fcntl.h>
#include <malloc.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

#include "bench/BenchHost.h"
#include "src/core/NSOperationQueue+SafeOperation.h"

extern char** environ;

namespace {

constexpr int kRuns = 15;
constexpr int kQueuedEvents = 290;  // fewer than make a batch

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

// Events that wait in memory for their first pageview, and what each keeps of the heap. The process ends as
// if killed: the next start finds them in the journal.
void measureQueuedEvents(const std::string& root) {
  bench::Host::startIn(root, false);
  Kova::initialize(bench::kEnvironment, bench::Host::options());
  Kova::track("warm up");
  const auto heapInUse = [] {
    KOVA_serialStateQueue()->waitUntilAllOperationsAreFinished();
    return static_cast<double>(mallinfo2().uordblks);
  };
  const double before = heapInUse();
  for (int i = 0; i < kQueuedEvents; ++i) bench::trackOne();
  std::printf("%f ", (heapInUse() - before) / kQueuedEvents);
  std::fflush(stdout);
  std::_Exit(EXIT_SUCCESS);
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
  if (argc == 3 && std::string(argv[1]) == "queued") return measureQueuedEvents(argv[2]), 0;

  const bench::Host host(false);  // only for its directory
  const std::string idle = host.root() + "/idle", busy = host.root() + "/busy";
  std::filesystem::create_directory(idle);
  figuresOfChild(argv[0], "start", idle);  // makes the store
  std::vector<double> times, memory, queued, busyTimes;
  for (int run = 0; run < kRuns; ++run) {
    const auto figures = figuresOfChild(argv[0], "start", idle);
    times.push_back(figures.at(0) / 1000);
    memory.push_back(figures.at(1) / 1024);
    std::filesystem::remove_all(busy);
    std::filesystem::copy(idle, busy, std::filesystem::copy_options::recursive);
    queued.push_back(figuresOfChild(argv[0], "queued", busy).at(0) / 1024);
    busyTimes.push_back(figuresOfChild(argv[0], "start", busy).at(0) / 1000);
  }
  bench::printLine("initialize on an existing store, on the calling thread", bench::median(times), "ms",
                   "<= 1.5");
  bench::printLine("  the same, with 290 events that wait", bench::median(busyTimes), "ms", "-");
  bench::printLine("resident memory after start", bench::median(memory), "MB more", "<= 3");
  bench::printLine("memory of a queued event", bench::median(queued), "KB", "<= 2");
}
