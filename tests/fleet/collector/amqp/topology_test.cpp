#include "amqp/topology.h"

#include <gtest/gtest.h>

namespace polaiga::fleet {
namespace topology_test {

// Brokers have these names in their definitions and rights.
TEST(Topology, Names) {
  EXPECT_EQ(inbox_name(0), "polaiga.inbox.0");
  EXPECT_EQ(inbox_name(255), "polaiga.inbox.255");
  EXPECT_EQ(holder_name(7), "polaiga.holder.7");
  EXPECT_STREQ(kTopics, "amq.topic");
  EXPECT_STREQ(kExchange, "polaiga.fleet");
  EXPECT_STREQ(kDeadLetters, "polaiga.dead");
  EXPECT_STREQ(kCollectors, "polaiga.collectors");
}

}  // namespace topology_test
}  // namespace polaiga::fleet
