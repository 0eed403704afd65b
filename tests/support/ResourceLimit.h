#pragma once

#include <sys/resource.h>
#include <unistd.h>

#include <csignal>

// A limit of the process that is lower while this lives.
class ResourceLimit {
 public:
  // Files cannot grow beyond so many bytes, as on a disk that is full.
  static ResourceLimit fileSize(rlim_t bytes) {
    std::signal(SIGXFSZ, SIG_IGN);
    return {RLIMIT_FSIZE, bytes};
  }
  // No more than so many descriptors can be opened.
  static ResourceLimit descriptors(rlim_t more) {
    const int next = dup(0);
    close(next);
    return {RLIMIT_NOFILE, more == 0 ? 0 : static_cast<rlim_t>(next) + more};
  }
  ~ResourceLimit() { setrlimit(resource_, &before_); }
  ResourceLimit(const ResourceLimit&) = delete;
  ResourceLimit& operator=(const ResourceLimit&) = delete;

 private:
  ResourceLimit(__rlimit_resource_t resource, rlim_t limit) : resource_(resource) {
    getrlimit(resource, &before_);
    const rlimit lower{limit, before_.rlim_max};
    setrlimit(resource, &lower);
  }

  const __rlimit_resource_t resource_;
  rlimit before_{};
};
