// How many collectors share the inboxes. The broker counts those of a lost node, too, until that node is back: it
// cannot know whether they still run. They have connected to another node and are counted twice, or are gone; and
// inboxes that would be theirs are read by nobody. So when that goes on, one collector less is taken to be there.
#pragma once

#include <cstdint>

namespace polaiga::fleet {

class HeadCount {
 public:
  // So many looks in a row an inbox is left unread before one collector less is taken to be there.
  static constexpr int kPatience = 3;
  // After so many looks at which all inboxes were read, one of those that were left out is counted in again: it may
  // have been there, and only have been slow.
  static constexpr int kTryAgain = 150;

  // What the broker counts now. 0 is no count, since whoever asks is there: the queue has no leader, or it is slow.
  void take(std::uint32_t counted);

  // Whether inboxes are left unread although this collector has its whole part.
  void look(bool is_unread_left);

  std::uint32_t collectors() const { return counted_ - left_out_; }

 private:
  std::uint32_t counted_ = 1;
  std::uint32_t left_out_ = 0;  // fewer than are counted
  int unread_looks_ = 0;
  int read_looks_ = 0;
};

}  // namespace polaiga::fleet
