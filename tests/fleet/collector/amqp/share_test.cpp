#include "amqp/share.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <vector>

namespace polaiga::fleet {
namespace share_test {

struct Case {
  int inboxes;
  std::uint32_t collectors;
  int most;
};

TEST(Share, MostInboxesOfOneCollector) {
  const std::vector<Case> cases{
      {8, 1, 8}, {8, 2, 4}, {8, 3, 3}, {8, 4, 2}, {8, 5, 2}, {8, 7, 2},    {8, 8, 1},
      {8, 9, 1}, {1, 1, 1}, {1, 5, 1}, {7, 2, 4}, {7, 3, 3}, {256, 3, 86},
  };
  for (const auto& [inboxes, collectors, most] : cases) {
    EXPECT_EQ(most_inboxes(inboxes, collectors), most) << inboxes << " inboxes, " << collectors << " collectors";
  }
}

TEST(Share, ACollectorThatIsNotCountedYetCountsItself) { EXPECT_EQ(most_inboxes(8, 0), 8); }

TEST(Share, AnyCountOfCollectorsLeavesOneInbox) {
  EXPECT_EQ(most_inboxes(8, std::numeric_limits<std::uint32_t>::max()), 1);
}

TEST(Share, AllInboxesHaveARoom) {
  for (int inboxes = 1; inboxes <= 40; ++inboxes) {
    for (std::uint32_t collectors = 1; collectors <= 50; ++collectors) {
      EXPECT_GE(static_cast<std::int64_t>(most_inboxes(inboxes, collectors)) * collectors, inboxes)
          << inboxes << " inboxes, " << collectors << " collectors";
    }
  }
}

}  // namespace share_test
}  // namespace polaiga::fleet
