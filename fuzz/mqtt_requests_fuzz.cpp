// What somebody publishes, and what an option names, may be any bytes: it is refused with a message that can be shown,
// or what is made of it fits. The first character of the input says what the rest is: `a` an acknowledgement, `r` a
// request for a replay, `o` an operator's action, `k` the index that a broker kept, `b` the address of a broker, `t` a
// part of a topic.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "check.h"
#include "messages/broker_address.h"
#include "messages/requests.h"
#include "messages/topics.h"
#include "model/operator_action.h"

namespace polaiga::fuzz {
namespace {

using namespace mqtt;

void check_ledger_id(const std::string& id) {
  check(id.size() == 32 && id.find_first_not_of("0123456789abcdef") == std::string::npos, "a ledger id has 32 digits");
}

void check_refusal(const BadMessage& error) {
  check(is_printable(error.what()) && error.what()[0] != '\0', "a refusal can be shown");
  check(error.id().size() <= kMostIdBytes && is_printable(error.id()), "an id can be shown");
}

void check_ack(std::string_view payload) {
  const Ack ack = parse_ack(payload);
  check_ledger_id(ack.ledger_id);
  check(ack.through >= 0, "a number is not negative");
  // Written again, it says the same.
  check(parse_ack(R"({"through":)" + std::to_string(ack.through) + R"(,"ledger_id":")" + ack.ledger_id + "\"}") == ack,
        "an acknowledgement is understood as it was meant");
}

void check_replay(std::string_view payload) {
  const Replay replay = parse_replay(payload);
  check_ledger_id(replay.ledger_id);
  if (replay.alarms_after) {
    check(*replay.alarms_after >= 0, "a number is not negative");
  } else {
    check(1 <= replay.first && replay.first <= replay.last, "a range is one");
  }
  check(!replay.id.empty() && replay.id.size() <= kMostIdBytes && is_printable(replay.id), "an id can be shown");
}

void check_action(std::string_view payload) {
  const Action action = parse_action(payload);
  check_ledger_id(action.ledger_id);
  check(!action.id.empty() && action.id.size() <= kMostIdBytes && is_printable(action.id), "an id can be shown");
  check(action.request.find('\n') == std::string::npos, "a request is one line");
  const auto request = nlohmann::json::parse(action.request);
  check(request.at("id") == action.id && request.at("ledger_id") == action.ledger_id,
        "the engine is told the id and the ledger");
  const std::string person = request.at("on_behalf_of");
  check(!person.empty() && is_printable(person), "the engine is told of a person");
  const auto kind = engine::find_action(request.at("do").get<std::string>());
  check(kind && *kind != engine::ActionKind::kSettle, "the action is one of an operator");
  for (const auto& [name, value] : request.items()) check(!value.is_structured(), "a request is flat");
}

void check_kept_pages(std::string_view payload) {
  const auto pages = parse_kept_pages(payload);
  check(std::ranges::is_sorted(pages) && std::ranges::adjacent_find(pages) == pages.end(), "pages are in order");
  check(pages.empty() || pages.back() < kMostKeptPages, "a page is one of the possible ones");
}

void check_broker(std::string_view text) {
  const auto found = parse_broker_address(text);
  if (!found) return;
  check(is_printable(found->host) && !found->host.empty(), "a host can be shown");
  const auto again = parse_broker_address(found->text(1883));
  check(again && again->host == found->host && again->port == found->port.value_or(1883),
        "an address is understood as it is shown");
}

void check_topic_part(std::string_view text) {
  if (!is_topic_part(text)) return;
  const Topics topics{std::string(text), std::string(text)};
  check(std::ranges::count(topics.change, '/') == 4, "a part is one level of a topic");
  check(topics.change.find_first_of("+#") == std::string::npos && is_printable(topics.change), "a topic is no filter");
}

void check_input(char what, std::string_view rest) {
  try {
    switch (what) {
      case 'a':
        check_ack(rest);
        break;
      case 'r':
        check_replay(rest);
        break;
      case 'o':
        check_action(rest);
        break;
      case 'k':
        check_kept_pages(rest);
        break;
      case 'b':
        check_broker(rest);
        break;
      case 't':
        check_topic_part(rest);
        break;
      default:
        break;
    }
  } catch (const BadMessage& error) {
    check_refusal(error);
  }
}

}  // namespace
}  // namespace polaiga::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  polaiga::fuzz::check_input(static_cast<char>(data[0]), {reinterpret_cast<const char*>(data) + 1, size - 1});
  return 0;
}
