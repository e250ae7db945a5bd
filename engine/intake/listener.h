// The Unix stream socket at which clients connect.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "base/descriptor.h"

namespace polaiga::engine {

class Listener {
 public:
  // Creates the socket and listens at it. A socket file that is left over from a process that has ended is replaced.
  // Throws std::runtime_error if another process listens at the path, or if the file there is not a socket.
  // `group`: who is in it may connect, too; nothing: only the group of the process.
  explicit Listener(const std::string& path, std::optional<gid_t> group = std::nullopt);
  ~Listener();  // removes the socket file, unless another process has put its own there meanwhile
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  int fd() const { return socket_.get(); }

  // Accepts a client. Reads and writes at the connection do not block. If the descriptor is closed, errno says why;
  // EAGAIN: no client waits.
  Descriptor accept() const;

  // Removes the socket file, so that nobody else can connect. Those who have connected can be accepted yet.
  void remove_file();

 private:
  std::string path_;
  Descriptor socket_;
  ino_t inode_ = 0;  // of the socket file, to recognise it
};

// Who has connected: the user of the process at the other end.
uid_t user_of(const Descriptor& connection);

}  // namespace polaiga::engine
