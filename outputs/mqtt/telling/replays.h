// What is told because somebody asked for it: changes, once more, or the active alarms. One request at a time, in the
// order in which they came.
#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "broker/link.h"
#include "ledger/change_feed.h"
#include "messages/payloads.h"
#include "messages/requests.h"

namespace polaiga::mqtt {

class Replays {
 public:
  static constexpr std::size_t kMostWaiting = 4;
  static constexpr std::size_t kMostInFlight = 100;
  static constexpr std::size_t kMostPartsInFlight = 4;  // of the alarms
  static constexpr std::size_t kMostAnswers = 16;       // refusals on their way; beyond that none is given

  using Read = std::function<engine::Feed(engine::ChangeNumber after, std::size_t most)>;
  using ToldBefore = std::function<engine::ChangeNumber(engine::ChangeNumber number)>;
  using Send = std::function<MessageId(const Message&)>;
  using Look = std::function<Picture()>;

  // `told_before` answers with the last change up to a number that is told, `look` with the active alarms.
  struct Tools {
    Read read;
    ToldBefore told_before;
    Send send;
    Look look;
  };

  Replays(Origin origin, std::string topic, Tools tools)
      : origin_(std::move(origin)), topic_(std::move(topic)), tools_(std::move(tools)) {}

  // Takes a request, or refuses it with an answer. `ledger_id` is that of the ledger that is followed.
  void take(std::string_view payload, std::string_view ledger_id);

  // Sends more, at most so many. Answers whether there is more to send at once. Throws LedgerError.
  bool go_on(std::size_t most);

  // It answers whether the message was one of its own.
  bool confirmed(MessageId id);
  // The broker refuses a message: the request that it belongs to is given up.
  bool refused(MessageId id);

  // The connection was lost. What was under way is told again from its beginning.
  void again();
  // Another ledger is followed, which does not have what was asked for. The next go_on() refuses it.
  void forget();

  bool is_idle() const { return requests_.empty() && forgotten_.empty() && in_flight_.empty(); }

 private:
  // Of the request that is under way, of one that was given up, and an answer that refuses one.
  enum class Kind { kOfRequest, kGivenUp, kRefusal };

  void refuse(std::string_view id, std::string_view why);
  void send(Kind kind, std::string payload);
  void begin();
  engine::ChangeNumber told_before(engine::ChangeNumber number) const;
  void finish();
  void give_up();
  void drop_first();
  bool has_arrived() const;
  void tell(const engine::Feed& feed);
  bool tell_changes(std::size_t limit);
  bool tell_alarms(std::size_t limit);

  Origin origin_;
  std::string topic_;
  Tools tools_;
  std::deque<Replay> requests_;        // the first is under way
  std::deque<std::string> forgotten_;  // ids of requests that are to be refused
  bool is_begun_ = false;
  bool is_told_ = false;  // all of it was sent, and not all of that has arrived
  engine::ChangeNumber after_ = 0;
  engine::ChangeNumber previous_ = 0;
  std::map<MessageId, Kind> in_flight_;
  std::size_t refusals_ = 0;  // of these
};

}  // namespace polaiga::mqtt
