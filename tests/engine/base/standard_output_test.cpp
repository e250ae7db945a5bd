#include "base/standard_output.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <functional>

#include "support/temp_dir.h"

namespace polaiga::engine {
namespace standard_output_test {

class OutputTest : public ::testing::Test {
 protected:
  // In a process of its own, with standard output and error in two files.
  void run(const std::function<void()>& body) {
    std::fflush(nullptr);
    const int pid = ::fork();
    if (pid == 0) {
      redirect("out", STDOUT_FILENO);
      redirect("err", STDERR_FILENO);
      body();
      std::fflush(stdout);
      ::_exit(0);
    }
    int status = -1;
    ::waitpid(pid, &status, 0);
    ASSERT_EQ(status, 0);
    out_ = dir_.read("out");
    err_ = dir_.read("err");
  }

  std::string out_;
  std::string err_;

 private:
  void redirect(const char* name, int fd) {
    const int file = ::open(dir_.file(name).c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (file < 0 || ::dup2(file, fd) < 0) ::_exit(1);
  }

  test::TempDir dir_;
};

void speak(Others others) {
  StandardOutput output;
  std::printf("before ");
  output.divert(others);
  std::printf("trace ");
  output.write("mine ");
  std::fprintf(stderr, "log ");
  std::printf("trace again");
  output.write("too");
  output.flush();
}

TEST_F(OutputTest, OthersAreDiscarded) {
  run([] { speak(Others::kDiscarded); });
  EXPECT_EQ(out_, "before mine too");
  EXPECT_EQ(err_, "log ");
}

TEST_F(OutputTest, OthersGoToStandardErrorInTheirOrder) {
  run([] { speak(Others::kToStandardError); });
  EXPECT_EQ(out_, "before mine too");
  EXPECT_EQ(err_, "trace log trace again");
}

TEST_F(OutputTest, AFileIsNoTerminal) {
  run([] {
    if (StandardOutput().is_terminal()) ::_exit(1);
  });
}

TEST_F(OutputTest, MuchIsWrittenBeforeTheFlush) {
  run([] {
    StandardOutput output;
    for (int i = 0; i < 1000; ++i) output.write(std::string(100, 'x'));
  });
  EXPECT_GT(out_.size(), 65000U);
  EXPECT_LT(out_.size(), 100000U);
}

}  // namespace standard_output_test
}  // namespace polaiga::engine
