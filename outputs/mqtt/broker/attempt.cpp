#include "broker/attempt.h"

#include <atomic>
#include <system_error>
#include <thread>
#include <utility>

#include "base/descriptor.h"

namespace polaiga::mqtt {
namespace {

std::atomic<int> threads{0};

}  // namespace

struct Attempt::Shared {
  std::unique_ptr<Connection> connection;
  engine::Pipe wakes;
  std::string problem;
  std::atomic<bool> is_over{false};
};

bool Attempt::is_possible() { return threads.load() < kMostGivenUp; }

Attempt::Attempt(const Settings& settings, Protocol protocol) {
  try {
    shared_ = std::make_shared<Shared>();
    shared_->connection = std::make_unique<Connection>(settings, protocol);
    ++threads;
    std::thread([shared = shared_] {
      try {
        shared->connection->connect();
      } catch (const std::exception& error) {
        shared->problem = error.what();
      }
      shared->is_over = true;
      engine::write_all(shared->wakes.in.get(), "", 1);
      --threads;
    }).detach();
  } catch (const std::system_error& error) {
    throw ConnectionError("cannot begin to connect: " + std::string(error.what()));
  }
}

Attempt::~Attempt() = default;

int Attempt::fd() const { return shared_->wakes.out.get(); }

bool Attempt::is_over() const { return shared_->is_over; }

std::unique_ptr<Connection> Attempt::take() {
  if (!shared_->problem.empty()) throw ConnectionError(shared_->problem);
  return std::move(shared_->connection);
}

}  // namespace polaiga::mqtt
