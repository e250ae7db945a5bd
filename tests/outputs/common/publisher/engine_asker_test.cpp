#include "publisher/engine_asker.h"

#include <gtest/gtest.h>

#include "fake_control.h"
#include "support/program.h"
#include "support/temp_dir.h"

namespace polaiga::output {
namespace engine_asker_test {

using engine::test::comes_true;
using test::FakeControl;
using Answer = EngineAsker::Answer;

class EngineAskerTest : public testing::Test {
 protected:
  // The answer to a request, once it is there.
  static Answer answer_to(EngineAsker& asker, const std::string& request) {
    asker.ask(request);
    std::optional<Answer> answer;
    EXPECT_TRUE(comes_true([&] {
      answer = asker.take_answer();
      return answer.has_value();
    }));
    return answer.value_or(Answer{});
  }

  engine::test::TempDir dir_;
  std::string path_ = dir_.file("control.sock");
};

TEST_F(EngineAskerTest, TheEnginesLineIsTheAnswer) {
  FakeControl control(path_);
  EngineAsker asker(path_);
  EXPECT_FALSE(asker.take_answer());
  control.answer("{\"seq\":7}\n");
  const Answer first = answer_to(asker, R"({"do":"comment","id":"a"})");
  EXPECT_TRUE(first.is_there);
  EXPECT_EQ(first.text, R"({"seq":7})");
  EXPECT_FALSE(asker.take_answer()) << "an answer is taken once";
  control.answer("{\"error\":\"no\"}\n");
  const Answer second = answer_to(asker, R"({"do":"comment","id":"b"})");
  EXPECT_TRUE(second.is_there);
  EXPECT_EQ(second.text, R"({"error":"no"})");
  const auto requests = control.requests();
  ASSERT_EQ(requests.size(), 2U);
  EXPECT_EQ(requests[0].at("id"), "a");
  EXPECT_EQ(requests[1].at("id"), "b");
}

TEST_F(EngineAskerTest, NobodyListens) {
  EngineAsker asker(path_);
  const Answer answer = answer_to(asker, R"({"do":"status"})");
  EXPECT_FALSE(answer.is_there);
  EXPECT_EQ(answer.text, path_ +
                             ": no engine listens here. Start `polaiga run` with --control, or name its socket with "
                             "--control");
}

TEST_F(EngineAskerTest, AnEngineThatDoesNotAnswerIsGivenUp) {
  FakeControl control(path_);
  control.answer("");
  EngineAsker asker(path_);
  const Answer answer = answer_to(asker, R"({"do":"status"})");
  EXPECT_FALSE(answer.is_there);
  EXPECT_TRUE(answer.text.starts_with(path_ + ": the engine did not answer within 2 s")) << answer.text;
}

}  // namespace engine_asker_test
}  // namespace polaiga::output
