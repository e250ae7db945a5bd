// Texts in fields of a fixed width. A text that does not fit its field is cut.
// Only the text and its NUL are written, so the bytes behind them keep their values.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>

namespace polaiga {

// The text in a field. It ends at its NUL or, when there is none, with the field.
template <std::size_t N>
std::string_view field_text(const char (&field)[N]) {
  return {field, strnlen(field, N)};
}

// The first bytes of a text as one machine word. The text must be at least as long.
inline std::size_t word_at(const char* text) {
  std::size_t word;
  std::memcpy(&word, text, sizeof word);
  return word;
}

// Whether two texts of the same size are equal. Their first and last machine words
// are compared in one step, since these alone tell nearly all sensor names apart.
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

// Whether a field holds exactly this name. A name that fills its field has no NUL.
template <std::size_t N>
bool holds_name(const char (&field)[N], std::string_view name) {
  const std::size_t size = name.size();
  return size <= N && same_text(field, name.data(), size) && (size == N || field[size] == '\0');
}

// Whether the text contains the word.
bool contains(std::string_view text, std::string_view word);

// The text, or the empty text when the pointer is null.
inline std::string_view text_or_empty(const char* text) {
  return text != nullptr ? std::string_view(text) : std::string_view();
}

// What a format inserts: the first "%s" inserts `first`, every later one inserts
// `further`, and "%d" inserts the number if there is one. "%%" stands for a percent
// sign. Everything else is written as it stands, so that a format from outside the
// library can do no harm.
struct Insert {
  std::string_view first = {};
  std::string_view further = {};
  std::optional<std::int32_t> number = {};
};

// A format of the library's own. The compiler counts its length and finds its
// percent signs, so that the library does not have to search for them at run time.
class Format {
 public:
  constexpr Format(std::nullptr_t) {}  // no format, as opposed to an empty one: see has_text()
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
  // A format from a table that a host may replace. Only at run time can it be
  // searched for percent signs.
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
  // These two functions are declared and never defined, nor can they be evaluated at
  // compile time. A format that leads to a call of one of them does not compile.
  static void has_too_many_inserts();
  static void is_too_long();

  const char* text_ = nullptr;
  // The positions of the percent signs. All entries behind them are the length of
  // the format; at least the last entry is.
  std::uint8_t stops_[kStops] = {};
};

// Writes a text into a field piece by piece, from the beginning of the field or
// from position `at`. After every piece the text in the field ends with a NUL.
class TextWriter {
 public:
  template <std::size_t N>
  explicit TextWriter(char (&field)[N], std::size_t at = 0) : at_(field + at), last_(field + N - 1) {
    *at_ = '\0';
  }

  TextWriter& add(std::string_view text) { return go_on(put(at_, last_, text)); }
  // The same for a string literal. The compiler knows its size, and therefore copies
  // it with a few instructions instead of a call.
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
  // The same for a format that is not known before run time.
  TextWriter& add_format(std::string_view format, const Insert& insert) {
    return go_on(put_format(at_, last_, format, insert));
  }

  const char* end() const { return at_; }  // where the NUL of the text stands

 private:
  // Each of these writes at `at`, writes nothing behind `last` (where the NUL of a full
  // field stands), and returns where the NUL of the text stands now.
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
