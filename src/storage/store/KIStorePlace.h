#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/foundation/LockFile.h"

// Where a process keeps its part of what an environment id stores. Several processes of one app may run at
// once: the first has the place that is named after the environment id alone, each further one a numbered
// place of its own, "12345-2". A place is held by a lock on a file beside the journal, which goes with the
// process, however that ends; what is left there is taken up by a later start. Lock files stay, so that the
// numbers have no gaps.
//
// Where no lock can ever be had, for want of a directory, say, a place is used without. What passes, such as
// a want of descriptors or of room on the disk, decides nothing, nor does it when sixteen processes have a
// place each: the process has none until it takes one.
class KIStorePlace {
 public:
  // The first place, without holding it.
  explicit KIStorePlace(std::string appId) : appId_(std::move(appId)) {}

  // The first one that no other process holds, and this one from now on. Not known when that cannot be told
  // for the moment.
  static KIStorePlace take(const std::string& appId);
  // Those from a number on that nobody holds, held by this process from now on.
  static constexpr int kFirst = 1;
  static constexpr int kFirstFurther = 2;
  static std::vector<KIStorePlace> takeLeft(const std::string& appId, int from);
  // The same place, for as long as this one lives.
  KIStorePlace sharedWithOwner() const;

  const std::string& appId() const { return appId_; }
  bool isKnown() const { return number_ != kNone; }
  bool isFirst() const { return number_ == kFirst; }
  // What its keys and files are named after.
  std::string name() const { return isFirst() ? appId_ : appId_ + "-" + std::to_string(number_); }

  // By this process: nobody else makes files in it.
  bool isHeld() const { return lock_ || isHeldByOwner_; }

  // Whether further processes have ever run beside a first one.
  bool mayHaveOthers() const;
  // Removes all lock files, and lets go of this one. False while another process holds one.
  bool removeAll();

 private:
  KIStorePlace(std::string appId, int number, std::unique_ptr<platform::LockFile> lock)
      : appId_(std::move(appId)), number_(number), lock_(std::move(lock)) {}
  static constexpr int kNone = 0;
  static std::string pathOfLock(const std::string& appId, int number);

  std::string appId_;
  int number_ = kFirst;
  std::unique_ptr<platform::LockFile> lock_;  // null when it is not held, or held by another object
  bool isHeldByOwner_ = false;
};
