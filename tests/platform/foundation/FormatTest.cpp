#include "platform/foundation/Format.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "platform/runtime/NSObject.h"

namespace platform {
namespace {

TEST(FormatTest, DescribesAnythingUnderTheObjectPlaceholder) {
  EXPECT_EQ(formatted("plain"), "plain");
  EXPECT_EQ(formatted("%@ %@ %@ %@", "a", std::string("b"), std::string_view("c"), String("d")), "a b c d");
  EXPECT_EQ(formatted("%@|%@|%@", 3, 2.5, true), "3|2.5|1");
  EXPECT_EQ(formatted("%@", SEL("track:withProperties:")), "track:withProperties:");
  EXPECT_EQ(formatted("%@", std::optional<Value>()), "(null)");
  EXPECT_EQ(formatted("%@", std::optional<std::string>("x")), "x");
  EXPECT_EQ(formatted("%@", static_cast<const char*>(nullptr)), "(null)");
  EXPECT_EQ(formatted("%@", std::shared_ptr<NSObject>()), "(null)");
  EXPECT_EQ(formatted("%@ %@", Array{1}, Dictionary{{"a", 1}}), "(\n    1\n) {\n    a = 1;\n}");
  EXPECT_EQ(formatted("%@", Value("%@ %d")), "%@ %d");
}

TEST(FormatTest, WritesNumbersAsTold) {
  EXPECT_EQ(formatted("100%% of %d", -3), "100% of -3");
  EXPECT_EQ(formatted("%ld %lld", std::numeric_limits<long>::min(), -1ll), "-9223372036854775808 -1");
  EXPECT_EQ(formatted("%llu", std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
  EXPECT_EQ(formatted("%016llu", 42ull), "0000000000000042");
  EXPECT_EQ(formatted("%u", std::uint8_t{200}), "200");
  EXPECT_EQ(formatted("%f %.0f", 20.0, 1767225600000.4), "20.000000 1767225600000");
}

}  // namespace
}  // namespace platform
