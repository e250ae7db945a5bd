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

// A machine word of a text that has at least as many bytes.
inline std::size_t word_at(const char* text) {
  std::size_t word;
  std::memcpy(&word, text, sizeof word);
  return word;
}

// Whether two texts of that size are the same. Their first and their last word
// are compared at once, which is enough to tell nearly all sensors apart.
inline bool same_text(const char* a, const char* b, std::size_t size) {
  constexpr std::size_t kWord = sizeof(std::size_t);
  std::size_t i = 0;
  if (size >= kWord) {
    const std::size_t last = size - kWord;
    if (((word_at(a) ^ word_at(b)) | (word_at(a + last) ^ word_at(b + last))) != 0) return false;
    for (i = kWord; i < last; i += kWord) {
      if (word_at(a + i) != word_at(b + i)) return false;
    }
    return true;
  }
  while (i < size && a[i] == b[i]) ++i;
  return i == size;
}

// Whether a name field, which need not have a NUL, holds that name and no more.
template <std::size_t N>
bool holds_name(const char (&field)[N], std::string_view name) {
  const std::size_t size = name.size();
  return size <= N && same_text(field, name.data(), size) && (size == N || field[size] == '\0');
}

// Whether the word stands anywhere in the text.
bool contains(std::string_view text, std::string_view word);

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

// A format of the library's own. The compiler counts its length and finds its
// percent signs, so that nothing is left to be searched when it is written.
class Format {
 public:
  constexpr Format(std::nullptr_t) {}  // no text at all, which is not the empty one
  consteval Format(const char* text) : text_(text) {
    std::size_t size = 0;
    std::size_t percents = 0;
    while (text[size] != '\0') {
      if (text[size] == '%') {
        if (percents == kStops - 1) has_too_many_inserts();
        stops_[percents++] = static_cast<std::uint8_t>(size++);
      }
      if (text[size] != '\0') ++size;
      if (size >= kSearched) is_too_long();
    }
    for (; percents < kStops; ++percents) stops_[percents] = static_cast<std::uint8_t>(size);
  }
  // The text of a table that a host may replace: it is searched when it is written.
  static constexpr Format of_table(const char* text) {
    Format format = nullptr;
    format.text_ = text;
    format.stops_[kStops - 1] = kSearched;
    return format;
  }

  constexpr bool has_text() const { return text_ != nullptr; }

 private:
  friend class TextWriter;
  static constexpr std::size_t kStops = 4;
  static constexpr std::uint8_t kSearched = 0xFF;
  // These two exist nowhere, so that a format which would need them does not compile.
  static void has_too_many_inserts();
  static void is_too_long();

  const char* text_ = nullptr;
  // Where the percent signs stand; all others, at least the last, are the length.
  std::uint8_t stops_[kStops] = {};
};

// Builds a text in a field, from its beginning or from `at`. The field holds a
// terminated text after every step.
class TextWriter {
 public:
  template <std::size_t N>
  explicit TextWriter(char (&field)[N], std::size_t at = 0) : at_(field + at), last_(field + N - 1) {
    *at_ = '\0';
  }

  TextWriter& add(std::string_view text) { return go_on(put(at_, last_, text)); }
  // The same of a text that stands in the source: since the compiler knows its
  // size, it is copied in place.
  template <std::size_t N>
  TextWriter& add_literal(const char (&text)[N]) {
    if (static_cast<std::size_t>(last_ - at_) < N - 1) return add({text, N - 1});
    std::memcpy(at_, text, N);
    at_ += N - 1;
    return *this;
  }
  template <std::size_t N>
  TextWriter& add_literal(char (&text)[N]) = delete;  // a field is no literal
  TextWriter& add_number(std::int32_t value) { return go_on(put_number(at_, last_, value, 1)); }  // as "%d" does
  TextWriter& add_code(std::uint32_t code) {                                                      // as "%04d" does
    return go_on(put_number(at_, last_, static_cast<std::int32_t>(code), 4));
  }
  TextWriter& add(const Format& format, const Insert& insert) { return go_on(put(at_, last_, format, insert)); }
  // The same of a format that is known only now.
  TextWriter& add_format(std::string_view format, const Insert& insert) {
    return go_on(put_format(at_, last_, format, insert));
  }

  const char* end() const { return at_; }  // of what has been written

 private:
  // Each writes from `at` on, in front of `last`, and returns where its NUL stands.
  static char* put(char* at, char* last, std::string_view text);
  static char* put(char* at, char* last, const Format& format, const Insert& insert);
  static char* put_number(char* at, char* last, std::int32_t value, std::size_t width);
  static char* put_format(char* at, char* last, std::string_view format, const Insert& insert,
                          const std::uint8_t* stops = nullptr);

  TextWriter& go_on(char* at) {
    at_ = at;
    return *this;
  }

  char* at_;
  char* last_;  // where the NUL of a full field stands
};

template <std::size_t N>
void write_text(char (&field)[N], std::string_view text) {
  TextWriter(field).add(text);
}

}  // namespace polaiga
