#include "framework/text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <limits>
#include <string>

namespace polaiga {
namespace text_test {

constexpr std::int32_t kLeast = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();

// A field between bytes that must not change. The bytes behind the text in it must not change, either.
template <std::size_t N>
struct Guarded {
  std::array<char, 16> before;
  char field[N];
  std::array<char, 16> after;

  Guarded() {
    before.fill('#');
    after.fill('#');
    std::memset(field, '#', N);
  }

  // Whether the text is there, and nothing but it and its NUL was written.
  ::testing::AssertionResult holds(const std::string& text) const {
    if (text.size() >= N) return ::testing::AssertionFailure() << "the expected text does not fit";
    if (std::memcmp(field, text.c_str(), text.size() + 1) != 0)
      return ::testing::AssertionFailure() << "got \"" << field_text(field) << "\", not \"" << text << "\"";
    for (std::size_t i = text.size() + 1; i < N; ++i) {
      if (field[i] != '#') return ::testing::AssertionFailure() << "byte " << i << " was written";
    }
    const std::string guard(16, '#');
    if (std::string(before.data(), 16) != guard || std::string(after.data(), 16) != guard)
      return ::testing::AssertionFailure() << "a byte outside the field was written";
    return ::testing::AssertionSuccess();
  }
};

std::string printed(const char* format, std::int32_t value) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), format, value);
  return text.data();
}

TEST(FieldText, EndsAtItsNul) {
  char field[8] = {'a', 'b', '\0', 'c', '\0', 'x', 'x', 'x'};
  EXPECT_EQ(field_text(field), "ab");
  field[0] = '\0';
  EXPECT_EQ(field_text(field), "");
}

TEST(FieldText, EndsAtItsWidthWithoutANul) {
  const struct {
    char field[4];
    char next[4];
  } both = {{'a', 'b', 'c', 'd'}, "efg"};
  EXPECT_EQ(field_text(both.field), "abcd");
}

TEST(HoldsName, ComparesTheFieldWhole) {
  const struct {
    char field[4];
    char next[4];
  } full = {{'A', 'B', 'C', 'D'}, "EF"};
  EXPECT_TRUE(holds_name(full.field, "ABCD"));
  for (const char* name : {"", "A", "ABC", "ABCE", "abcd", "ABCDE", "ABCDEF", "ABCDEFGH"})
    EXPECT_FALSE(holds_name(full.field, name)) << name;
  const char padded[4] = {'A', 'B', '\0', '\0'};
  EXPECT_TRUE(holds_name(padded, "AB"));
  for (const char* name : {"", "A", "ABC", "AC", "Ab", "ABAB"}) EXPECT_FALSE(holds_name(padded, name)) << name;
  const char behind[4] = {'A', '\0', 'C', 'D'};
  EXPECT_TRUE(holds_name(behind, "A"));
  EXPECT_FALSE(holds_name(behind, ""));
  const char empty[4] = {};
  EXPECT_TRUE(holds_name(empty, ""));
  EXPECT_FALSE(holds_name(empty, "A"));
}

// Names of every length, because they are compared in different ways. Each name is compared
// with itself, and with a name that differs at one place, for every place.
TEST(HoldsName, NoticesADifferenceAnywhere) {
  for (std::size_t size = 1; size <= 20; ++size) {
    const std::string name = std::string("ABCDEFGHIJKLMNOPQRST").substr(0, size);
    char field[20] = {};
    std::copy(name.begin(), name.end(), field);
    EXPECT_TRUE(holds_name(field, name)) << name;
    for (char& letter : field) {
      letter ^= 1;
      EXPECT_FALSE(holds_name(field, name) && &letter <= field + size) << name << " " << &letter - field;
      letter ^= 1;
    }
  }
}

