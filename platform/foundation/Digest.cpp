#include "platform/foundation/Digest.h"

#include <algorithm>
#include <bit>
#include <functional>

namespace platform {
namespace {

constexpr std::size_t kBlock = 64;  // bytes
using Block = std::span<const std::uint8_t, kBlock>;

template <std::endian Order>
std::uint32_t wordAt(Block block, std::size_t index) {
  std::uint32_t word = 0;
  for (std::size_t i = 0; i < 4; ++i)
    word |= std::uint32_t{block[4 * index + i]} << 8 * (Order == std::endian::little ? i : 3 - i);
  return word;
}

template <std::endian Order, class Word>
void putWord(std::uint8_t* bytes, Word word) {
  for (std::size_t i = 0; i < sizeof word; ++i)
    bytes[i] =
        static_cast<std::uint8_t>(word >> 8 * (Order == std::endian::little ? i : sizeof word - 1 - i));
}

// RFC 1321.
struct MD5 {
  static constexpr auto kOrder = std::endian::little;
  std::array<std::uint32_t, 4> state{0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};

  void add(Block block);
};

// |sin(i + 1)| * 2^32
constexpr std::uint32_t kSines[] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391,
};
constexpr int kTurns[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};

void MD5::add(Block block) {
  auto [a, b, c, d] = state;
  for (std::size_t i = 0; i < 64; ++i) {
    const std::size_t round = i / 16;
    const std::uint32_t mixed = round == 0   ? (b & c) | (~b & d)
                                : round == 1 ? (d & b) | (~d & c)
                                : round == 2 ? b ^ c ^ d
                                             : c ^ (b | ~d);
    constexpr std::size_t kFactors[] = {1, 5, 3, 7}, kStarts[] = {0, 1, 5, 0};
    const std::size_t word = (kFactors[round] * i + kStarts[round]) % 16;
    const std::uint32_t sum = a + mixed + kSines[i] + wordAt<kOrder>(block, word);
    a = d;
    d = c;
    c = b;
    b += std::rotl(sum, kTurns[round][i % 4]);
  }
  state = {state[0] + a, state[1] + b, state[2] + c, state[3] + d};
}

// FIPS 180-4.
struct SHA256 {
  static constexpr auto kOrder = std::endian::big;
  std::array<std::uint32_t, 8> state{0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                     0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};

  void add(Block block);
};

// What follows the point in the cube roots of the first 64 primes, times 2^32.
constexpr std::uint32_t kCubeRoots[] = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2,
};

void SHA256::add(Block block) {
  std::array<std::uint32_t, 64> words;
  for (std::size_t i = 0; i < 64; ++i) {
    if (i < 16) {
      words[i] = wordAt<kOrder>(block, i);
      continue;
    }
    const std::uint32_t early = words[i - 15], late = words[i - 2];
    words[i] = words[i - 16] + (std::rotr(early, 7) ^ std::rotr(early, 18) ^ early >> 3) + words[i - 7] +
               (std::rotr(late, 17) ^ std::rotr(late, 19) ^ late >> 10);
  }
  auto [a, b, c, d, e, f, g, h] = state;
  for (std::size_t i = 0; i < 64; ++i) {
    const std::uint32_t choice = (e & f) ^ (~e & g);
    const std::uint32_t majority = (a & b) ^ (a & c) ^ (b & c);
    const std::uint32_t first =
        h + (std::rotr(e, 6) ^ std::rotr(e, 11) ^ std::rotr(e, 25)) + choice + kCubeRoots[i] + words[i];
    const std::uint32_t second = (std::rotr(a, 2) ^ std::rotr(a, 13) ^ std::rotr(a, 22)) + majority;
    h = g;
    g = f;
    f = e;
    e = d + first;
    d = c;
    c = b;
    b = a;
    a = first + second;
  }
  const std::array<std::uint32_t, 8> added{a, b, c, d, e, f, g, h};
  std::transform(state.begin(), state.end(), added.begin(), state.begin(), std::plus<>());
}

// Whole blocks, and then the rest with a one behind it and the length in bits at the end.
template <class Function>
auto digestOf(std::span<const std::uint8_t> bytes) {
  Function function;
  const auto bits = static_cast<std::uint64_t>(bytes.size()) * 8;
  for (; bytes.size() >= kBlock; bytes = bytes.subspan(kBlock)) function.add(bytes.first<kBlock>());

  std::array<std::uint8_t, 2 * kBlock> end{};
  std::copy(bytes.begin(), bytes.end(), end.begin());
  end[bytes.size()] = 0x80;
  const std::size_t length = bytes.size() + 1 + sizeof bits <= kBlock ? kBlock : 2 * kBlock;
  putWord<Function::kOrder>(end.data() + length - sizeof bits, bits);
  const std::span<const std::uint8_t> rest(end);
  function.add(rest.first<kBlock>());
  if (length > kBlock) function.add(rest.last<kBlock>());

  std::array<std::uint8_t, sizeof function.state> digest;
  for (std::size_t i = 0; i < function.state.size(); ++i)
    putWord<Function::kOrder>(digest.data() + 4 * i, function.state[i]);
  return digest;
}

}  // namespace

std::array<std::uint8_t, 16> CC_MD5(std::span<const std::uint8_t> bytes) { return digestOf<MD5>(bytes); }
std::array<std::uint8_t, 32> CC_SHA256(std::span<const std::uint8_t> bytes) {
  return digestOf<SHA256>(bytes);
}

}  // namespace platform
