#include "ledger/known_rows.h"

#include <sys/random.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <stdexcept>

namespace polaiga::engine {
namespace {

constexpr std::size_t kLeastPlaces = 64;

struct SipState {
  std::uint64_t v0, v1, v2, v3;

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

}  // namespace

std::uint64_t sip_hash(std::string_view text, std::uint64_t key0, std::uint64_t key1) {
  SipState state{key0 ^ 0x736F6D6570736575U, key1 ^ 0x646F72616E646F6DU, key0 ^ 0x6C7967656E657261U,
                 key1 ^ 0x7465646279746573U};
  const std::size_t size = text.size();
  for (; text.size() >= 8; text.remove_prefix(8)) {
    std::uint64_t word = 0;
    std::memcpy(&word, text.data(), 8);
    state.take(word);
  }
  std::uint64_t last = 0;
  std::memcpy(&last, text.data(), text.size());
  state.take(last | (std::uint64_t{size} << 56U));
  state.v2 ^= 0xFF;
  for (int i = 0; i < 3; ++i) state.round();
  return state.v0 ^ state.v1 ^ state.v2 ^ state.v3;
}

KnownRows::KnownRows(std::size_t most) : most_(most) {
  if (::getrandom(key_.data(), sizeof key_, 0) != static_cast<ssize_t>(sizeof key_)) {
    throw std::runtime_error("the system gives no random numbers");
  }
}

std::optional<Sequence> KnownRows::find(std::string_view content) {
  last_ = {sip_hash(content, key_[0], key_[1]), sip_hash(content, key_[2], key_[3])};
  if (places_.empty()) return std::nullopt;
  const Place& place = place_of(last_);
  return place.row != 0 ? std::optional(place.row) : std::nullopt;
}

void KnownRows::add(Sequence row) {
  if (size_ >= most_) clear();
  if (4 * (size_ + 1) > 3 * places_.size()) grow();
  Place& place = place_of(last_);
  if (place.row == 0) ++size_;
  place = {last_, row};
}

void KnownRows::clear() {
  places_ = {};
  size_ = 0;
}

// Where the digest stands, or where it is to stand.
KnownRows::Place& KnownRows::place_of(const Digest& digest) {
  const std::size_t mask = places_.size() - 1;
  std::size_t at = static_cast<std::size_t>(digest.low) & mask;
  while (places_[at].row != 0 && places_[at].digest != digest) at = (at + 1) & mask;
  return places_[at];
}

void KnownRows::grow() {
  std::vector<Place> former(std::max(kLeastPlaces, 2 * places_.size()));
  former.swap(places_);
  for (const Place& place : former) {
    if (place.row != 0) place_of(place.digest) = place;
  }
}

}  // namespace polaiga::engine
