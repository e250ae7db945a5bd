#include "publisher/engine_teller.h"

#include <exception>
#include <utility>
#include <vector>

#include "base/printable.h"
#include "control/control_client.h"

namespace polaiga::output {

EngineTeller::EngineTeller(std::string control, Tell tell)
    : control_(std::move(control)), tell_(std::move(tell)), thread_([this] { run(); }) {}

EngineTeller::~EngineTeller() {
  {
    const std::lock_guard lock(mutex_);
    is_over_ = true;
  }
  changes_.notify_all();
  thread_.join();
}

void EngineTeller::report(const Report& report) {
  {
    const std::lock_guard lock(mutex_);
    reports_.insert_or_assign(report.publisher, report);
  }
  changes_.notify_all();
}

bool EngineTeller::is_engine_answering() const {
  const std::lock_guard lock(mutex_);
  return is_answering_;
}

void EngineTeller::run() {
  std::unique_lock lock(mutex_);
  while (!is_over_) {
    changes_.wait_for(lock, kAtLeastEvery, [this] { return is_over_ || reports_ != told_; });
    tell_all(lock);
    if (!is_over_) changes_.wait_for(lock, kAtMostEvery, [this] { return is_over_; });
  }
  if (reports_ != told_) tell_all(lock);
}

void EngineTeller::tell_all(std::unique_lock<std::mutex>& lock) {
  const std::map<std::string, Report> reports = reports_;
  if (reports.empty()) return;
  lock.unlock();
  std::string problem;
  try {
    engine::ControlClient client(control_, kPatience);
    for (const auto& [name, report] : reports) {
      const std::string answer = client.ask(report_request(report));
      if (answer == R"({"ok":true})") continue;
      problem = control_;
      problem.append(": the engine refuses the cursor of ").append(name).append(": ").append(answer);
    }
  } catch (const std::exception& error) {
    problem = error.what();
  }
  lock.lock();
  told_ = reports;
  is_answering_ = problem.empty();
  if (problem == problem_) return;
  const bool is_well_again = problem.empty();
  problem_ = problem;
  lock.unlock();
  if (is_well_again) {
    tell_(engine::Priority::kNotice, control_ + ": the engine takes the cursor again");
  } else {
    tell_(engine::Priority::kWarning,
          engine::printable(problem) + "; the changes are told all the same, and the cursor is sent again");
  }
  lock.lock();
}

}  // namespace polaiga::output
