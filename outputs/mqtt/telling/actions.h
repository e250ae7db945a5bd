// What operators of the fleet do: each action goes to the engine in its person's name, one after the other, and what
// became of it is told. The message's id is that of the engine's input, so an action that comes again is done once; and
// it is answered again.
#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "base/clock.h"
#include "broker/link.h"
#include "messages/payloads.h"
#include "messages/requests.h"
#include "publisher/engine_asker.h"

namespace polaiga::mqtt {

class Actions {
 public:
  static constexpr std::size_t kMostWaiting = 100;       // for the engine
  static constexpr std::size_t kMostAnswers = 200;       // that are not confirmed, with those that are still to come
  static constexpr std::size_t kMostRemembered = 1000;   // actions that were answered
  static constexpr std::chrono::seconds kAgainAfter{2};  // an engine that did not answer is asked
  static constexpr std::chrono::milliseconds kLook{10};  // how often an answer is looked for

  using Answer = output::EngineAsker::Answer;
  using Asks = std::function<void(std::string request)>;
  using TakesAnswer = std::function<std::optional<Answer>()>;
  using Sends = std::function<MessageId(const Message&)>;

  // As EngineAsker does. The clock must outlive this.
  struct Tools {
    const engine::Clock& clock;
    Asks ask;
    TakesAnswer take_answer;
    Sends send;
  };

  Actions(Origin origin, std::string topic, Tools tools)
      : origin_(std::move(origin)), topic_(std::move(topic)), tools_(std::move(tools)) {}

  // Takes a message, which waits for the engine then, or is answered with what is wrong. Throws BadMessage when nobody
  // can be answered.
  void take(std::string_view payload);

  // Goes on with the engine.
  void go_on();
  std::chrono::milliseconds until_next() const;

  // Sends the answers that there are. The connection must be there.
  void tell();
  // They answer whether the message was one of its own.
  bool confirmed(MessageId id);
  // The broker does not take it. The answer is given up.
  bool refused(MessageId id) { return confirmed(id); }
  // The connection was lost: what was not confirmed is to be sent again.
  void again();

  bool is_idle() const { return waiting_.empty() && answers_.empty(); }

 private:
  struct Waiting {
    Action action;
    bool was_asked = false;
  };
  struct Unconfirmed {
    std::string payload;
    MessageId id = 0;  // 0: it was not sent
  };
  using Why = std::optional<std::string>;  // it was not done; nothing: it was

  void answer(const std::string& id, const Why& why);
  void take(const Answer& answer);
  void drop_expired();

  Origin origin_;
  std::string topic_;
  Tools tools_;
  std::deque<Waiting> waiting_;
  bool is_asked_ = false;  // the engine, for the first one
  std::string silence_;    // why the engine did not answer last
  engine::Clock::Steady ask_at_{};
  std::deque<Unconfirmed> answers_;
  std::map<std::string, Why, std::less<>> remembered_;
  std::deque<std::string> order_;  // of these
};

}  // namespace polaiga::mqtt
