#include "daemon/poll_set.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <string>
#include <system_error>

#include "base/descriptor.h"

namespace polaiga::engine {
namespace {

using namespace std::chrono_literals;

class PollSetTest : public ::testing::Test {
 protected:
  PollSetTest() {
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) return;
    near_ = Descriptor(ends[0]);
    far_ = Descriptor(ends[1]);
  }

  void watch(PollSet& polls) {
    polls.watch(near_.get(), POLLIN, [this] { called_ += "in "; });
    polls.watch(near_.get(), POLLOUT, [this] { called_ += "out "; });
  }

  Descriptor near_;
  Descriptor far_;
  std::string called_;
};

TEST_F(PollSetTest, EachIsCalledForItsOwnEvents) {
  PollSet polls;
  watch(polls);
  EXPECT_TRUE(polls.wait(20s));
  EXPECT_EQ(called_, "out ");
  ASSERT_EQ(::write(far_.get(), "x", 1), 1);
  watch(polls);
  EXPECT_TRUE(polls.wait(20s));
  EXPECT_EQ(called_, "out in out ");
}

TEST_F(PollSetTest, AllAreCalledForAHangup) {
  PollSet polls;
  watch(polls);
  far_.close();
  EXPECT_TRUE(polls.wait(20s));
  EXPECT_EQ(called_, "in out ");
}

TEST_F(PollSetTest, IsEmptyAfterTheWait) {
  PollSet polls;
  watch(polls);
  polls.wait(20s);
  EXPECT_FALSE(polls.wait(0ms));
  EXPECT_EQ(called_, "out ");
}

class FewFilesTest : public PollSetTest {
 protected:
  FewFilesTest() {
    ::getrlimit(RLIMIT_NOFILE, &before_);
    const rlimit few{8, before_.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &few);
  }
  ~FewFilesTest() override { ::setrlimit(RLIMIT_NOFILE, &before_); }

  rlimit before_ = {};
};

TEST_F(FewFilesTest, ADescriptorThatIsWatchedOftenCountsOnce) {
  PollSet polls;
  for (int i = 0; i < 10; ++i) watch(polls);
  EXPECT_TRUE(polls.wait(20s));
}

TEST_F(FewFilesTest, AnErrorIsToldAndIsNoEndOfTheWait) {
  PollSet polls;
  for (int fd = 0; fd < 10; ++fd) polls.watch(fd, POLLIN, [] {});
  try {
    polls.wait(20s);
    FAIL() << "poll() takes more entries than files may be open";
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code().value(), EINVAL);
    EXPECT_EQ(std::string(error.what()), "cannot wait for input: Invalid argument");
  }
}

extern "C" void note_nothing(int /*signal*/) {}

TEST_F(PollSetTest, ASignalEndsTheWait) {
  struct sigaction action = {};
  action.sa_handler = note_nothing;
  struct sigaction before = {};
  ::sigaction(SIGALRM, &action, &before);
  itimerval soon = {{0, 10'000}, {0, 10'000}};  // again and again, lest the first comes before the wait
  ::setitimer(ITIMER_REAL, &soon, nullptr);
  PollSet polls;
  polls.watch(near_.get(), POLLIN, [this] { called_ += "in "; });
  EXPECT_FALSE(polls.wait(20s));
  EXPECT_EQ(called_, "");
  soon = {};
  ::setitimer(ITIMER_REAL, &soon, nullptr);
  ::sigaction(SIGALRM, &before, nullptr);
}

}  // namespace
}  // namespace polaiga::engine
