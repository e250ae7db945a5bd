#include "base/printable.h"

#include <gtest/gtest.h>

namespace polaiga::engine {
namespace printable_test {

struct Shown {
  std::string_view text;
  std::string_view shown;
};

TEST(Printable, WhatIsSeenStays) {
  for (const std::string_view text : {
           "", " plain ~",
           "\xC2\xA0",          // U+00A0 no-break space
           "caf\xC3\xA9",       // U+00E9
           "e\xCC\x81",         // U+0301 accent on the e
           "\xD8\xA7",          // U+0627 Arabic alif
           "\xE2\x80\x90",      // U+2010 hyphen
           "\xE2\x80\xB0",      // U+2030 per mille
           "\xE4\xB8\xAD",      // U+4E2D
           "\xEF\xBF\xBD",      // U+FFFD replacement character
           "\xF0\x9F\x98\x80",  // U+1F600
       }) {
    EXPECT_EQ(printable(text), text);
  }
}

TEST(Printable, ControlCharactersAreShownAsMarks) {
  const Shown kRows[] = {
      {"a\x1b[31mb\n\t\x7f", "a?[31mb???"},
      {{"a\0b", 3}, "a?b"},
      {"\xC2\x80|\xC2\x85|\xC2\x9B", "?|?|?"},  // first of C1, next line, the one-character form of ESC [
      {"\xC2\x9F|\xC2\xA0", "?|\xC2\xA0"},      // last of C1, and what follows it
  };
  for (const auto& [text, shown] : kRows) EXPECT_EQ(printable(text), shown);
}

TEST(Printable, SoIsWhatTurnsDirectionsOrIsNotSeen) {
  for (const std::string_view hidden : {
           "\xC2\xAD",          // U+00AD soft hyphen
           "\xCD\x8F",          // U+034F
           "\xD8\x9C",          // U+061C
           "\xE1\x85\x9F",      // U+115F
           "\xE1\x9E\xB4",      // U+17B4
           "\xE1\xA0\x8E",      // U+180E
           "\xE2\x80\x8B",      // U+200B
           "\xE2\x80\x8E",      // U+200E
           "\xE2\x80\x8F",      // U+200F
           "\xE2\x80\xA8",      // U+2028
           "\xE2\x80\xA9",      // U+2029
           "\xE2\x80\xAA",      // U+202A
           "\xE2\x80\xAE",      // U+202E
           "\xE2\x81\xA0",      // U+2060
           "\xE2\x81\xA6",      // U+2066
           "\xE2\x81\xA9",      // U+2069
           "\xE2\x81\xAF",      // U+206F
           "\xE3\x85\xA4",      // U+3164
           "\xEF\xB7\x90",      // U+FDD0
           "\xEF\xB8\x80",      // U+FE00
           "\xEF\xBB\xBF",      // U+FEFF
           "\xEF\xBE\xA0",      // U+FFA0
           "\xEF\xBF\xBB",      // U+FFFB
           "\xEF\xBF\xBE",      // U+FFFE
           "\xF0\x93\x90\xB0",  // U+13430
           "\xF0\x9B\xB2\xA0",  // U+1BCA0
           "\xF0\x9D\x85\xB3",  // U+1D173
           "\xF0\x9F\xBF\xBF",  // U+1FFFF
           "\xF3\xA0\x80\x81",  // U+E0001
           "\xF3\xA0\xBF\xBF",  // U+E0FFF
           "\xF4\x8F\xBF\xBF",  // U+10FFFF
       }) {
    EXPECT_EQ(printable(std::string("a") + std::string(hidden) + "b"), "a?b");
  }
}

TEST(Printable, SoIsWhatIsNotUtf8) {
  const Shown kRows[] = {
      {"\x80", "?"},
      {"\xFF", "?"},
      {"\xC3", "?"},
      {"cut \xC2", "cut ?"},
      {"\xC3z", "?z"},
      {"\xC0\xAF", "??"},            // a stroke in too many bytes
      {"\xE0\x9F\xBF", "???"},       // the same in three
      {"\xE2\x82", "?"},             // of three bytes, two
      {"\xE2\x82z", "?z"},           //
      {"\xED\xA0\x80", "???"},       // half of a surrogate pair
      {"\xF0\x9F\x98", "?"},         // of four bytes, three
      {"\xF4\x90\x80\x80", "????"},  // beyond the last character
      {"\xF0\x8F\xBF\xBF", "????"},  // too many bytes
      {"\xE2\xE2\x82\xAC", "?\xE2\x82\xAC"},
  };
  for (const auto& [text, shown] : kRows) EXPECT_EQ(printable(text), shown);
}

TEST(Printable, AddsToALine) {
  std::string line = "so: ";
  add_printable(line, "a\rb");
  EXPECT_EQ(line, "so: a?b");
}

TEST(Printable, LinesStayLines) {
  EXPECT_EQ(printable_lines(""), "");
  EXPECT_EQ(printable_lines("a\rb\n\n\x1b"
                            "c\n"),
            "a?b\n\n?c\n");
  EXPECT_EQ(printable_lines("a\nb\t"), "a\nb?");
}

TEST(InQuotes, LongTextsAreCut) {
  EXPECT_EQ(in_quotes(""), "''");
  EXPECT_EQ(in_quotes("a\nb"), "'a?b'");
  EXPECT_EQ(in_quotes(std::string(40, 'x')), "'" + std::string(40, 'x') + "'");
  EXPECT_EQ(in_quotes(std::string(41, 'x')), "'" + std::string(40, 'x') + "...'");
}

TEST(InQuotes, ACutIsNotAmidACharacter) {
  const std::string euro = "\xE2\x82\xAC";
  const auto of = [](std::size_t blanks) { return std::string(blanks, 'x'); };
  EXPECT_EQ(in_quotes(of(37) + euro + "y"), "'" + of(37) + euro + "...'");
  EXPECT_EQ(in_quotes(of(38) + euro + "y"), "'" + of(38) + "...'");
  EXPECT_EQ(in_quotes(of(39) + euro + "y"), "'" + of(39) + "...'");
  EXPECT_EQ(in_quotes(of(40) + euro + "y"), "'" + of(40) + "...'");
  EXPECT_EQ(in_quotes(std::string(50, '\x80')), "'" + std::string(36, '?') + "...'");  // no characters at all
}

}  // namespace printable_test
}  // namespace polaiga::engine