TEST(SameText, NoticesADifferenceAnywhere) {
  for (std::size_t size = 0; size <= 64; ++size) {
    const std::string text(size, 'a');
    EXPECT_TRUE(same_text(text.data(), std::string(size, 'a').data(), size)) << size;
    for (std::size_t at = 0; at < size; ++at) {
      std::string other = text;
      other[at] = 'b';
      EXPECT_FALSE(same_text(text.data(), other.data(), size)) << size << " " << at;
    }
  }
}

TEST(Contains, FindsTheWordAnywhere) {
  for (const char* text : {"TACH1", "FAN1_TACH1", "TACH1_SPEED", "TTACH1", "TACTACH1", "TACH2TACH1"})
    EXPECT_TRUE(contains(text, "TACH1")) << text;
  for (const char* text : {"", "T", "TACH", "TACH2", "tach1", "TAC H1", "ACH1", "1TACH"})
    EXPECT_FALSE(contains(text, "TACH1")) << text;
}

TEST(TextOrEmpty, NullIsEmpty) {
  EXPECT_EQ(text_or_empty(nullptr), "");
  EXPECT_EQ(text_or_empty(""), "");
  EXPECT_EQ(text_or_empty("text"), "text");
}

TEST(TextWriter, TerminatesFromTheBeginning) {
  Guarded<8> guarded;
  TextWriter{guarded.field};
  EXPECT_TRUE(guarded.holds(""));
}

TEST(TextWriter, StartsAtAPosition) {
  Guarded<8> guarded;
  write_text(guarded.field, "abcdef");
  TextWriter(guarded.field, 2).add("XY");
  EXPECT_EQ(std::string(guarded.field, 8), std::string("abXY\0f\0#", 8));
  TextWriter(guarded.field, 7).add("Z");
  EXPECT_EQ(std::string(guarded.field, 8), std::string("abXY\0f\0\0", 8));
}

TEST(TextWriter, CutsAtTheEndOfTheField) {
  for (std::size_t size = 0; size <= 40; ++size) {
    std::string text;
    while (text.size() < size) text += static_cast<char>('a' + text.size() % 26);
    Guarded<12> at_once;
    write_text(at_once.field, text);
    EXPECT_TRUE(at_once.holds(text.substr(0, 11))) << size;

    for (std::size_t split = 0; split <= size; ++split) {
      Guarded<12> in_two;
      TextWriter(in_two.field).add(text.substr(0, split)).add(text.substr(split));
      EXPECT_TRUE(in_two.holds(text.substr(0, 11))) << size << " " << split;
    }
  }
}

// Texts are copied in different ways, depending on their lengths.
TEST(TextWriter, CopiesTextsOfEveryLength) {
  for (std::size_t size = 0; size <= 300; ++size) {
    std::string text;
    while (text.size() < size) text += static_cast<char>('a' + (text.size() * 7 + text.size() / 26) % 26);
    Guarded<400> guarded;
    write_text(guarded.field, text);
    EXPECT_TRUE(guarded.holds(text)) << size;
  }
}

TEST(TextWriter, LiteralsAreCutAsOtherTexts) {
  for (std::size_t used = 0; used <= 11; ++used) {
    const std::string start(used, '.');
    Guarded<12> guarded;
    TextWriter(guarded.field).add(start).add_literal("abcde").add_literal("").add_literal("f");
    EXPECT_TRUE(guarded.holds((start + "abcdef").substr(0, 11))) << used;
  }
}

TEST(TextWriter, EndIsWhereTheNulStands) {
  Guarded<8> guarded;
  TextWriter writer(guarded.field);
  EXPECT_EQ(writer.end(), guarded.field);
  EXPECT_EQ(writer.add("abc").end(), guarded.field + 3);
  EXPECT_EQ(writer.add_literal("de").add_number(12).add("x").end(), guarded.field + 7);
}

TEST(TextWriter, FieldOfOneByteHoldsNothing) {
  Guarded<1> guarded;
  TextWriter(guarded.field).add("x").add_number(1).add_code(2).add_format("%s%d", {.first = "y", .number = 3});
  EXPECT_TRUE(guarded.holds(""));
}

