// What the library has to say for debugging: the lines that it logs and those that it prints to standard output. They
// are told with the messages, so that a standard error that takes nothing does not hold the library up.
#pragma once

#include <string>

#include "base/descriptor.h"
#include "base/messages.h"

namespace polaiga::engine {

class LibraryText {
 public:
  // Makes file descriptor 1 a pipe that this object reads. The messages must outlive this. Throws std::system_error.
  explicit LibraryText(Messages& messages);
  ~LibraryText();
  LibraryText(const LibraryText&) = delete;
  LibraryText& operator=(const LibraryText&) = delete;

  // Tells what has been printed since the last call, a message for each line.
  void tell() noexcept;

 private:
  Messages& messages_;
  Pipe pipe_;
  std::string line_;  // that has no end yet
};

}  // namespace polaiga::engine
