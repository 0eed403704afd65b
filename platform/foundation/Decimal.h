#pragma once

#include <cstdint>
#include <string>

namespace platform {

// Numbers as decimal text that is the same in every locale. No state; any thread.

std::string decimal(std::int64_t number);
std::string decimal(std::uint64_t number);

// In the general form, with an exponent below 1e-4 and from 1e16 on: a double with 16 digits, or 17 where 16
// do not give it back; a float with as few digits as give it back (0.1, 100000). "nan", "inf" and "-inf" for
// the rest.
std::string decimal(double number);
std::string decimal(float number);

// Rounded to so many digits behind the point, halves to the even one; never with an exponent. 60 digits at
// most.
std::string fixedDecimal(double number, int digits);

// The double of the float's own digits: 0.1 for 0.1f.
double doubleOfDigits(float number);

}  // namespace platform