TEST(TextWriter, CutsNumbersAndCodesAtEveryLength) {
  for (std::size_t used = 0; used <= 20; ++used) {
    const std::string start(used, '.');
    Guarded<21> number;
    TextWriter(number.field).add(start).add_number(kLeast).add("!");
    EXPECT_TRUE(number.holds((start + "-2147483648!").substr(0, 20))) << used;
    Guarded<21> code;
    TextWriter(code.field).add(start).add_code(12).add("!");
    EXPECT_TRUE(code.holds((start + "0012!").substr(0, 20))) << used;
    Guarded<21> format;
    TextWriter(format.field).add(start).add_format("<%s%%%d>", {.first = "word", .number = 345});
    EXPECT_TRUE(format.holds((start + "<word%345>").substr(0, 20))) << used;
  }
}

void expect_number(std::int32_t value) {
  Guarded<16> guarded;
  TextWriter(guarded.field).add_number(value);
  ASSERT_TRUE(guarded.holds(printed("%d", value))) << value;
}

TEST(TextWriter, NumbersAreWrittenAsByPrintf) {
  for (const std::int32_t value :
       {0, 1, -1, 9, 10, -9, -10, 99, 100, 999999999, 1000000000, kMost, kMost - 1, kLeast, kLeast + 1})
    expect_number(value);
  for (std::int32_t value = -70000; value <= 70000; ++value) expect_number(value);
  for (std::int64_t value = kLeast; value <= kMost; value += 65521) expect_number(static_cast<std::int32_t>(value));
}

void expect_code(std::uint32_t code) {
  Guarded<16> guarded;
  TextWriter(guarded.field).add_code(code);
  ASSERT_TRUE(guarded.holds(printed("%04d", static_cast<std::int32_t>(code)))) << code;
}

TEST(TextWriter, CodesAreWrittenAsByPrintf) {
  for (std::uint32_t code = 0; code <= 99999; ++code) expect_code(code);
  for (std::int64_t code = 0; code <= 0xFFFFFFFF; code += 65521) expect_code(static_cast<std::uint32_t>(code));
  for (std::uint32_t below = 1; below <= 20000; ++below) expect_code(0U - below);
  for (const std::uint32_t code : {0x7FFFFFFFU, 0x80000000U, 0x80000001U}) expect_code(code);
}

TEST(TextWriter, CodesHaveFourDigits) {
  const struct {
    std::uint32_t code;
    const char* text;
  } cases[] = {{0, "0000"},      {7, "0007"},           {42, "0042"},          {434, "0434"},         {9999, "9999"},
               {12345, "12345"}, {4294967295U, "-001"}, {4294966297U, "-999"}, {4294966296U, "-1000"}};
  for (const auto& c : cases) {
    Guarded<16> guarded;
    TextWriter(guarded.field).add_code(c.code);
    EXPECT_TRUE(guarded.holds(c.text));
  }
}

struct FormatCase {
  const char* format;
  const char* text;
};

void expect_formats(const Insert& insert, std::initializer_list<FormatCase> cases) {
  for (const auto& [format, text] : cases) {
    Guarded<64> guarded;
    TextWriter(guarded.field).add_format(format, insert);
    EXPECT_TRUE(guarded.holds(text)) << format;
    Guarded<64> of_table;
    TextWriter(of_table.field).add(Format::of_table(format), insert);
    EXPECT_TRUE(of_table.holds(text)) << format;
  }
}

// The same for a format that has been searched by the compiler.
void expect_compiled(const Format& format, const Insert& insert, const char* text) {
  Guarded<64> guarded;
  TextWriter(guarded.field).add(format, insert);
  EXPECT_TRUE(guarded.holds(text));
}

