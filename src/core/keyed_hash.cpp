#include "core/keyed_hash.h"

#include <sys/auxv.h>
#include <sys/random.h>

#include <bit>
#include <cstring>

namespace quillet {

namespace {

struct sip_state {
  std::uint64_t v0;
  std::uint64_t v1;
  std::uint64_t v2;
  std::uint64_t v3;

  void round() {
    v0 += v1;
    v1 = std::rotl(v1, 13) ^ v0;
    v0 = std::rotl(v0, 32);
    v2 += v3;
    v3 = std::rotl(v3, 16) ^ v2;
    v0 += v3;
    v3 = std::rotl(v3, 21) ^ v0;
    v2 += v1;
    v1 = std::rotl(v1, 17) ^ v2;
    v2 = std::rotl(v2, 32);
  }
  void take(std::uint64_t word) {
    v3 ^= word;
    round();
    v0 ^= word;
  }
};

// The system gives each process sixteen random bytes when it starts it. They are the secret where it has no
// other ones to give.
hash_key make_secret() {
  hash_key secret{};
  if (getrandom(&secret, sizeof secret, GRND_NONBLOCK) == static_cast<ssize_t>(sizeof secret)) return secret;
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the system gives the address as a number
  const void *start_bytes = reinterpret_cast<const void *>(getauxval(AT_RANDOM));
  if (start_bytes != nullptr) std::memcpy(&secret, start_bytes, sizeof secret);
  return secret;
}

}  // namespace

std::uint64_t siphash(std::string_view bytes, const hash_key &key) {
  sip_state state = {key.low ^ 0x736f6d6570736575U, key.high ^ 0x646f72616e646f6dU, key.low ^ 0x6c7967656e657261U,
                     key.high ^ 0x7465646279746573U};
  const char *at = bytes.data();
  std::size_t left = bytes.size();
  for (; left >= 8; at += 8, left -= 8) {
    std::uint64_t word = 0;
    std::memcpy(&word, at, 8);
    state.take(word);
  }
  std::uint64_t word = std::uint64_t{bytes.size()} << 56;
  for (std::size_t i = 0; i < left; ++i) word |= std::uint64_t{static_cast<unsigned char>(at[i])} << (8 * i);
  state.take(word);
  state.v2 ^= 0xff;
  for (int i = 0; i < 3; ++i) state.round();
  return state.v0 ^ state.v1 ^ state.v2 ^ state.v3;
}

std::uint64_t keyed_hash(std::string_view bytes) {
  static const hash_key secret = make_secret();
  return siphash(bytes, secret);
}

}  // namespace quillet
