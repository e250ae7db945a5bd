// Tells the engine how far the publishers of this process have come, in a thread of its own, so that no publisher waits
// for the engine.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>

#include "base/messages.h"
#include "publisher/report.h"

namespace polaiga::output {

class EngineTeller {
 public:
  using Tell = std::function<void(engine::Priority, const std::string&)>;

  static constexpr std::chrono::milliseconds kAtMostEvery{500};  // a report that has changed
  static constexpr std::chrono::seconds kAtLeastEvery{5};  // one that has not, since the engine may have forgotten
  static constexpr std::chrono::seconds kPatience{2};      // for an answer

  // `control` is the path of the engine's control socket. `tell` is called in the thread of this object when the engine
  // does not take reports, and when it does again.
  EngineTeller(std::string control, Tell tell);
  // Tells what has changed since it was told last, if the engine takes it within the patience.
  ~EngineTeller();
  EngineTeller(const EngineTeller&) = delete;
  EngineTeller& operator=(const EngineTeller&) = delete;

  // Takes the place of what was reported before for a publisher of that name. Never waits for the engine.
  void report(const Report& report);

  // Whether the engine answered when it was told something last. False before that.
  bool is_engine_answering() const;

 private:
  void run();
  void tell_all(std::unique_lock<std::mutex>& lock);

  std::string control_;
  Tell tell_;
  mutable std::mutex mutex_;
  std::condition_variable changes_;
  std::map<std::string, Report> reports_;
  std::map<std::string, Report> told_;
  bool is_answering_ = false;
  std::string problem_;  // that people were told of; "": there is none
  bool is_over_ = false;
  std::thread thread_;
};

}  // namespace polaiga::output
