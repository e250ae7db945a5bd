#include "messages/topics.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace polaiga::mqtt {
namespace topics_test {

TEST(Topics, AreBelowSiteAndController) {
  const Topics topics("lab", "rack-1");
  EXPECT_EQ(topics.change, "polaiga/v1/lab/rack-1/change");
  EXPECT_EQ(topics.alarms, "polaiga/v1/lab/rack-1/alarms");
  EXPECT_EQ(topics.status, "polaiga/v1/lab/rack-1/status");
  EXPECT_EQ(topics.replayed, "polaiga/v1/lab/rack-1/replayed");
  EXPECT_EQ(topics.ack, "polaiga/v1/lab/rack-1/ack");
  EXPECT_EQ(topics.replay, "polaiga/v1/lab/rack-1/replay");
  EXPECT_EQ(topics.page(0), "polaiga/v1/lab/rack-1/alarms/0");
  EXPECT_EQ(topics.page(12), "polaiga/v1/lab/rack-1/alarms/12");
}

TEST(Topics, PartsAreChecked) {
  const std::vector<std::pair<std::string, bool>> cases{
      {"a", true},         {"Rack_1.b-2", true},
      {".", true},         {std::string(64, 'x'), true},
      {"", false},         {std::string(65, 'x'), false},
      {"a/b", false},      {"+", false},
      {"#", false},        {"a b", false},
      {"\xC3\xA4", false}, {std::string("a\0b", 3), false},
      {"a\n", false},
  };
  for (const auto& [text, fits] : cases) EXPECT_EQ(is_topic_part(text), fits) << text;
}

}  // namespace topics_test
}  // namespace polaiga::mqtt
