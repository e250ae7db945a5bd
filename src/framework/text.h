// Bounded texts: what does not fit its field is cut, and nothing but the text
// and its NUL is written.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>

namespace polaiga {

// A text that ends at its NUL or, failing that, at the width of its field.
template <std::size_t N>
std::string_view field_text(const char (&field)[N]) {
  return {field, strnlen(field, N)};
}

// Whether a name field, which need not have a NUL, holds that name and no more.
template <std::size_t N>
bool holds_name(const char (&field)[N], std::string_view name) {
  const std::size_t size = name.size();
  if (size == 0) return field[0] == '\0';
  // The end of the name tells most sensors apart, their beginning few.
  if (size > N || field[size - 1] != name[size - 1] || (size < N && field[size] != '\0')) return false;
  return std::memcmp(field, name.data(), size) == 0;
}

// A text for which null counts as empty.
inline std::string_view text_or_empty(const char* text) {
  return text != nullptr ? std::string_view(text) : std::string_view();
}

// What a format inserts: "%s" takes `first`, every "%s" after it `further`, and
// "%d" the number if there is one. "%%" is a percent sign; anything else stands
// for itself, so a foreign format can do no harm.
struct Insert {
  std::string_view first = {};
  std::string_view further = {};
  std::optional<std::int32_t> number = {};
};

// Builds a text in a field, from its beginning or from `at`. The field holds a
// terminated text after every step.
class TextWriter {
 public:
  template <std::size_t N>
  explicit TextWriter(char (&field)[N], std::size_t at = 0) : TextWriter(field, at, N - 1) {}

  TextWriter& add(std::string_view text) {
    if (text.size() > room()) return add_cut(text);
    if (!text.empty()) std::memcpy(at_, text.data(), text.size());  // an empty text may be null
    at_ += text.size();
    *at_ = '\0';
    return *this;
  }
  TextWriter& add_number(std::int32_t value);  // as "%d" does
  TextWriter& add_code(std::uint32_t code);    // as "%04d" does
  TextWriter& add_format(std::string_view format, const Insert& insert);

 private:
  TextWriter(char* field, std::size_t at, std::size_t last) : at_(field + at), last_(field + last) { *at_ = '\0'; }

  std::size_t room() const { return static_cast<std::size_t>(last_ - at_); }
  TextWriter& add_cut(std::string_view text);

  char* at_;
  char* last_;  // where the NUL of a full field stands
};

template <std::size_t N>
void write_text(char (&field)[N], std::string_view text) {
  TextWriter(field).add(text);
}

}  // namespace polaiga
