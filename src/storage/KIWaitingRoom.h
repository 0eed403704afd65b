#pragma once

#include <atomic>
#include <cstddef>
#include <optional>
#include <utility>

// Where custom events wait, in memory, until the mutation queue comes to them: no more than batches could
// hold. A host that calls faster than events can be stored would otherwise fill the memory of its process.
// One room a process, whose memory it is. Any thread.
class KIWaitingRoom {
 public:
  static constexpr std::size_t kSeats = 60'000;

  // Taken until it is destroyed.
  class Seat {
   public:
    Seat(Seat&& other) noexcept : isTaken_(std::exchange(other.isTaken_, false)) {}
    Seat& operator=(Seat&& other) noexcept {
      std::swap(isTaken_, other.isTaken_);
      return *this;
    }
    ~Seat() {
      if (isTaken_) taken_.fetch_sub(1, std::memory_order_relaxed);
    }

   private:
    friend class KIWaitingRoom;
    Seat() = default;
    bool isTaken_ = true;
  };

  // None when all are taken.
  static std::optional<Seat> takeSeat() {
    Seat seat;
    if (taken_.fetch_add(1, std::memory_order_relaxed) >= kSeats) return std::nullopt;
    return seat;
  }

 private:
  static inline std::atomic<std::size_t> taken_ = 0;
};
