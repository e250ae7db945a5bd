#include "base/printable.h"

#include <gtest/gtest.h>

namespace polaiga::engine {
namespace {

TEST(Printable, ControlCharactersAreShownAsMarks) {
  EXPECT_EQ(printable("plain \xC3\xA9 ~"), "plain \xC3\xA9 ~");
  EXPECT_EQ(printable("a\x1b[31mb\n\t\x7f"), "a?[31mb???");
  EXPECT_EQ(printable(std::string("a\0b", 3)), "a?b");
  EXPECT_EQ(printable("\xC2\x9B"
                      "31m"),
            "?31m");                             // the one-character form of ESC [
  EXPECT_EQ(printable("\xC2\xA0"), "\xC2\xA0");  // a no-break space is none
  EXPECT_EQ(printable("cut \xC2"), "cut \xC2");
}

TEST(InQuotes, LongTextsAreCut) {
  EXPECT_EQ(in_quotes("a\nb"), "'a?b'");
  EXPECT_EQ(in_quotes(std::string(40, 'x')), "'" + std::string(40, 'x') + "'");
  EXPECT_EQ(in_quotes(std::string(41, 'x')), "'" + std::string(40, 'x') + "...'");
}

}  // namespace
}  // namespace polaiga::engine
