// The file that the state is kept in, of one running program at a time.
#pragma once

#include <functional>
#include <string>

#include "base/descriptor.h"
#include "follow/state.h"

namespace polaiga::ipmi {

// Where a state is saved. save() returns when it is on the disk, and throws std::runtime_error when it cannot be.
class StateStore {
 public:
  virtual ~StateStore() = default;
  virtual void save(const State& state) = 0;
};

class StateFile final : public StateStore {
 public:
  using Tell = std::function<void(const std::string&)>;

  // Throws std::runtime_error when another program uses the file, or when no file can be made in its directory.
  explicit StateFile(std::string path);

  // The state that was saved last. A file that is damaged is set aside, and the state before the last is taken; `tell`
  // is told. Without a file the state is an empty one. Throws std::runtime_error when the file cannot be read.
  State load(const Tell& tell) const;

  void save(const State& state) override;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
  std::string before_;  // the file of the state before the last
  engine::Descriptor lock_;
};

}  // namespace polaiga::ipmi
