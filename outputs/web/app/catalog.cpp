#include "app/catalog.h"

#include <memory>
#include <utility>

#include "app/program.h"

namespace polaiga::web {
namespace {

constexpr unsigned kMostAwaiting = 2;

std::string told_by(const std::string& program, bool is_awaited, std::stop_token stop) {
  if (stop.stop_requested()) throw ProgramFailed("The server ends");
  ProgramAnswer answer =
      run_program({program, "catalog", "--json"}, {.in_background = !is_awaited, .stop = std::move(stop)});
  if (answer.status != 0) throw ProgramFailed(program + " cannot tell the catalog: " + answer.complaint);
  return std::move(answer.output);
}

}  // namespace

Catalog::Catalog(Make make, std::chrono::milliseconds pause)
    : make_(std::move(make)), thread_([this, pause] { make_after(pause); }) {}

Catalog::Catalog(const std::string& program)
    : Catalog(
          [program](bool is_awaited, std::stop_token stop) { return told_by(program, is_awaited, std::move(stop)); },
          kPause) {}

Catalog::~Catalog() { stop(); }

void Catalog::stop() {
  stop_.request_stop();
  const std::lock_guard lock(mutex_);
  is_pausing_ = false;
  changed_.notify_all();
}

Body Catalog::lines() {
  std::unique_lock lock(mutex_);
  if (state_ == State::kFailed) {
    state_ = State::kBeingMade;
    lock.unlock();
    make(true, stop_.get_token());
    lock.lock();
  } else if (state_ == State::kBeingMade) {
    is_pausing_ = false;
    changed_.notify_all();
    if (waiting_ == kMostAwaiting) throw ProgramFailed("The catalog is being made; ask again in a few seconds");
    ++waiting_;
    changed_.wait(lock, [this] { return state_ != State::kBeingMade; });
    --waiting_;
  }
  if (state_ != State::kMade) throw ProgramFailed(problem_);
  return lines_;
}

void Catalog::make_after(std::chrono::milliseconds pause) {
  bool is_awaited = false;
  {
    std::unique_lock lock(mutex_);
    if (pause.count() > 0) is_awaited = changed_.wait_for(lock, pause, [this] { return !is_pausing_; });
    is_pausing_ = false;
  }
  make(is_awaited, stop_.get_token());
}

void Catalog::make(bool is_awaited, const std::stop_token& stop) {
  Body lines;
  std::string problem;
  try {
    lines = std::make_shared<const std::string>(make_(is_awaited, stop));
  } catch (const std::exception& error) {
    problem = error.what();
  }
  {
    const std::lock_guard lock(mutex_);
    state_ = lines ? State::kMade : State::kFailed;
    lines_ = std::move(lines);
    problem_ = std::move(problem);
  }
  changed_.notify_all();
}

}  // namespace polaiga::web
