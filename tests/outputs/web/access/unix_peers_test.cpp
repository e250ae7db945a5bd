#include "access/unix_peers.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>

#include "support/temp_dir.h"

namespace polaiga::web {
namespace unix_peers_test {

class UnixPeersTest : public ::testing::Test {
 protected:
  UnixPeersTest() {
    dir_.write("passwd",
               "root:x:0:0::/:/bin/sh\n"
               "anna:x:50001:60001::/:/bin/sh\n"
               "bob:x:50002:60009::/:/bin/sh\n"
               "carl:x:50003:60009::/:/bin/sh\n"
               "dora:x:50004:60009::/:/bin/sh\n");
    dir_.write("group", "operators:x:60001:bob\nviewers:x:60002:carl,bob\nothers:x:60009:\n");
  }

  UnixPeers peers(std::optional<std::string> operators, std::optional<std::string> viewers) const {
    return {{.operators = std::move(operators), .viewers = std::move(viewers)},
            {.users = dir_.file("passwd"), .groups = dir_.file("group")}};
  }

  engine::test::TempDir dir_;
};

TEST_F(UnixPeersTest, MembersOfGroupsHaveARole) {
  const UnixPeers known = peers("operators", "viewers");
  const struct {
    uid_t user;
    const char* name;
    Role role;
  } kRows[] = {
      {0, "root", Role::kOperator},    {50001, "anna", Role::kOperator},  // by the group that is her own
      {50002, "bob", Role::kOperator},                                    // of both groups
      {50003, "carl", Role::kViewer},  {50004, "dora", Role::kNobody},
  };
  for (const auto& [user, name, role] : kRows) {
    const Caller caller = known.caller(user);
    EXPECT_EQ(caller.name, name);
    EXPECT_EQ(caller.role, role) << user;
    EXPECT_EQ(caller.proof, Proof::kUnixPeer);
  }
}

TEST_F(UnixPeersTest, WithoutGroupsOnlyRootAndTheServerAreOperators) {
  const UnixPeers known = peers(std::nullopt, std::nullopt);
  EXPECT_EQ(known.caller(0).role, Role::kOperator);
  EXPECT_EQ(known.caller(50001).role, Role::kNobody);
}

TEST_F(UnixPeersTest, GroupsAreReadAnew) {
  UnixPeers known = peers("operators", std::nullopt);
  EXPECT_EQ(known.caller(50003).role, Role::kNobody);
  dir_.write("group", "operators:x:60001:carl\n");
  EXPECT_EQ(known.caller(50003).role, Role::kNobody);
  known.reload();
  EXPECT_EQ(known.caller(50003).role, Role::kOperator);
  EXPECT_EQ(known.caller(50002).role, Role::kNobody);
  dir_.write("group", "");
  EXPECT_THROW(known.reload(), std::runtime_error);
  EXPECT_EQ(known.caller(50003).role, Role::kOperator) << "what was known still holds";
}

TEST_F(UnixPeersTest, AGroupHasToBeThere) {
  try {
    peers("nobody here", std::nullopt);
    FAIL();
  } catch (const std::runtime_error& error) {
    EXPECT_EQ(error.what(), "there is no group 'nobody here' in " + dir_.file("group"));
  }
}

TEST_F(UnixPeersTest, AListThatIsNotThereIsEmptyAndOneThatCannotBeReadIsAFailure) {
  UnixPeers known = peers(std::nullopt, "viewers");
  for (const char* list : {"passwd", "group"}) {
    const std::string path = dir_.file(list);
    std::filesystem::remove(path);
    std::filesystem::create_symlink(path, path);  // it leads to itself, so that not even root can open it
    EXPECT_THROW(known.reload(), std::runtime_error) << list;
    std::filesystem::remove(path);
    std::filesystem::create_directory(path);  // it can be opened and not be read
    EXPECT_THROW(known.reload(), std::runtime_error) << list;
    EXPECT_EQ(known.caller(50003).role, Role::kViewer) << "what was known still holds";
    std::filesystem::remove(path);
    dir_.write(list, std::string(list) == "passwd" ? "carl:x:50003:60009::/:/bin/sh\n" : "viewers:x:60002:carl\n");
  }
  std::filesystem::remove(dir_.file("passwd"));
  known.reload();
  EXPECT_EQ(known.caller(50003).role, Role::kNobody);
}

}  // namespace unix_peers_test
}  // namespace polaiga::web
