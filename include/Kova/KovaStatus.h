#pragma once

#include <cstdint>

// Where everything of one kind has gone that this process has had to do with, since it started. The sum
// agrees: accepted + found = waiting + delivered + pushedOut + refused + unsendable + unreadable.
struct KovaCounts {
  std::uint64_t accepted =
      0;                    // recorded by this process, or called in the one before, which did not get to it
  std::uint64_t found = 0;  // left by earlier processes; what is in a batch, once that is read to be sent
  std::uint64_t waiting = 0;    // to be sent, in flight, or for its answer
  std::uint64_t delivered = 0;  // answered, whatever the status
  // Dropped.
  std::uint64_t pushedOut = 0;   // the oldest, by newer ones
  std::uint64_t refused = 0;     // the newest, because the queue was full
  std::uint64_t unsendable = 0;  // no JSON, or no URL, can be made of it
  std::uint64_t unreadable = 0;  // its file cannot be read any more; a batch of unknown length counts as one
  // Told beside the sum.
  std::uint64_t possiblyTwice = 0;  // sent again, because no answer came
  std::uint64_t inMemory = 0;  // could not be written when it was recorded, and waited for the next batch
};

struct KovaStatus {
  KovaCounts events;    // messages, which travel in batches
  KovaCounts requests;  // screens, names and properties of users, each a request of its own
};
