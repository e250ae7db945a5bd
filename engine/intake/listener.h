// The Unix stream socket that clients connect to.
#pragma once

#include <sys/types.h>

#include <string>

#include "base/descriptor.h"

namespace polaiga::engine {

class Listener {
 public:
  // Takes the place of a socket that nobody listens at. Throws std::runtime_error.
  explicit Listener(const std::string& path);
  ~Listener();  // and the socket's file is gone
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  int fd() const { return socket_.get(); }

  // A connection that does not block; closed when there is none after all.
  Descriptor accept() const;

 private:
  std::string path_;
  Descriptor socket_;
  ino_t inode_ = 0;
};

}  // namespace polaiga::engine
