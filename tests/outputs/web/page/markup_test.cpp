#include "page/markup.h"

#include <gtest/gtest.h>

namespace polaiga::web {
namespace markup_test {

TEST(MarkupTest, KeepsTagsAndEscapesTexts) {
  Markup markup;
  markup.tag("<b>").text("<i>").tag("</b>").add(Markup().tag("<br>"));
  EXPECT_EQ(markup.html(), "<b>&lt;i&gt;</b><br>");
}

TEST(MarkupTest, WritesNumbersWithThousandsApart) {
  const std::pair<std::uint64_t, const char*> cases[] = {
      {0, "0"}, {999, "999"}, {1000, "1,000"}, {5231, "5,231"}, {1234567, "1,234,567"}};
  for (const auto& [number, text] : cases) EXPECT_EQ(Markup().number(number).html(), text);
}

}  // namespace markup_test
}  // namespace polaiga::web
