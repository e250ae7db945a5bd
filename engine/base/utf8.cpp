#include "base/utf8.h"

#include <array>

namespace polaiga::engine {
namespace {

// The first bytes of characters of several bytes, and what the second byte may be.
// It decides whether the character is written in too many bytes, is half of a
// surrogate pair or lies beyond the last character.
struct Form {
  unsigned char first;
  unsigned char last_first;
  unsigned char least_second;
  unsigned char most_second;
  std::size_t size;
};

constexpr std::array<Form, 8> kForms{{{0xC2, 0xDF, 0x80, 0xBF, 2},
                                      {0xE0, 0xE0, 0xA0, 0xBF, 3},
                                      {0xE1, 0xEC, 0x80, 0xBF, 3},
                                      {0xED, 0xED, 0x80, 0x9F, 3},
                                      {0xEE, 0xEF, 0x80, 0xBF, 3},
                                      {0xF0, 0xF0, 0x90, 0xBF, 4},
                                      {0xF1, 0xF3, 0x80, 0xBF, 4},
                                      {0xF4, 0xF4, 0x80, 0x8F, 4}}};

Character read_as(const Form& form, std::string_view text) {
  constexpr unsigned kBits = 6;  // of each byte after the first
  const auto byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  char32_t code = byte(0) & (0xFFU >> (form.size + 1));
  for (std::size_t i = 1; i < form.size; ++i) {
    const unsigned least = i == 1 ? form.least_second : 0x80U;
    const unsigned most = i == 1 ? form.most_second : 0xBFU;
    if (i >= text.size() || byte(i) < least || byte(i) > most) return {.code = 0, .size = i, .valid = false};
    code = code << kBits | (byte(i) & 0x3FU);
  }
  return {.code = code, .size = form.size, .valid = true};
}

}  // namespace

Character first_character(std::string_view text) {
  const auto first = static_cast<unsigned char>(text.front());
  if (first < 0x80) return {.code = first, .size = 1, .valid = true};
  for (const Form& form : kForms) {
    if (first >= form.first && first <= form.last_first) return read_as(form, text);
  }
  return {.code = 0, .size = 1, .valid = false};
}

}  // namespace polaiga::engine
