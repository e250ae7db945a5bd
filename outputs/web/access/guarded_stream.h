// A stream that ends when whoever reads it may not do so any more.
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "access/gate.h"

namespace polaiga::web {

class GuardedStream final : public Stream {
 public:
  // The gate is asked first, and then once in such a time, since streams are many.
  static constexpr std::chrono::seconds kStep{5};

  // The gate must outlive this.
  GuardedStream(std::unique_ptr<Stream> stream, Gate& gate, Caller caller, std::chrono::milliseconds step = kStep)
      : stream_(std::move(stream)), gate_(gate), caller_(std::move(caller)), step_(step) {}

  std::string next() override {
    const auto now = std::chrono::steady_clock::now();
    if (now - asked_ >= step_) {
      asked_ = now;
      is_refused_ = is_refused_ || !gate_.holds(caller_);
    }
    return is_refused_ ? std::string() : stream_->next();
  }

  bool is_over() const override { return is_refused_ || stream_->is_over(); }

 private:
  std::unique_ptr<Stream> stream_;
  Gate& gate_;
  Caller caller_;
  std::chrono::milliseconds step_;
  std::chrono::steady_clock::time_point asked_{};  // the gate
  bool is_refused_ = false;
};

}  // namespace polaiga::web
