#pragma once

#include <functional>
#include <string>

// Reads along in the system log, and says in one line each what Kova records:
//
//   touch     Add to basket  → addToBasket  [addToBasketButton]  on ProductController
//
// The reader is called on the threads that log, several at once. What else is logged goes to standard error,
// Kova's other debug lines excepted.
class RecordedLog {
 public:
  using Reader = std::function<void(std::string line)>;

  // For the rest of the process.
  static void readBy(Reader reader);
};
