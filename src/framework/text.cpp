#include "framework/text.h"

#include <algorithm>

namespace polaiga {
namespace {

constexpr std::size_t kMaxDigits = 11;  // of -2147483648

// Writes the decimal text of `value`, at least `width` wide, which is not 0, before `end`.
char* digits_before(char* end, std::int32_t value, std::size_t width) {
  char* at = end;
  std::uint32_t rest = value < 0 ? 0U - static_cast<std::uint32_t>(value) : static_cast<std::uint32_t>(value);
  const std::size_t digits = value < 0 ? width - 1 : width;  // the sign counts
  do {
    *--at = static_cast<char>('0' + rest % 10);
    rest /= 10;
  } while (rest != 0);
  while (static_cast<std::size_t>(end - at) < digits) *--at = '0';
  if (value < 0) *--at = '-';
  return at;
}

// Copies the first N and the last N bytes of a text of N to 2 N bytes.
template <std::size_t N>
void copy_ends(char* to, const char* from, std::size_t size) {
  std::memcpy(to, from, N);
  std::memcpy(to + size - N, from + size - N, N);
}

// Does what memcpy() does. Most texts are so short that a call of the C library
// would take longer than copying them here.
void copy(char* to, const char* from, std::size_t size) {
  if (size >= 32) {
    for (; size > 64; size -= 32, to += 32, from += 32) std::memcpy(to, from, 32);
    copy_ends<32>(to, from, size);
  } else if (size >= 16) {
    copy_ends<16>(to, from, size);
  } else if (size >= 8) {
    copy_ends<8>(to, from, size);
  } else if (size >= 4) {
    copy_ends<4>(to, from, size);
  } else {
    for (std::size_t i = 0; i < size; ++i) to[i] = from[i];
  }
}

const char* find_percent(const char* from, const char* end) {
  const void* const percent = std::memchr(from, '%', static_cast<std::size_t>(end - from));
  return percent != nullptr ? static_cast<const char*>(percent) : end;
}

}  // namespace

bool contains(std::string_view text, std::string_view word) {
  for (; text.size() >= word.size(); text.remove_prefix(1)) {
    if (same_text(text.data(), word.data(), word.size())) return true;
  }
  return false;
}

// The part of the text that does not fit is left out. The function is aligned to a
// cache line because it is called more often than any other, and is then faster.
__attribute__((aligned(64))) char* TextWriter::put(char* at, char* last, std::string_view text) {
  const std::size_t size = std::min(text.size(), static_cast<std::size_t>(last - at));
  copy(at, text.data(), size);
  at += size;
  *at = '\0';
  return at;
}

char* TextWriter::put_number(char* at, char* last, std::int32_t value, std::size_t width) {
  char digits[kMaxDigits];
  char* const end = digits + kMaxDigits;
  const char* const begin = digits_before(end, value, width);
  return put(at, last, {begin, static_cast<std::size_t>(end - begin)});
}

char* TextWriter::put(char* at, char* last, const Format& format, const Insert& insert) {
  const std::uint8_t size = format.stops_[Format::kStops - 1];
  if (size == Format::kSearched) return put_format(at, last, format.text_, insert);
  return put_format(at, last, {format.text_, size}, insert, format.stops_);
}

// When `stops` is given, it says where the percent signs are (see Format). Otherwise
// they are searched for.
char* TextWriter::put_format(char* at, char* last, std::string_view format, const Insert& insert,
                             const std::uint8_t* stops) {
  const char* from = format.data();
  const char* const end = from + format.size();
  std::string_view word = insert.first;
  for (;;) {
    const char* const percent = stops != nullptr ? format.data() + *stops++ : find_percent(from, end);
    if (end - percent < 2) return put(at, last, {from, static_cast<std::size_t>(end - from)});
    at = put(at, last, {from, static_cast<std::size_t>(percent - from)});
    from = percent + 2;
    if (percent[1] == 's') {
      at = put(at, last, word);
      word = insert.further;
    } else if (percent[1] == 'd' && insert.number) {
      at = put_number(at, last, *insert.number, 1);
    } else {
      at = put(at, last, "%");
      if (percent[1] != '%') --from;  // the character behind the "%" is written as it stands
    }
  }
}

}  // namespace polaiga
