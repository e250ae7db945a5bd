#include "framework/clear_text.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace polaiga {
namespace clear_text_test {

struct Case {
  std::string raised;
  std::string cleared;
};

// A description between bytes that must not change.
class Description {
 public:
  explicit Description(const std::string& text) {
    std::memset(&bytes_, '#', sizeof bytes_);
    std::memcpy(bytes_.descr, text.c_str(), text.size() + 1);
  }

  char (&field())[FE_DESCR_SIZE] { return bytes_.descr; }
  std::string text() const { return {bytes_.descr, strnlen(bytes_.descr, sizeof bytes_.descr)}; }
  bool guards_hold() const {
    return std::string(bytes_.before, 8) == "########" && std::string(bytes_.after, 8) == "########";
  }
  bool operator==(const Description& other) const { return std::memcmp(&bytes_, &other.bytes_, sizeof bytes_) == 0; }

 private:
  struct {
    char before[8];
    char descr[FE_DESCR_SIZE];
    char after[8];
  } bytes_;
};

template <class Clear>
void expect_cleared(Clear clear, const std::vector<Case>& cases) {
  for (const Case& c : cases) {
    Description descr(c.raised);
    EXPECT_TRUE(clear(descr.field())) << c.raised;
    EXPECT_EQ(descr.text(), c.cleared) << c.raised;
    EXPECT_TRUE(descr.guards_hold()) << c.raised;
  }
}

template <class Clear>
void expect_refused(Clear clear, const std::vector<std::string>& texts) {
  for (const std::string& text : texts) {
    Description descr(text);
    EXPECT_FALSE(clear(descr.field())) << text;
    EXPECT_TRUE(descr == Description(text)) << text;
  }
}

bool name_only(char (&descr)[FE_DESCR_SIZE]) { return clear_by_tokens(descr, Keep::kNameOnly); }
bool name_and_text(char (&descr)[FE_DESCR_SIZE]) { return clear_by_tokens(descr, Keep::kNameAndText); }

const std::string kX(300, 'x');
std::string x(std::size_t count) { return kX.substr(0, count); }

TEST(ClearByTokens, KeepsNameAndText) {
  expect_cleared(name_and_text, {
                                    {"A: B: C", "A:  B: Cleared"},
                                    {"P12V: Voltage is upper critical: Check the power supply",
                                     "P12V:  Voltage is upper critical: Cleared"},
                                    {"A: B", "A:  B: Cleared"},
                                    {"A:B:C:D", "A: B: Cleared"},
                                    {"A: B: C: D", "A:  B: Cleared"},
                                    {" A : B : C", " A :  B : Cleared"},
                                    {"A: ", "A:  : Cleared"},
                                    {"A: : B", "A:  : Cleared"},
                                });
}

TEST(ClearByTokens, ColonsInARowAreOne) {
  expect_cleared(name_and_text, {
                                    {":A:B", "A: B: Cleared"},
                                    {"::::A: B", "A:  B: Cleared"},
                                    {"A::B", "A: B: Cleared"},
                                    {"A::: B::C", "A:  B: Cleared"},
                                });
}

TEST(ClearByTokens, MissingSecondTokenAddsNothing) {
  expect_cleared(name_and_text,
                 {{"A", "A: Cleared"}, {"A:", "A: Cleared"}, {"::A::", "A: Cleared"}, {" ", " : Cleared"}});
}

TEST(ClearByTokens, KeepsTheNameAlone) {
  expect_cleared(name_only, {
                                {"A: B: C", "A: Cleared"},
                                {"SEL_FULLNESS: System Event log capacity is low", "SEL_FULLNESS: Cleared"},
                                {"::A:B", "A: Cleared"},
                                {"A", "A: Cleared"},
                            });
}

TEST(ClearByTokens, RefusesATextWithoutAToken) {
  expect_refused(name_and_text, {"", ":", "::::"});
  expect_refused(name_only, {"", ":", "::::"});
}

TEST(ClearByTokens, LongResultsAreCut) {
  expect_cleared(name_and_text, {
                                    {"N:" + x(211), "N: " + x(211) + ": Cleared"},
                                    {"N:" + x(212), "N: " + x(212) + ": Cleare"},
                                    {"N:" + x(220), "N: " + x(220)},
                                    {"N:" + x(221), "N: " + x(220)},
                                    {x(223), x(223)},
                                    {x(215), x(215) + ": Cleare"},
                                    {x(214), x(214) + ": Cleared"},
                                });
  expect_cleared(name_only, {{x(222) + ":", x(222) + ":"}, {x(221) + ":y", x(221) + ": "}});
}

TEST(ClearByTokens, FieldWithoutANul) {
  for (const auto& clear : {name_only, name_and_text}) {
    Description descr("");
    std::memset(descr.field(), 'x', FE_DESCR_SIZE);
    EXPECT_TRUE(clear(descr.field()));
    EXPECT_EQ(descr.text(), x(223));
    EXPECT_TRUE(descr.guards_hold());
  }
}

// Both tokens are moved within the field, which may be full and without a NUL. Wherever they
// stand, the result consists of them and is cut to the field, and no byte behind it changes.
TEST(ClearByTokens, TokensMayStandAnywhere) {
  for (std::size_t before = 0; before <= 3; ++before) {
    for (std::size_t between = 1; between <= 3; ++between) {
      for (std::size_t first = 1; before + first + between < FE_DESCR_SIZE; ++first) {
        for (const std::size_t second : {std::size_t{1}, std::size_t{40}, FE_DESCR_SIZE - before - first - between}) {
          if (before + first + between + second > FE_DESCR_SIZE) continue;
          std::string text = std::string(before, ':') + x(first) + std::string(between, ':') + std::string(second, 'y');
          text.resize(FE_DESCR_SIZE, '\0');
          const std::string cleared = (x(first) + ": " + std::string(second, 'y') + ": Cleared").substr(0, 223);
          std::string want = text;
          want.replace(0, cleared.size() + 1, cleared.c_str(), cleared.size() + 1);
          Description descr("");
          std::memcpy(descr.field(), text.data(), FE_DESCR_SIZE);
          EXPECT_TRUE(name_and_text(descr.field()));
          ASSERT_EQ(std::string(descr.field(), FE_DESCR_SIZE), want) << before << ' ' << first << ' ' << between;
          EXPECT_TRUE(descr.guards_hold());
        }
      }
    }
  }
}

TEST(ClearAtLastColon, CutsThere) {
  expect_cleared(clear_at_last_colon, {
                                          {"A: B: C", "A: B: Cleared"},
                                          {"A: B", "A: Cleared"},
                                          {"A:", "A: Cleared"},
                                          {":", ": Cleared"},
                                          {": A", ": Cleared"},
                                          {"A::", "A:: Cleared"},
                                          {"Power Supply 1 input power is PSU1_PIN: Reseat or replace Power Supply",
                                           "Power Supply 1 input power is PSU1_PIN: Cleared"},
                                          {x(214) + ": y", x(214) + ": Cleared"},
                                          {x(215) + ": y", x(215) + ": Cleare"},
                                          {x(222) + ":", x(222) + ":"},
                                      });
  expect_refused(clear_at_last_colon, {"", "A", "A B C", x(223)});
}

TEST(ClearAtFirstColon, CutsThere) {
  expect_cleared(clear_at_first_colon, {
                                           {"A: B: C", "A: Cleared"},
                                           {"A: B", "A: Cleared"},
                                           {"A:", "A: Cleared"},
                                           {":", ": Cleared"},
                                           {": A: B", ": Cleared"},
                                           {"A::", "A: Cleared"},
                                           {x(214) + ": y: z", x(214) + ": Cleared"},
                                           {x(215) + ": y", x(215) + ": Cleare"},
                                           {x(222) + ":", x(222) + ":"},
                                       });
  expect_refused(clear_at_first_colon, {"", "A", "A B C", x(223)});
}

TEST(ClearAtColon, ColonsBehindTheNulDoNotCount) {
  for (const auto& clear : {clear_at_first_colon, clear_at_last_colon}) {
    Description descr("A B");
    descr.field()[5] = ':';
    EXPECT_FALSE(clear(descr.field()));
    EXPECT_EQ(descr.text(), "A B");
    EXPECT_EQ(descr.field()[5], ':');
  }
}

TEST(ClearAtColon, FieldWithoutANul) {
  for (const auto& clear : {clear_at_first_colon, clear_at_last_colon}) {
    Description descr("");
    std::memset(descr.field(), 'x', FE_DESCR_SIZE);
    EXPECT_FALSE(clear(descr.field()));
    descr.field()[220] = ':';
    EXPECT_TRUE(clear(descr.field()));
    EXPECT_EQ(descr.text(), x(220) + ": C");
    EXPECT_TRUE(descr.guards_hold());
    std::memset(descr.field(), 'x', FE_DESCR_SIZE);
    descr.field()[223] = ':';
    EXPECT_TRUE(clear(descr.field()));
    EXPECT_EQ(descr.text(), x(223));
    EXPECT_TRUE(descr.guards_hold());
  }
}

}  // namespace clear_text_test
}  // namespace polaiga
