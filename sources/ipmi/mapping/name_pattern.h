// Patterns for the names of sensors, which may take numbers out of them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace polaiga::ipmi {

inline constexpr std::string_view kUnitPlaceholder = "{unit}";
inline constexpr std::string_view kGroupPlaceholder = "{group}";

// The numbers that a pattern took out of a name.
struct NameNumbers {
  std::int32_t unit = 0;
  std::int32_t group = 0;

  bool operator==(const NameNumbers&) const = default;
};

// `*` stands for any characters or none, `?` for one. `{unit}` and `{group}` stand for a number of one to nine digits;
// all digits that follow each other belong to it. All other characters stand for themselves.
class NamePattern {
 public:
  // The pattern must be one of which complaint() has nothing to say.
  explicit NamePattern(std::string_view pattern) : pattern_(pattern) {}

  // What is wrong with a pattern, and at which of its bytes; nothing: it is one.
  struct Complaint {
    std::string what;
    std::size_t at = 0;
  };
  static std::optional<Complaint> complaint(std::string_view pattern);

  bool takes_unit() const;
  bool takes_group() const;

  // Nothing: the name does not fit.
  std::optional<NameNumbers> match(std::string_view name) const;

 private:
  std::string pattern_;
};

}  // namespace polaiga::ipmi
