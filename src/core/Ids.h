#pragma once

#include <string>

namespace kova {

// 16 decimal digits of a 53-bit random number, padded with zeros: the id of messages, events, users, sessions
// and pageviews. Any thread.
std::string randomId();

}  // namespace kova
