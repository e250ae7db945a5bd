// Rows that say the same again are stored once: which rows there are already, by
// what they say.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <unordered_map>

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

  void clear() { rows_.clear(); }
  std::size_t size() const { return rows_.size(); }

 private:
  // 128 bits of SipHash stand for the content: what a record says has several
  // hundred bytes. The key is made at random, so that nobody can find two contents
  // with the same digest.
  struct Digest {
    std::uint64_t low = 0;
    std::uint64_t high = 0;
    bool operator==(const Digest&) const = default;
  };
  struct Hash {
    std::size_t operator()(const Digest& digest) const { return static_cast<std::size_t>(digest.low); }
  };

  std::size_t most_;
  std::array<std::uint64_t, 4> key_{};
  Digest last_;
  std::unordered_map<Digest, Sequence, Hash> rows_;
};

// SipHash-1-3 of a text.
std::uint64_t sip_hash(std::string_view text, std::uint64_t key0, std::uint64_t key1);

}  // namespace polaiga::engine
