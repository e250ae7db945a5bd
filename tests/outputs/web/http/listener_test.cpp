#include "http/listener.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "support/temp_dir.h"

namespace polaiga::web {
namespace listener_test {

TEST(ListenAddressTest, WhatIsOneIsRead) {
  const struct {
    const char* text;
    const char* host;
    std::uint16_t port;
    bool is_local;
    const char* shown;
  } kRows[] = {
      {"127.0.0.1:8080", "127.0.0.1", 8080, true, "http://127.0.0.1:8080/"},
      {"127.1.2.3:0", "127.1.2.3", 0, true, "http://127.1.2.3:0/"},
      {"[::1]:80", "::1", 80, true, "http://[::1]:80/"},
      {"[::]:65535", "::", 65535, false, "http://[::]:65535/"},
      {"0.0.0.0:1", "0.0.0.0", 1, false, "http://0.0.0.0:1/"},
      {"192.0.2.1:443", "192.0.2.1", 443, false, "http://192.0.2.1:443/"},
  };
  for (const auto& row : kRows) {
    const auto address = parse_listen_address(row.text);
    ASSERT_TRUE(address) << row.text;
    EXPECT_FALSE(address->is_unix()) << row.text;
    EXPECT_EQ(address->host, row.host) << row.text;
    EXPECT_EQ(address->port, row.port) << row.text;
    EXPECT_EQ(address->is_local(), row.is_local) << row.text;
    EXPECT_EQ(address->text(false), row.shown) << row.text;
  }
  const auto at_path = parse_listen_address("unix:/run/polaiga/web.sock");
  ASSERT_TRUE(at_path);
  EXPECT_TRUE(at_path->is_unix());
  EXPECT_TRUE(at_path->is_local());
  EXPECT_EQ(at_path->text(true), "unix:/run/polaiga/web.sock");
}

TEST(ListenAddressTest, WhatIsNoneIsRefused) {
  const std::string kRows[] = {"",
                               "8080",
                               "localhost:80",
                               "127.0.0.1",
                               "127.0.0.1:",
                               "127.0.0.1:65536",
                               "127.0.0.1:-1",
                               "127.0.0.1:8x",
                               "::1:80",
                               "[127.0.0.1]:80",
                               "[::1:80",
                               "unix:",
                               "unix:" + std::string(108, 'a'),
                               "[::1]80",
                               "[]:80",
                               ":80"};
  for (const std::string& text : kRows) EXPECT_FALSE(parse_listen_address(text)) << text;
}

class ListenerTest : public ::testing::Test {
 protected:
  std::string complaint(const std::string& text) const {
    try {
      const Listener listener(parse_listen_address(text).value());
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "";
  }

  engine::test::TempDir dir_;
  std::string path_ = dir_.file("web.sock");
};

TEST_F(ListenerTest, TheSystemChoosesAPort) {
  const Listener one(parse_listen_address("127.0.0.1:0").value());
  const Listener other(parse_listen_address("127.0.0.1:0").value());
  EXPECT_NE(one.address().port, 0);
  EXPECT_NE(one.address().port, other.address().port);
  EXPECT_NE(complaint("127.0.0.1:" + std::to_string(one.address().port)).find("Address already in use"),
            std::string::npos);
}

TEST_F(ListenerTest, AUnixSocketIsForItsOwnerAndGroupAndGoesWithTheServer) {
  {
    const Listener listener(parse_listen_address("unix:" + path_).value());
    struct stat status = {};
    ASSERT_EQ(::stat(path_.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0660U);
    EXPECT_EQ(complaint("unix:" + path_), "cannot listen at unix:" + path_ + ": another program listens there");
  }
  EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(ListenerTest, OnlyASocketThatNobodyListensAtIsReplaced) {
  std::ofstream(path_) << "text";
  EXPECT_EQ(complaint("unix:" + path_), "cannot listen at unix:" + path_ + ": there is a file that is no socket");
  EXPECT_EQ(std::filesystem::file_size(path_), 4U);
  std::filesystem::remove(path_);
  {
    const Listener listener(parse_listen_address("unix:" + path_).value());
    std::filesystem::create_hard_link(path_, path_ + ".kept");
  }
  std::filesystem::rename(path_ + ".kept", path_);
  EXPECT_EQ(complaint("unix:" + path_), "");
}

}  // namespace listener_test
}  // namespace polaiga::web
