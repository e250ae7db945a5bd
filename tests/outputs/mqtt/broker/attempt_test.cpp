#include "broker/attempt.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <pthread.h>

namespace polaiga::mqtt {
namespace attempt_test {

// While it lives, no thread can begin: none has room for its stack.
class NoThreads {
 public:
  NoThreads() {
    pthread_getattr_default_np(&before_);
    pthread_attr_t huge;
    pthread_getattr_default_np(&huge);
    pthread_attr_setstacksize(&huge, std::size_t{1} << 60);
    EXPECT_EQ(pthread_setattr_default_np(&huge), 0);
    pthread_attr_destroy(&huge);
  }
  ~NoThreads() {
    pthread_setattr_default_np(&before_);
    pthread_attr_destroy(&before_);
  }
  NoThreads(const NoThreads&) = delete;
  NoThreads& operator=(const NoThreads&) = delete;

 private:
  pthread_attr_t before_{};
};

Settings settings() {
  Settings settings;
  settings.broker = {.host = "127.0.0.1", .port = 1};  // where nobody listens
  settings.client_id = "attempt";
  settings.will_topic = "will";
  return settings;
}

TEST(Attempt, WhenThereIsNoThreadAnotherOneMayBeMadeLater) {
  {
    const NoThreads none;
    for (int i = 0; i < 2 * Attempt::kMostGivenUp; ++i) {
      EXPECT_THROW(Attempt(settings(), Protocol::kMqtt5), ConnectionError);
    }
  }
  EXPECT_TRUE(Attempt::is_possible());
}

TEST(Attempt, ABrokerThatIsNotThere) {
  Attempt attempt(settings(), Protocol::kMqtt5);
  pollfd one{.fd = attempt.fd(), .events = POLLIN, .revents = 0};
  ASSERT_EQ(::poll(&one, 1, 20'000), 1);
  EXPECT_TRUE(attempt.is_over());
  EXPECT_THROW(attempt.take(), ConnectionError);
}

}  // namespace attempt_test
}  // namespace polaiga::mqtt
