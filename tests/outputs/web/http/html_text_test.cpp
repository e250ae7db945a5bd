#include "http/html_text.h"

#include <gtest/gtest.h>

namespace polaiga::web {
namespace html_text_test {

struct TextCase {
  const char* text;
  const char* html;
};

class EscapedTest : public testing::TestWithParam<TextCase> {};

TEST_P(EscapedTest, ShowsTheTextAsIs) { EXPECT_EQ(escaped(GetParam().text), GetParam().html); }

INSTANTIATE_TEST_SUITE_P(
    Texts, EscapedTest,
    testing::Values(TextCase{"", ""}, TextCase{"PSU1_TEMP", "PSU1_TEMP"},
                    TextCase{"<script>alert(1)</script>", "&lt;script&gt;alert(1)&lt;/script&gt;"},
                    TextCase{"\" onclick='x'", "&quot; onclick=&#39;x&#39;"}, TextCase{"&lt;", "&amp;lt;"},
                    TextCase{"Lüfter 5 \xF0\x9F\x94\xA5", "Lüfter 5 \xF0\x9F\x94\xA5"},
                    TextCase{"a\xE2\x80\xAEz", "a[U+202E]z"},  // right to left from here
                    TextCase{"a\xE2\x80\x8Bz", "a[U+200B]z"},  // a space without width
                    TextCase{"a\nb\tc\x7F", "a[U+000A]b[U+0009]c[U+007F]"}, TextCase{"\xF3\xA0\x80\x81", "[U+E0001]"},
                    TextCase{"\xFF\xC3", "[0xFF][0xC3]"},                // no UTF-8
                    TextCase{"\xED\xA0\x80z", "[0xED][0xA0][0x80]z"}));  // half of a pair of UTF-16

TEST(EscapedTest, ShowsAByteOfZeroAsItsCode) { EXPECT_EQ(escaped(std::string_view("a\0b", 3)), "a[U+0000]b"); }

}  // namespace html_text_test
}  // namespace polaiga::web