TEST(Format, InsertsAsOneThatIsSearched) {
  const Insert insert{.first = "one", .further = "two", .number = -3};
  constexpr Format kFormats[] = {"",    "plain", "%s",    "<%s>", "%s %s %s", "%s: Fan %d, fan %d", "%%", "100%",
                                 "%%s", "%%%s",  "%x %d", "%",    "%%%"};
  const char* const texts[] = {"",   "plain", "one",   "<one>", "one two two", "one: Fan -3, fan -3", "%", "100%",
                               "%s", "%one",  "%x -3", "%",     "%%"};
  for (std::size_t i = 0; i < std::size(kFormats); ++i) expect_compiled(kFormats[i], insert, texts[i]);
  constexpr Format kNumber = "%d and %d";
  expect_compiled(kNumber, {}, "%d and %d");
}

TEST(Format, AnEmptyTextIsOneAndNullIsNone) {
  constexpr Format kEmpty = "";
  constexpr Format kNothing = nullptr;
  EXPECT_TRUE(kEmpty.has_text());
  EXPECT_FALSE(kNothing.has_text());
}

TEST(TextWriter, FormatsInsertTextsAndTheNumber) {
  expect_formats({.first = "one", .further = "two", .number = -3}, {
                                                                       {"", ""},
                                                                       {"plain", "plain"},
                                                                       {"%s", "one"},
                                                                       {"%s%s", "onetwo"},
                                                                       {"%s %s %s %s", "one two two two"},
                                                                       {"%d", "-3"},
                                                                       {"%s: Fan %d, fan %d", "one: Fan -3, fan -3"},
                                                                       {"%d%s%d%s", "-3one-3two"},
                                                                       {"%%", "%"},
                                                                       {"100%%", "100%"},
                                                                       {"%%s", "%s"},
                                                                       {"%%%s", "%one"},
                                                                       {"%%%%", "%%"},
                                                                       {"%%d%d", "%d-3"},
                                                                   });
}

TEST(TextWriter, ForeignFormatsStandForThemselves) {
  expect_formats({.first = "one", .further = "two", .number = 3}, {
                                                                      {"%", "%"},
                                                                      {"a%", "a%"},
                                                                      {"%s%", "one%"},
                                                                      {"%n", "%n"},
                                                                      {"%n%s", "%none"},
                                                                      {"%x %5d %-s %S %D", "%x %5d %-s %S %D"},
                                                                      {"%%%", "%%"},
                                                                      {"% s", "% s"},
                                                                      {"%ls%s", "%lsone"},
                                                                      {"%1$s", "%1$s"},
                                                                      {"%*d%d", "%*d3"},
                                                                  });
}

TEST(TextWriter, NumberWithoutAValueStandsForItself) {
  expect_formats({.first = "one"}, {{"%d", "%d"}, {"%s%d", "one%d"}, {"%d%d", "%d%d"}, {"%s|%s|", "one||"}});
  expect_formats({}, {{"%s", ""}, {"<%s>", "<>"}});
}

TEST(TextWriter, InsertedTextsAreNoFormats) {
  expect_formats({.first = "%s%d%", .further = "%%", .number = 1}, {{"%s", "%s%d%"}, {"%s%s", "%s%d%%%"}});
}

TEST(TextWriter, FormatNeedsNoNul) {
  const char format[] = {'%', 's', '%', 's', 'x'};
  Guarded<16> cut_behind_word;
  TextWriter(cut_behind_word.field).add_format({format, 2}, {.first = "a", .further = "b"});
  EXPECT_TRUE(cut_behind_word.holds("a"));
  Guarded<16> cut_behind_percent;
  TextWriter(cut_behind_percent.field).add_format({format, 3}, {.first = "a", .further = "b"});
  EXPECT_TRUE(cut_behind_percent.holds("a%"));
}

TEST(TextWriter, ManyTextsAreCut) {
  std::string format;
  for (int i = 0; i < 100; ++i) format += "%s";
  Guarded<32> guarded;
  TextWriter(guarded.field).add_format(format, {.first = "first.", .further = "next."});
  EXPECT_TRUE(guarded.holds("first.next.next.next.next.next."));
}

}  // namespace text_test
}  // namespace polaiga
