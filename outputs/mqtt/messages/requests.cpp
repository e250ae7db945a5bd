#include "messages/requests.h"

#include <simdjson.h>

#include <algorithm>
#include <cstdint>
#include <set>

#include "base/printable.h"
#include "base/utf8.h"
#include "messages/sizes.h"
#include "model/operator_action.h"
#include "report/json_object.h"

namespace polaiga::mqtt {
namespace {

using engine::ChangeNumber;
using engine::in_quotes;
using engine::JsonObject;
using simdjson::dom::element;
using simdjson::dom::object;

constexpr std::size_t kLedgerIdDigits = 32;
constexpr std::size_t kMostPersonBytes = 64;

void expect_size(std::string_view payload, std::size_t most) {
  if (payload.size() > most) {
    throw BadMessage("The message has " + std::to_string(payload.size()) + " bytes; at most " + std::to_string(most) +
                     " are allowed");
  }
}

object object_of(simdjson::dom::parser& parser, std::string_view payload) {
  element root;
  object found;
  if (parser.parse(payload.data(), payload.size()).get(root) != simdjson::SUCCESS) {
    throw BadMessage("The message is not JSON");
  }
  if (root.get(found) != simdjson::SUCCESS) throw BadMessage("The message is not a JSON object");
  return found;
}

// Each member stands there once, and is one of these.
void expect_only(const object& message, std::initializer_list<std::string_view> names) {
  std::set<std::string_view> seen;
  for (const auto& [name, value] : message) {
    if (!seen.insert(name).second) throw BadMessage("The member " + in_quotes(name) + " comes twice");
    if (std::ranges::find(names, name) == names.end()) {
      throw BadMessage("The member " + in_quotes(name) + " is not known");
    }
  }
}

std::string ledger_id_of(const object& message) {
  std::string_view text;
  const bool is_text = message["ledger_id"].get(text) == simdjson::SUCCESS;
  const auto is_digit = [](char c) { return ('0' <= c && c <= '9') || ('a' <= c && c <= 'f'); };
  if (!is_text || text.size() != kLedgerIdDigits || !std::ranges::all_of(text, is_digit)) {
    throw BadMessage("The member 'ledger_id' must be the id of a ledger, 32 digits of 0-9 and a-f");
  }
  return std::string(text);
}

ChangeNumber number_of(const object& message, const char* name, ChangeNumber least) {
  std::int64_t number = 0;
  if (message[name].get(number) != simdjson::SUCCESS || number < least) {
    throw BadMessage("The member " + in_quotes(name) + " must be the number of a change, " + std::to_string(least) +
                     " or more");
  }
  return number;
}

bool is_shown_text(std::string_view text) {
  for (std::string_view rest = text; !rest.empty();) {
    const engine::Character character = engine::first_character(rest);
    if (!character.valid || !engine::is_shown(character.code)) return false;
    rest.remove_prefix(character.size);
  }
  return true;
}

std::string shown_text_of(const object& message, const char* name, std::size_t most) {
  std::string_view text;
  const bool fits = message[name].get(text) == simdjson::SUCCESS && !text.empty() && text.size() <= most;
  if (!fits || !is_shown_text(text)) {
    throw BadMessage("The member " + in_quotes(name) + " must be a text of 1 to " + std::to_string(most) +
                     " bytes without control characters");
  }
  return std::string(text);
}

// Empty: it has none.
std::string replay_id_of(const object& message) {
  element value;
  if (message["id"].get(value) != simdjson::SUCCESS) return {};
  return shown_text_of(message, "id", kMostIdBytes);
}

Replay alarms_replay_of(const object& message) {
  expect_only(message, {"ledger_id", "alarms", "after", "id"});
  bool is_asked = false;
  if (message["alarms"].get(is_asked) != simdjson::SUCCESS || !is_asked) {
    throw BadMessage("The member 'alarms' must be true, or must not be there");
  }
  element after;
  const bool has_after = message["after"].get(after) == simdjson::SUCCESS;
  return {.ledger_id = ledger_id_of(message), .alarms_after = has_after ? number_of(message, "after", 0) : 0};
}

Replay changes_replay_of(const object& message) {
  expect_only(message, {"ledger_id", "first", "last", "id"});
  Replay replay{.ledger_id = ledger_id_of(message),
                .first = number_of(message, "first", 1),
                .last = number_of(message, "last", 1)};
  if (replay.last < replay.first) throw BadMessage("The member 'last' must not be less than 'first'");
  return replay;
}

engine::Moment moment_of(const object& message, const char* name) {
  std::string_view text;
  const bool is_text = message[name].get(text) == simdjson::SUCCESS;
  const auto moment = is_text ? engine::parse_moment(text) : std::nullopt;
  if (!moment) {
    throw BadMessage("The member " + in_quotes(name) + " must be a time of RFC 3339, as in '2025-03-12T09:12:20Z'");
  }
  return *moment;
}

// What the engine itself does not do for anybody is no operator's action.
bool is_operators(std::string_view word) {
  const auto kind = engine::find_action(word);
  return kind && *kind != engine::ActionKind::kSettle;
}

// The members of an action, as the engine takes them. It looks at their values itself, but must not be told by them
// who acts, under which id and on which ledger.
JsonObject action_request_of(const object& message) {
  object request;
  if (message["request"].get(request) != simdjson::SUCCESS) {
    throw BadMessage("The member 'request' must be a JSON object");
  }
  expect_only(request, {"do", "alarms", "selection", "dn", "through", "for", "until", "comment"});
  std::string_view what;
  if (request["do"].get(what) != simdjson::SUCCESS || !is_operators(what)) {
    throw BadMessage("The member 'do' of 'request' must be an operator's action, such as 'acknowledge'");
  }
  JsonObject copy;
  for (const auto& [name, value] : request) {
    std::string_view text;
    std::int64_t number = 0;
    bool flag = false;
    if (value.get(text) == simdjson::SUCCESS) {
      copy.add(name, text);
    } else if (value.get(number) == simdjson::SUCCESS) {
      copy.add(name, number);
    } else if (value.get(flag) == simdjson::SUCCESS) {
      copy.add(name, flag);
    } else {
      throw BadMessage("The member " + in_quotes(name) + " of 'request' must be a text, a whole number, true or false");
    }
  }
  return copy;
}

}  // namespace

Ack parse_ack(std::string_view payload) {
  expect_size(payload, kMostRequestBytes);
  simdjson::dom::parser parser;
  const object message = object_of(parser, payload);
  expect_only(message, {"ledger_id", "through"});
  return {.ledger_id = ledger_id_of(message), .through = number_of(message, "through", 0)};
}

Replay parse_replay(std::string_view payload) {
  expect_size(payload, kMostRequestBytes);
  simdjson::dom::parser parser;
  const object message = object_of(parser, payload);
  std::string id = replay_id_of(message);
  try {
    element alarms;
    const bool is_of_alarms = message["alarms"].get(alarms) == simdjson::SUCCESS;
    Replay replay = is_of_alarms ? alarms_replay_of(message) : changes_replay_of(message);
    replay.id = id;
    if (!id.empty()) return replay;
    replay.id = is_of_alarms ? "alarms-" + std::to_string(*replay.alarms_after)
                             : std::to_string(replay.first) + "-" + std::to_string(replay.last);
    return replay;
  } catch (const BadMessage& error) {
    throw BadMessage(error.what(), id);
  }
}

Action parse_action(std::string_view payload) {
  expect_size(payload, kMostActionBytes);
  simdjson::dom::parser parser;
  const object message = object_of(parser, payload);
  Action action{.id = shown_text_of(message, "id", kMostIdBytes), .ledger_id = {}, .expires = 0, .request = {}};
  try {
    expect_only(message, {"id", "ledger_id", "expires", "person", "request"});
    action.ledger_id = ledger_id_of(message);
    action.expires = moment_of(message, "expires");
    const std::string person = shown_text_of(message, "person", kMostPersonBytes);
    action.request = action_request_of(message)
                         .add("id", action.id)
                         .add("ledger_id", action.ledger_id)
                         .add("on_behalf_of", person)
                         .text();
    return action;
  } catch (const BadMessage& error) {
    throw BadMessage(error.what(), action.id);
  }
}

std::vector<std::size_t> parse_kept_pages(std::string_view payload) {
  expect_size(payload, kMostPayloadBytes);
  simdjson::dom::parser parser;
  const object message = object_of(parser, payload);
  simdjson::dom::array pages;
  if (message["pages"].get(pages) != simdjson::SUCCESS) throw BadMessage("The member 'pages' must be a list");
  std::set<std::size_t> found;
  for (const element& one : pages) {
    std::uint64_t page = 0;
    if (one["page"].get(page) != simdjson::SUCCESS || page >= kMostKeptPages) {
      throw BadMessage("The member 'page' must be a number below " + std::to_string(kMostKeptPages));
    }
    found.insert(static_cast<std::size_t>(page));
  }
  return {found.begin(), found.end()};
}

}  // namespace polaiga::mqtt
