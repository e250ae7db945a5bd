#include "telling/change_window.h"

#include <algorithm>

namespace polaiga::mqtt {

void ChangeWindow::begin(Number through, Number told) {
  through_ = through;
  told_ = told;
  again();
}

void ChangeWindow::again() {
  open_.clear();
  unconfirmed_ = 0;
  read_ = through_;
  previous_ = told_;
}

void ChangeWindow::sent(Number number, MessageId id) {
  open_.push_back({.number = number, .through = number, .id = id});
  ++unconfirmed_;
  read_ = number;
  previous_ = number;
}

void ChangeWindow::passed(Number number) {
  read_ = number;
  if (open_.empty()) {
    through_ = number;
  } else {
    open_.back().through = number;
  }
}

void ChangeWindow::pop() {
  told_ = open_.front().number;
  through_ = open_.front().through;
  if (!open_.front().is_confirmed) --unconfirmed_;
  open_.pop_front();
}

std::size_t ChangeWindow::confirmed(MessageId id) {
  // The broker confirms in the order in which it got them, so it is one of the first.
  const auto found = std::ranges::find_if(open_, [&](const Sent& one) { return one.id == id && !one.is_confirmed; });
  if (found == open_.end()) return 0;
  found->is_confirmed = true;
  --unconfirmed_;
  if (by_ == ConfirmedBy::kCollector) return 0;
  std::size_t count = 0;
  for (; !open_.empty() && open_.front().is_confirmed; ++count) pop();
  return count;
}

std::size_t ChangeWindow::acknowledged(Number number) {
  if (by_ == ConfirmedBy::kBroker || number <= through_) return 0;
  std::size_t count = 0;
  for (; !open_.empty() && open_.front().number <= number; ++count) pop();
  through_ = std::max(through_, number);
  if (open_.empty() && number > read_) {
    // It has more than was sent since the start: it got that before.
    read_ = number;
    previous_ = number;
    told_ = number;
  }
  return count;
}

}  // namespace polaiga::mqtt
