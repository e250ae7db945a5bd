#include "intake/listener.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <filesystem>
#include <optional>
#include <stdexcept>

#include "support/temp_dir.h"

namespace polaiga::engine {
namespace listener_test {

class ListenerTest : public ::testing::Test {
 protected:
  static Descriptor connect(const std::string& path) {
    Descriptor socket(::socket(AF_UNIX, SOCK_STREAM, 0));
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) return Descriptor();
    return socket;
  }

  static std::string complaint(const std::string& path) {
    try {
      const Listener listener(path);
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "";
  }

  std::string path() const { return dir_.file("events.sock"); }

  test::TempDir dir_;
};

TEST_F(ListenerTest, TakesConnections) {
  const Listener listener(path());
  EXPECT_FALSE(listener.accept().is_open());  // and does not wait for one
  const Descriptor client = connect(path());
  ASSERT_TRUE(client.is_open());
  const Descriptor connection = listener.accept();
  ASSERT_TRUE(connection.is_open());
  EXPECT_NE(::fcntl(connection.get(), F_GETFL) & O_NONBLOCK, 0);
  EXPECT_NE(::fcntl(connection.get(), F_GETFD) & FD_CLOEXEC, 0);
}

TEST_F(ListenerTest, TheSocketIsForItsOwnerAndGroupAndGoesWithTheListener) {
  {
    const Listener listener(path());
    struct stat made = {};
    ASSERT_EQ(::lstat(path().c_str(), &made), 0);
    EXPECT_EQ(made.st_mode, S_IFSOCK | 0660U);
  }
  EXPECT_FALSE(std::filesystem::exists(path()));
}

TEST_F(ListenerTest, TheMaskOfFilesStaysAsItWas) {
  const mode_t before = ::umask(022);
  const Listener listener(path());
  EXPECT_EQ(::umask(before), 022U);
}

TEST_F(ListenerTest, ASocketInUse) {
  const Listener first(path());
  EXPECT_EQ(complaint(path()), path() + ": another process listens at this socket; stop it or choose another path");
  EXPECT_TRUE(connect(path()).is_open());
}

TEST_F(ListenerTest, ASocketThatNobodyListensAtIsReplaced) {
  const Descriptor left(::socket(AF_UNIX, SOCK_STREAM, 0));
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  path().copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(::bind(left.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  ASSERT_FALSE(connect(path()).is_open());
  const Listener listener(path());
  EXPECT_TRUE(connect(path()).is_open());
}

TEST_F(ListenerTest, OthersFilesAreLeftAlone) {
  dir_.write("events.sock", "a file");
  EXPECT_EQ(complaint(path()),
            path() + ": this file is not a socket and is left alone; remove it or choose another path");
  EXPECT_EQ(dir_.read("events.sock"), "a file");
  const std::string link = dir_.file("link");
  std::filesystem::create_symlink(path(), link);
  EXPECT_EQ(complaint(link), link + ": this file is not a socket and is left alone; remove it or choose another path");
  EXPECT_EQ(complaint(dir_.path()),
            dir_.path().string() + ": this file is not a socket and is left alone; remove it or choose another path");
}

TEST_F(ListenerTest, ASocketOfALaterListenerIsLeftAlone) {
  std::optional<Listener> first(path());
  std::filesystem::remove(path());
  const Listener second(path());
  first.reset();
  EXPECT_TRUE(connect(path()).is_open());
}

TEST_F(ListenerTest, Paths) {
  const std::string longest = dir_.file(std::string(107 - dir_.file("").size(), 's'));
  EXPECT_EQ(complaint(longest), "");
  EXPECT_EQ(complaint(longest + "s"), longest + "s: the path of a socket has at most 107 bytes; choose a shorter one");
  const std::string nowhere = dir_.file("nowhere/events.sock");
  EXPECT_EQ(complaint(nowhere), nowhere + ": cannot make the socket: No such file or directory");
}

}  // namespace listener_test
}  // namespace polaiga::engine
