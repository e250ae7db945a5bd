#include "amqp/head_count.h"

namespace polaiga::fleet {

void HeadCount::take(std::uint32_t counted) {
  if (counted == 0 || counted == counted_) return;
  *this = HeadCount();
  counted_ = counted;
}

void HeadCount::look(bool is_unread_left) {
  unread_looks_ = is_unread_left ? unread_looks_ + 1 : 0;
  read_looks_ = is_unread_left ? 0 : read_looks_ + 1;
  if (unread_looks_ == kPatience) {
    unread_looks_ = 0;
    if (collectors() > 1) ++left_out_;
  }
  if (read_looks_ == kTryAgain) {
    read_looks_ = 0;
    if (left_out_ > 0) --left_out_;
  }
}

}  // namespace polaiga::fleet
