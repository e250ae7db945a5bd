// polaiga verify, on ledgers that an engine has written.
#include <filesystem>

#include "support/queries.h"

namespace polaiga::engine::test {
namespace verify_command_test {

class VerifyCommand : public Queries {};

TEST_F(VerifyCommand, ASoundLedger) {
  const Ended got = ask("verify");
  EXPECT_EQ(got.status, 0) << got.err;
  EXPECT_TRUE(got.out.starts_with("Ledger " + ledger_id() + " in " + path_ + ": checked 8 inputs, 8 changes and "));
  EXPECT_TRUE(got.out.ends_with(" rows.\nThe ledger is sound.\n")) << got.out;
}

TEST_F(VerifyCommand, ADamagedLedger) {
  const std::string id = ledger_id();
  Database(path_, Access::kReadWrite).exec("UPDATE event SET received = 1 WHERE seq = 3");
  const Ended got = ask("verify");
  EXPECT_EQ(got.status, 1);
  EXPECT_TRUE(contains(got.out,
                       "Damaged: inputs 1 to 8: the digest does not match; something of this batch, or the "
                       "digest before it, was changed.\nThe ledger is damaged.\n"))
      << got.out;
  const Ended json = ask("verify --json");
  EXPECT_EQ(json.status, 1);
  EXPECT_TRUE(contains(json.out, R"("sound":false)")) << json.out;
  EXPECT_TRUE(contains(json.out, R"("first_seq":1,"last_seq":8)")) << json.out;
}

TEST_F(VerifyCommand, NoLedger) {
  const std::string missing = shell_.dir().file("missing.db");
  const Ended got = ask("verify --ledger '" + missing + "'");
  EXPECT_EQ(got.status, 2);
  EXPECT_EQ(got.out, "");
  EXPECT_TRUE(contains(got.err, "polaiga: " + missing + ": there is no such ledger; ")) << got.err;
}

}  // namespace verify_command_test
}  // namespace polaiga::engine::test
