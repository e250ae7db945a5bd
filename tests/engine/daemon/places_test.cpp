#include "daemon/places.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

namespace polaiga::engine {
namespace places_test {

using namespace std::chrono_literals;

constexpr uid_t kAda = 1;
constexpr uid_t kBob = 2;
constexpr uid_t kEve = 3;

// So many clients of a user, who were heard at that second and at each one after it.
std::vector<Served> clients(uid_t user, int count, int heard) {
  std::vector<Served> all;
  for (int i = 0; i < count; ++i) all.push_back({user, std::chrono::seconds(heard + i)});
  return all;
}

std::vector<Served> both(std::vector<Served> some, const std::vector<Served>& others) {
  some.insert(some.end(), others.begin(), others.end());
  return some;
}

TEST(NextServed, IsTheFirstOfTheUserWithTheFewestPlaces) {
  const std::vector<Served> served = both(clients(kAda, 3, 0), clients(kBob, 1, 0));
  EXPECT_EQ(next_served(std::vector<uid_t>{kAda, kAda}, served), 0U);
  EXPECT_EQ(next_served(std::vector<uid_t>{kAda, kBob, kBob}, served), 1U);
  EXPECT_EQ(next_served(std::vector<uid_t>{kAda, kBob, kEve, kBob}, served), 2U);
  EXPECT_EQ(next_served(std::vector<uid_t>{kEve, kBob}, {}), 0U);
}

struct Leaving {
  const char* name;
  uid_t user;  // whose client waits
  std::vector<Served> served;
  int now;  // s
  std::optional<std::size_t> leaves;
};

void PrintTo(const Leaving& leaving, std::ostream* out) { *out << leaving.name; }

class WhoLeaves : public ::testing::TestWithParam<Leaving> {};

TEST_P(WhoLeaves, AfterThirtySeconds) {
  const Leaving& row = GetParam();
  EXPECT_EQ(who_leaves(row.user, row.served, std::chrono::seconds(row.now), 30s), row.leaves);
}

// Eight places, so that each user is entitled to two.
INSTANTIATE_TEST_SUITE_P(
    Rows, WhoLeaves,
    ::testing::Values(
        Leaving{"nobody is silent for so long", kAda, clients(kAda, 8, 100), 129, std::nullopt},
        Leaving{"the most silent one, also of the same user", kAda, clients(kAda, 8, 100), 130, 0},
        Leaving{"of the user with all places at once", kBob, clients(kAda, 8, 100), 101, 0},
        Leaving{"of the user with the most places", kEve, both(clients(kBob, 3, 90), clients(kAda, 5, 100)), 101, 3},
        Leaving{"until the user has his share", kBob, both(clients(kBob, 1, 90), clients(kAda, 7, 100)), 110, 1},
        Leaving{"but no more", kBob, both(clients(kBob, 2, 105), clients(kAda, 6, 100)), 110, std::nullopt},
        Leaving{"a silent one leaves in any case", kBob, both(clients(kBob, 2, 105), clients(kAda, 6, 100)), 130, 2},
        Leaving{"nobody leaves for one who has more", kAda, both(clients(kBob, 1, 50), clients(kAda, 7, 100)), 110,
                std::nullopt},
        Leaving{"but another one of his own does", kAda, both(clients(kBob, 1, 50), clients(kAda, 7, 100)), 130, 1},
        Leaving{"nobody is there", kAda, {}, 130, std::nullopt}));

TEST(WhoLeavesOfManyUsers, TheyGetAsManyAsTheOthersHave) {
  std::vector<Served> served;
  for (uid_t user = 10; user < 14; ++user) served = both(served, clients(user, 2, 100));
  EXPECT_EQ(who_leaves(kEve, served, 101s, 30s), 0U);
  served[0].user = kEve;
  EXPECT_EQ(who_leaves(kEve, served, 101s, 30s), std::nullopt);
}

TEST(TurnedAway, IsTheLastOfTheUserWhoHasTheMost) {
  EXPECT_EQ(turned_away(std::vector<uid_t>{kAda, kAda, kBob}), 1U);
  EXPECT_EQ(turned_away(std::vector<uid_t>{kBob, kAda, kAda, kEve, kAda, kEve}), 4U);
  EXPECT_EQ(turned_away(std::vector<uid_t>{kAda}), 0U);
}

}  // namespace places_test
}  // namespace polaiga::engine
