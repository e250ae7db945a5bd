// Which changes are on their way, and up to where all of them have arrived.
#pragma once

#include <cstddef>
#include <deque>

#include "broker/link.h"
#include "model/change.h"

namespace polaiga::mqtt {

// Whose word counts for it that a change has arrived.
enum class ConfirmedBy { kBroker, kCollector };

class ChangeWindow {
 public:
  using Number = engine::ChangeNumber;

  explicit ChangeWindow(ConfirmedBy by) : by_(by) {}

  // Goes on after `through`, up to which nothing is needed any more. `told` is the last change up to it that was told.
  void begin(Number through, Number told);
  // What has not arrived is to be sent again: goes on after through().
  void again();

  // The change was sent. A gap counts as its last change.
  void sent(Number number, MessageId id);
  // The change need not be told; nor need those before it that were not sent.
  void passed(Number number);

  // They answer how many changes have arrived by that.
  std::size_t confirmed(MessageId id);
  // The collector has all up to this one. Without effect when the broker's word counts.
  std::size_t acknowledged(Number number);

  Number through() const { return through_; }               // nothing up to here is needed again
  Number next_after() const { return read_; }               // go on after this one
  Number previous() const { return previous_; }             // the last one that was sent
  std::size_t unconfirmed() const { return unconfirmed_; }  // by the broker
  std::size_t open() const { return open_.size(); }         // that have not arrived

 private:
  struct Sent {
    Number number = 0;
    Number through = 0;  // it, and what followed it that need not be told
    MessageId id = 0;
    bool is_confirmed = false;
  };

  void pop();

  ConfirmedBy by_;
  std::deque<Sent> open_;
  std::size_t unconfirmed_ = 0;
  Number through_ = 0;
  Number told_ = 0;
  Number read_ = 0;
  Number previous_ = 0;
};

}  // namespace polaiga::mqtt
