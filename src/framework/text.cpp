#include "framework/text.h"

namespace polaiga {
namespace {

constexpr std::size_t kMaxDigits = 11;  // of -2147483648

// Writes the decimal text of `value`, at least `width` wide, before `end`.
char* digits_before(char* end, std::int32_t value, std::size_t width) {
  char* at = end;
  std::uint32_t rest = value < 0 ? 0U - static_cast<std::uint32_t>(value) : static_cast<std::uint32_t>(value);
  const std::size_t digits = value < 0 && width > 0 ? width - 1 : width;  // the sign counts
  do {
    *--at = static_cast<char>('0' + rest % 10);
    rest /= 10;
  } while (rest != 0);
  while (static_cast<std::size_t>(end - at) < digits) *--at = '0';
  if (value < 0) *--at = '-';
  return at;
}

}  // namespace

// What is left of the field is filled, and the rest of the text is lost.
TextWriter& TextWriter::add_cut(std::string_view text) { return add({text.data(), room()}); }

TextWriter& TextWriter::add_number(std::int32_t value) {
  char digits[kMaxDigits];
  const char* begin = digits_before(digits + kMaxDigits, value, 1);
  return add({begin, static_cast<std::size_t>(digits + kMaxDigits - begin)});
}

TextWriter& TextWriter::add_code(std::uint32_t code) {
  char digits[kMaxDigits];
  const char* begin = digits_before(digits + kMaxDigits, static_cast<std::int32_t>(code), 4);
  return add({begin, static_cast<std::size_t>(digits + kMaxDigits - begin)});
}

TextWriter& TextWriter::add_format(std::string_view format, const Insert& insert) {
  const char* at = format.data();
  const char* const end = at + format.size();
  std::string_view word = insert.first;
  while (at < end) {
    const auto* percent = static_cast<const char*>(std::memchr(at, '%', static_cast<std::size_t>(end - at)));
    if (percent == nullptr || percent + 1 == end) break;
    add({at, static_cast<std::size_t>(percent - at)});
    at = percent + 2;
    if (percent[1] == 's') {
      add(word);
      word = insert.further;
    } else if (percent[1] == 'd' && insert.number) {
      add_number(*insert.number);
    } else if (percent[1] == '%') {
      add("%");
    } else {
      add("%");
      --at;  // what follows may be the next "%"
    }
  }
  return add({at, static_cast<std::size_t>(end - at)});
}

}  // namespace polaiga
