#include "publisher/engine_teller.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <vector>

#include "fake_control.h"
#include "support/program.h"
#include "support/temp_dir.h"

namespace polaiga::output {
namespace engine_teller_test {

using engine::test::comes_true;
using nlohmann::json;
using test::FakeControl;

class EngineTellerTest : public ::testing::Test {
 protected:
  EngineTeller::Tell tell() {
    return [this](engine::Priority, const std::string& text) {
      const std::lock_guard lock(mutex_);
      told_.push_back(text);
    };
  }
  std::vector<std::string> told() const {
    const std::lock_guard lock(mutex_);
    return told_;
  }
  static Report of(const std::string& publisher, engine::ChangeNumber through) {
    return {.publisher = publisher, .peer = "peer", .ledger_id = std::string(32, 'a'), .through = through};
  }

  engine::test::TempDir dir_;
  const std::string path_ = dir_.file("control.sock");

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> told_;
};

TEST_F(EngineTellerTest, TellsTheLatestOfEachPublisher) {
  const FakeControl control(path_);
  EngineTeller teller(path_, tell());
  EXPECT_FALSE(teller.is_engine_answering());
  teller.report(of("one", 1));
  teller.report(of("two", 2));
  EXPECT_TRUE(comes_true([&] { return control.was_told("one", 1) && control.was_told("two", 2); }));
  EXPECT_TRUE(comes_true([&] { return teller.is_engine_answering(); }));
  for (int through = 3; through <= 400; ++through) teller.report(of("one", through));
  EXPECT_TRUE(comes_true([&] { return control.was_told("one", 400); }));
  EXPECT_LT(control.requests().size(), 30U) << "not each report is a request";
  EXPECT_TRUE(told().empty());
}

TEST_F(EngineTellerTest, TellsTheLastOneAtTheEnd) {
  const FakeControl control(path_);
  {
    EngineTeller teller(path_, tell());
    teller.report(of("one", 1));
    EXPECT_TRUE(comes_true([&] { return control.was_told("one", 1); }));
    teller.report(of("one", 2));
  }
  EXPECT_TRUE(control.was_told("one", 2));
}

// An engine that was started again does not know how its publishers go.
TEST_F(EngineTellerTest, TellsAgainWhatHasNotChanged) {
  const FakeControl control(path_);
  EngineTeller teller(path_, tell());
  teller.report(of("one", 1));
  EXPECT_TRUE(comes_true([&] { return control.requests().size() >= 2; }));
}

TEST_F(EngineTellerTest, ComplainsOnceWhileNoEngineListens) {
  EngineTeller teller(path_, tell());
  teller.report(of("one", 1));
  EXPECT_TRUE(comes_true([&] { return told().size() == 1; }));
  EXPECT_NE(told()[0].find("no engine listens here"), std::string::npos) << told()[0];
  teller.report(of("one", 2));
  const FakeControl control(path_);
  EXPECT_TRUE(comes_true([&] { return control.was_told("one", 2); }));
  EXPECT_TRUE(comes_true([&] { return told().size() == 2; }));
  EXPECT_EQ(told()[1], path_ + ": the engine takes the cursor again");
}

TEST_F(EngineTellerTest, SaysWhyTheEngineRefuses) {
  FakeControl control(path_);
  control.answer("{\"error\":\"no\\u001b\"}\n");
  EngineTeller teller(path_, tell());
  teller.report(of("one", 1));
  EXPECT_TRUE(comes_true([&] { return told().size() == 1; }));
  EXPECT_EQ(told()[0], path_ +
                           ": the engine refuses the cursor of one: {\"error\":\"no\\u001b\"}; the changes are told "
                           "all the same, and the cursor is sent again");
  EXPECT_FALSE(teller.is_engine_answering());
}

// Whoever reports does not wait, and the end takes no longer than the patience.
TEST_F(EngineTellerTest, AnEngineThatHangsHoldsNobodyUp) {
  FakeControl control(path_);
  control.answer("");
  const auto begin = std::chrono::steady_clock::now();
  {
    EngineTeller teller(path_, tell());
    teller.report(of("one", 1));
    EXPECT_TRUE(comes_true([&] { return !control.requests().empty(); }));
    teller.report(of("one", 2));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, EngineTeller::kPatience);
  }
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 4 * EngineTeller::kPatience);
}

}  // namespace engine_teller_test
}  // namespace polaiga::output
