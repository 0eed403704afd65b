#include "platform/foundation/NSException.h"

#include <gmock/gmock.h>

#include <stdexcept>

#include "platform/foundation/SystemLog.h"

namespace platform {
namespace {

// What is in flight after `raise`, as an NSException.
NSException caught(void (*raise)()) {
  try {
    raise();
  } catch (...) {
    return NSException::current();
  }
  return NSException("nothing was raised");
}

TEST(NSExceptionTest, TakesAnyExceptionForOneOfItsOwn) {
  const NSException standard = caught([] { throw std::out_of_range("no such item"); });
  EXPECT_EQ(standard.name() + ": " + standard.reason().value(), "std::out_of_range: no such item");
  EXPECT_EQ(standard.userInfo(), std::nullopt);
  EXPECT_FALSE(standard.callStackSymbols().empty());
  const NSException other = caught([] { throw 3; });
  EXPECT_EQ(other.name(), "unknown");
  EXPECT_EQ(other.reason(), std::nullopt);
}

TEST(NSExceptionTest, AFailedAssertionIsLoggedAndRaised) {
  std::vector<std::string> lines;
  SystemLog::setSink([&](std::string_view line) { lines.emplace_back(line); });
  const NSException exception =
      caught([] { handleFailureInMethod("-[Cart add:]", "Cart", 12, "no more room"); });
  SystemLog::setSink(nullptr);
  EXPECT_EQ(exception.name(), "NSInternalInconsistencyException");
  EXPECT_STREQ(exception.what(), "no more room");
  EXPECT_THAT(lines, testing::ElementsAre("*** Assertion failure in -[Cart add:], Cart:12"));
}

}  // namespace
}  // namespace platform
