#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "src/core/Threads.h"

// Lets what is stored outlive a power failure, too. What the library writes is the kernel's at once, which
// keeps it when the process ends; to wait for the disk at each write would cost milliseconds. So all that has
// changed since the last time is synced together, by a queue of its own that may wait as long as the disk
// likes.
class KIDiskSync {
 public:
  using Sync = std::function<bool(const std::string&)>;
  KIDiskSync();
  // For tests: another way to sync a file.
  explicit KIDiskSync(Sync sync) : sync_(std::move(sync)) {}

  // Files, and directories with the files in them. Hands over what has changed, in that order, a directory
  // behind its files; nothing while the queue is still at what it was given last.
  // Calls `done` there when all of it is on disk.
  void synchronize(
      const std::vector<std::string>& paths, std::function<void()> done = [] {}) KOVA_ON_MUTATION_QUEUE;

 private:
  struct Stamp {
    std::uint64_t size = 0;
    double modified = 0;  // seconds since 1970
    bool operator==(const Stamp&) const = default;
  };
  using Stamps = std::map<std::string, Stamp>;
  void addChanged(const std::string& path, std::vector<std::string>& changed,
                  Stamps& stamps) const KOVA_ON_MUTATION_QUEUE;

  const Sync sync_;
  Stamps synced_ KOVA_OF_MUTATION_QUEUE;
  const std::shared_ptr<std::atomic<bool>> isRunning_ = std::make_shared<std::atomic<bool>>(false);
};
