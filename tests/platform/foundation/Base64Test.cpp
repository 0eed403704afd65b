#include "platform/foundation/Base64.h"

#include <gtest/gtest.h>

namespace {

using namespace platform;

TEST(Base64Test, PadsAndBreaksNoLines) {
  EXPECT_EQ(base64EncodedString(""), "");
  EXPECT_EQ(base64EncodedString("f"), "Zg==");
  EXPECT_EQ(base64EncodedString("fo"), "Zm8=");
  EXPECT_EQ(base64EncodedString("foo"), "Zm9v");
  EXPECT_EQ(base64EncodedString(std::string_view("\0\xFF\xFE\x3E", 4)), "AP/+Pg==");
  EXPECT_EQ(base64EncodedString(std::string(300, '\0')), std::string(400, 'A'));
}

}  // namespace
