// Rows that say the same again are stored once: which rows there are already, by
// what they say.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "model/change.h"

namespace polaiga::engine {

class KnownRows {
 public:
  // Beyond `most` rows it begins anew, and rows are stored again.
  explicit KnownRows(std::size_t most);

  // Of the row that says this, by its number.
  std::optional<Sequence> find(std::string_view content);

  // Of the content that was looked for last.
  void add(Sequence row);

  void clear();
  std::size_t size() const { return size_; }

 private:
  // 128 bits of SipHash stand for the content: what a record says has several
  // hundred bytes. The key is made at random, so that nobody can find two contents
  // with the same digest.
  struct Digest {
    std::uint64_t low = 0;
    std::uint64_t high = 0;
    bool operator==(const Digest&) const = default;
  };

  // Each stands at the place that its digest says, or at the next free one after it. At least a quarter of the places
  // are free. A search so reads one place as a rule, where it lies in memory; a map of nodes would read three.
  struct Place {
    Digest digest;
    Sequence row = 0;  // 0: it is free
  };

  Place& place_of(const Digest& digest);
  void grow();

  std::size_t most_;
  std::array<std::uint64_t, 4> key_{};
  Digest last_;
  std::vector<Place> places_;  // a power of two, or none
  std::size_t size_ = 0;
};

// SipHash-1-3 of a text.
std::uint64_t sip_hash(std::string_view text, std::uint64_t key0, std::uint64_t key1);

}  // namespace polaiga::engine
