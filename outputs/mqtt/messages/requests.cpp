#include "messages/requests.h"

#include <simdjson.h>

#include <algorithm>
#include <cstdint>
#include <set>

#include "base/printable.h"
#include "base/utf8.h"
#include "messages/sizes.h"

namespace polaiga::mqtt {
namespace {

using engine::ChangeNumber;
using engine::in_quotes;
using simdjson::dom::element;
using simdjson::dom::object;

constexpr std::size_t kLedgerIdDigits = 32;

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

// Empty: it has none.
std::string replay_id_of(const object& message) {
  element value;
  if (message["id"].get(value) != simdjson::SUCCESS) return {};
  std::string_view text;
  const bool fits = value.get(text) == simdjson::SUCCESS && !text.empty() && text.size() <= kMostIdBytes;
  if (!fits || !is_shown_text(text)) {
    throw BadMessage("The member 'id' must be a text of 1 to " + std::to_string(kMostIdBytes) +
                     " bytes without control characters");
  }
  return std::string(text);
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
    expect_only(message, {"ledger_id", "first", "last", "id"});
    Replay replay{.ledger_id = ledger_id_of(message),
                  .first = number_of(message, "first", 1),
                  .last = number_of(message, "last", 1),
                  .id = id};
    if (replay.last < replay.first) throw BadMessage("The member 'last' must not be less than 'first'");
    if (replay.id.empty()) replay.id = std::to_string(replay.first) + "-" + std::to_string(replay.last);
    return replay;
  } catch (const BadMessage& error) {
    throw BadMessage(error.what(), id);
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
