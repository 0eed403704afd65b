#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "src/core/Threads.h"

// Lets what is stored outlive a power failure, too. What the library writes is the kernel's at once, which
// keeps it when the process ends; to wait for the disk at each write would cost milliseconds. So all that has
// changed since the last time is synced together, by a queue of its own that may wait as long as the disk
// likes.
//
// Held by shared pointers only.
class KIDiskSync : public std::enable_shared_from_this<KIDiskSync> {
 public:
  using Sync = std::function<bool(const std::string&)>;
  KIDiskSync();
  // For tests: another way to sync a file.
  explicit KIDiskSync(Sync sync) : sync_(std::move(sync)) {}

  // Files, and directories with the files in them. Hands over what has changed since it was last on disk, in
  // that order, a directory behind its files. While the queue is still at what it was given last, the newest
  // request waits for it.
  // What changed in the last moments counts as changed the next time, too, and so does what could not be
  // synced; a debug line says when that begins.
  // Calls `done` when all of it is on disk that is still there, unless nothing has changed.
  void synchronize(
      std::vector<std::string> paths, std::function<void()> done = [] {}) KOVA_ON_MUTATION_QUEUE;

 private:
  struct Stamp {
    std::uint64_t size = 0;
    double modified = 0;  // seconds since 1970
    bool operator==(const Stamp&) const = default;
  };
  using Stamps = std::map<std::string, Stamp>;
  struct Request {
    std::vector<std::string> paths;
    std::function<void()> done;
  };
  void begin(Request request) KOVA_ON_MUTATION_QUEUE;
  void end(const std::vector<std::string>& failed, Stamps stamps,
           const std::function<void()>& done) KOVA_ON_MUTATION_QUEUE;
  void addChanged(const std::string& path, std::vector<std::string>& changed,
                  Stamps& stamps) const KOVA_ON_MUTATION_QUEUE;

  const Sync sync_;
  Stamps synced_ KOVA_OF_MUTATION_QUEUE;
  bool isRunning_ KOVA_OF_MUTATION_QUEUE = false;
  bool hasFailed_ KOVA_OF_MUTATION_QUEUE = false;       // the last time
  std::optional<Request> next_ KOVA_OF_MUTATION_QUEUE;  // none but while it runs
};
