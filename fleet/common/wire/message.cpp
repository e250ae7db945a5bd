#include "wire/message.h"

#include "base/printable.h"
#include "wire/parts.h"

namespace polaiga::fleet {
namespace {

simdjson::dom::object object_of(simdjson::dom::parser& parser, std::string_view payload) {
  if (payload.size() > kMostPayloadBytes) {
    throw BadMessage("The message has " + std::to_string(payload.size()) + " bytes; at most " +
                     std::to_string(kMostPayloadBytes) + " are allowed");
  }
  simdjson::dom::element root;
  if (parser.parse(payload.data(), payload.size()).get(root) != simdjson::SUCCESS) {
    throw BadMessage("The message is not JSON in UTF-8");
  }
  simdjson::dom::object object;
  if (root.get(object) != simdjson::SUCCESS) throw BadMessage("The message is not a JSON object");
  return object;
}

void expect_sender(const Members& message, const Sender& sender) {
  const auto expect = [&message](std::string_view name, const std::string& want) {
    const std::string got = message.text(name);
    if (got == want) return;
    throw BadMessage("The member " + engine::in_quotes(name) + " is " + engine::in_quotes(got) +
                     ", but the routing key names " + engine::in_quotes(want));
  };
  expect("site", sender.site);
  expect("controller", sender.controller);
}

ReplayRefused parse_refused(const Members& message) {
  ReplayRefused refused{.replay = {}, .why = message.text("refused")};
  if (message.has("replay")) refused.replay = message.text("replay", kMostIdBytes);
  return refused;
}

ReplayDone parse_done(const Members& message) {
  ReplayDone done{.ledger_id = message.ledger_id("ledger_id"),
                  .replay = message.filled_text("replay", kMostIdBytes),
                  .through = message.number("through", 0),
                  .previous = {}};
  if (!message.flag("done")) message.refuse("done", "true");
  if (message.has("previous")) {
    done.previous = message.number("previous", 0);
    if (*done.previous > done.through) message.refuse("previous", "at most 'through'");
  }
  return done;
}

ActedMessage parse_acted(const Members& message) {
  ActedMessage acted{.id = message.filled_text("id", kMostIdBytes), .is_done = message.flag("done"), .why = {}};
  if (!acted.is_done) acted.why = message.text("why");
  return acted;
}

Message parse_change_or_gap(const Members& message, std::string_view payload) {
  if (message.has("gap")) return parse_gap(message);
  return parse_change(message, payload);
}

// The members tell what it answers.
Message parse_replayed(const Members& message, std::string_view payload) {
  if (message.has("refused")) return parse_refused(message);
  if (message.has("done")) return parse_done(message);
  if (message.has("alarms")) return parse_list(message);
  return parse_change_or_gap(message, payload);
}

}  // namespace

Message parse_message(const Route& route, std::string_view payload) {
  // It keeps its memory for the next message.
  thread_local simdjson::dom::parser parser;
  const Members message(object_of(parser, payload));
  expect_sender(message, route.sender);
  switch (route.kind) {
    case Kind::kChange:
      return parse_change_or_gap(message, payload);
    case Kind::kStatus:
      return parse_status(message);
    case Kind::kReplayed:
      return parse_replayed(message, payload);
    case Kind::kActed:
      return parse_acted(message);
    case Kind::kAck:
    case Kind::kReplay:
    case Kind::kAction:
      break;
  }
  throw BadMessage("Controllers send no message of the kind " + engine::in_quotes(kind_word(route.kind)));
}

}  // namespace polaiga::fleet
