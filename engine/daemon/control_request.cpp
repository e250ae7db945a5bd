#include "daemon/control_request.h"

#include <polaiga/records.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <set>
#include <utility>
#include <vector>

#include "base/printable.h"
#include "base/utf8.h"
#include "intake/event_parser.h"
#include "model/moment.h"

namespace polaiga::engine {
namespace {

using nlohmann::json;

constexpr std::size_t kLongestName = 32;  // of a publisher
constexpr std::size_t kLongestLedgerId = 32;
constexpr std::size_t kLongestPerson = 64;
constexpr std::size_t kLongestPeer = 256;
constexpr std::size_t kLongestError = 512;

// A member of a request. Other values have no use in any request.
struct Member {
  enum class Kind { kText, kNumber, kFlag, kOther };
  std::string name;
  Kind kind = Kind::kOther;
  std::string text;
  std::uint64_t number = 0;
};

using Request = std::vector<Member>;

// Takes the members of a flat object as the parser finds them. There is no tree of values: such a tree takes memory
// even where it is let go of, and that cannot fail.
class MemberReader {
 public:
  bool null() { return value({}); }
  bool boolean(bool flag) { return value({"", Member::Kind::kFlag, "", flag ? 1U : 0U}); }
  bool number_integer(json::number_integer_t /*value*/) { return value({}); }
  bool number_unsigned(json::number_unsigned_t number) { return value({"", Member::Kind::kNumber, "", number}); }
  bool number_float(json::number_float_t /*value*/, const std::string& /*text*/) { return value({}); }
  bool string(std::string& text) { return value({"", Member::Kind::kText, text, 0}); }
  bool binary(json::binary_t& /*value*/) { return value({}); }
  bool start_object(std::size_t /*size*/) {
    is_flat = is_flat && depth_ == 0;
    return begin();
  }
  bool start_array(std::size_t /*size*/) {
    is_flat = false;
    return begin();
  }
  bool end_object() { return end(); }
  bool end_array() { return end(); }
  bool key(std::string& name) {
    if (depth_ == 1) name_ = name;
    return true;
  }
  static bool parse_error(std::size_t /*position*/, const std::string& /*token*/, const json::exception& /*error*/) {
    return false;
  }

  Request request;
  bool is_flat = true;

 private:
  bool value(Member member) {
    if (depth_ == 0) is_flat = false;
    if (depth_ != 1) return true;
    member.name = name_;
    request.push_back(std::move(member));
    return true;
  }

  bool begin() {
    if (depth_ == 1) value({});
    ++depth_;
    return true;
  }

  bool end() {
    --depth_;
    return true;
  }

  std::size_t depth_ = 0;
  std::string name_;
};

Request parse(std::string_view line) {
  MemberReader reader;
  if (!json::sax_parse(line, &reader)) throw BadRequest("The request is not JSON");
  if (!reader.is_flat) throw BadRequest("The request is not a flat JSON object");
  std::set<std::string_view> names;
  for (const Member& member : reader.request) {
    if (!names.insert(member.name).second) throw BadRequest("A member of the request comes twice");
  }
  return std::move(reader.request);
}

const Member& member(const Request& request, const char* name) {
  const auto found = std::ranges::find(request, name, &Member::name);
  if (found == request.end()) throw BadRequest("The request has no member " + in_quotes(name));
  return *found;
}

std::string text_member(const Request& request, const char* name) {
  const Member& found = member(request, name);
  if (found.kind != Member::Kind::kText) throw BadRequest("The member " + in_quotes(name) + " must be a text");
  return found.text;
}

std::string publisher_of(const Request& request) {
  std::string name = text_member(request, "publisher");
  const auto may_stand = [](char c) {
    return ('a' <= c && c <= 'z') || ('0' <= c && c <= '9') || c == '-' || c == '_' || c == '.';
  };
  if (name.empty() || name.size() > kLongestName || !std::ranges::all_of(name, may_stand)) {
    throw BadRequest("The publisher is " + in_quotes(name) + "; its name has 1 to " + std::to_string(kLongestName) +
                     " of the characters a-z, 0-9, '-', '_' and '.'");
  }
  return name;
}

ChangeNumber through_of(const Request& request) {
  const Member& through = member(request, "through");
  const bool fits = through.kind == Member::Kind::kNumber && through.number <= std::uint64_t{INT64_MAX};
  if (!fits) throw BadRequest("The member 'through' must be the number of a change, or 0");
  return static_cast<ChangeNumber>(through.number);
}

void expect_only(const Request& request, const std::vector<std::string_view>& names) {
  for (const Member& member : request) {
    if (std::ranges::find(names, member.name) == names.end()) {
      throw BadRequest("The member " + in_quotes(member.name) + " is not known in this request");
    }
  }
}

const Member* find_member(const Request& request, const char* name) {
  const auto found = std::ranges::find(request, name, &Member::name);
  return found == request.end() ? nullptr : &*found;
}

// Without the member it is false.
bool flag_member(const Request& request, const char* name) {
  const Member* const found = find_member(request, name);
  if (found == nullptr) return false;
  if (found->kind != Member::Kind::kFlag) throw BadRequest("The member " + in_quotes(name) + " must be true or false");
  return found->number != 0;
}

// A text that people will read: of visible characters alone, and no longer than it may be.
std::string visible_text(const Request& request, const char* name, std::size_t most) {
  std::string text = text_member(request, name);
  if (text.find_first_not_of(' ') == std::string::npos) {
    throw BadRequest("The member " + in_quotes(name) + " is empty");
  }
  if (text.size() > most) {
    throw BadRequest("The member " + in_quotes(name) + " has " + std::to_string(text.size()) + " bytes; at most " +
                     std::to_string(most) + " are allowed");
  }
  for (std::string_view rest = text; !rest.empty();) {
    const Character character = first_character(rest);
    if (!character.valid || !is_shown(character.code)) {
      throw BadRequest("The member " + in_quotes(name) +
                       " has a character that cannot be shown, such as a control character or the end of a line");
    }
    rest.remove_prefix(character.size);
  }
  return text;
}

std::optional<std::string> optional_text(const Request& request, const char* name, std::size_t most) {
  if (find_member(request, name) == nullptr) return std::nullopt;
  return visible_text(request, name, most);
}

std::optional<std::uint64_t> optional_count(const Request& request, const char* name) {
  const Member* const found = find_member(request, name);
  if (found == nullptr) return std::nullopt;
  if (found->kind != Member::Kind::kNumber || found->number > std::uint64_t{INT64_MAX}) {
    throw BadRequest("The member " + in_quotes(name) + " must be a whole number that is not negative");
  }
  return found->number;
}

Moment moment_member(const Request& request, const char* name) {
  const auto moment = parse_moment(text_member(request, name));
  if (!moment) {
    throw BadRequest("The member " + in_quotes(name) + " must be a time of RFC 3339, as in '2025-03-12T09:12:20Z'");
  }
  return *moment;
}

std::optional<Moment> optional_moment(const Request& request, const char* name) {
  if (find_member(request, name) == nullptr) return std::nullopt;
  return moment_member(request, name);
}

CursorRequest cursor_of(const Request& request) {
  expect_only(request, {"do", "publisher", "through", "ledger_id", "peer", "connected", "told", "lost", "cut",
                        "last_success", "last_error", "last_error_at"});
  CursorRequest found;
  found.publisher = publisher_of(request);
  found.through = through_of(request);
  found.ledger_id = optional_text(request, "ledger_id", kLongestLedgerId);
  PublisherReport& report = found.report;
  report.peer = optional_text(request, "peer", kLongestPeer);
  if (find_member(request, "connected") != nullptr) report.connected = flag_member(request, "connected");
  report.told = optional_count(request, "told");
  report.lost = optional_count(request, "lost");
  report.cut = optional_count(request, "cut");
  report.last_success = optional_moment(request, "last_success");
  report.last_error = optional_text(request, "last_error", kLongestError);
  report.last_error_at = optional_moment(request, "last_error_at");
  return found;
}

std::vector<ChangeNumber> alarms_of(const Request& request) {
  const std::string text = text_member(request, "alarms");
  std::vector<ChangeNumber> alarms;
  const char* at = text.data();
  const char* const end = text.data() + text.size();
  while (at != end) {
    const bool counts_on = *at == '+' && !alarms.empty();
    if (counts_on) ++at;
    ChangeNumber number = 0;
    const auto [rest, error] = std::from_chars(at, end, number);
    const bool is_number = error == std::errc() && rest != at && *at != '-' && number > 0;
    const ChangeNumber last = alarms.empty() ? 0 : alarms.back();
    if (!is_number || (counts_on && number > INT64_MAX - last) || (rest != end && (*rest != ',' || rest + 1 == end))) {
      throw BadRequest("The member 'alarms' is not a list of numbers of alarms, as in '17,18,+5'");
    }
    alarms.push_back(counts_on ? last + number : number);
    at = rest == end ? end : rest + 1;
  }
  if (alarms.empty()) throw BadRequest("The member 'alarms' names no alarm");
  std::ranges::sort(alarms);
  alarms.erase(std::unique(alarms.begin(), alarms.end()), alarms.end());
  return alarms;
}

std::string dn_of(const Request& request) {
  std::string dn = visible_text(request, "dn", FE_DN_SIZE - 1);
  while (dn.ends_with('/')) dn.pop_back();
  if (dn.empty() || dn.front() == '/' || dn.find("//") != std::string::npos || dn.front() == ' ' || dn.back() == ' ') {
    throw BadRequest("The member 'dn' must be the DN of an object, as in 'sys/rack-unit-1/psu-1'");
  }
  return dn;
}

// When a shelf or maintenance ends.
void read_end(const Request& request, OperatorAction& action) {
  const Member* const lasts = find_member(request, "for");
  const Member* const until = find_member(request, "until");
  if ((lasts == nullptr) == (until == nullptr)) {
    throw BadRequest("The request must have one of 'for', in seconds, and 'until', a time");
  }
  if (lasts != nullptr) {
    const bool fits =
        lasts->kind == Member::Kind::kNumber && lasts->number > 0 && lasts->number <= std::uint64_t{INT32_MAX};
    if (!fits) throw BadRequest("The member 'for' must be a number of seconds, from 1 to 2592000, which are 30 days");
    action.lasts = static_cast<std::int64_t>(lasts->number);
    return;
  }
  action.until = moment_member(request, "until");
}

ActionRequest action_of(const Request& request, ActionKind kind) {
  const bool lasts = kind == ActionKind::kShelve || kind == ActionKind::kMaintain;
  std::vector<std::string_view> names{"do", "comment", "id", "ledger_id", "on_behalf_of"};
  if (is_about_object(kind)) names.emplace_back("dn");
  if (kind == ActionKind::kAcknowledgeMissed) {
    names.emplace_back("through");
  } else if (!is_about_object(kind)) {
    names.insert(names.end(), {"alarms", "selection"});
  }
  if (lasts) names.insert(names.end(), {"for", "until"});
  expect_only(request, names);
  ActionRequest found;
  OperatorAction& action = found.action;
  action.kind = kind;
  action.id = optional_text(request, "id", kLongestId);
  action.comment = optional_text(request, "comment", kMostCommentBytes);
  action.on_behalf_of = optional_text(request, "on_behalf_of", kLongestPerson);
  found.ledger_id = optional_text(request, "ledger_id", kLongestLedgerId);
  const bool wants_comment = kind == ActionKind::kClose || kind == ActionKind::kShelve ||
                             kind == ActionKind::kComment || kind == ActionKind::kMaintain;
  if (wants_comment && !action.comment) {
    throw BadRequest("The request has no member 'comment'; the action " + in_quotes(action_word(kind)) + " wants one");
  }
  if (is_about_object(kind)) {
    action.dn = dn_of(request);
  } else if (kind == ActionKind::kAcknowledgeMissed) {
    action.through = through_of(request);
  } else {
    action.alarms = alarms_of(request);
    action.is_selection = flag_member(request, "selection");
  }
  if (lasts) read_end(request, action);
  return found;
}

}  // namespace

ControlRequest parse_control_request(std::string_view line) {
  const Request request = parse(line);
  const std::string what = text_member(request, "do");
  if (what == "status") {
    expect_only(request, {"do"});
    return StatusRequest{};
  }
  if (what == "cursor") return cursor_of(request);
  if (what == "forget") {
    expect_only(request, {"do", "publisher"});
    return ForgetRequest{publisher_of(request)};
  }
  if (const auto kind = find_action(what); kind && *kind != ActionKind::kSettle) return action_of(request, *kind);
  throw BadRequest("The request 'do' is " + in_quotes(what) +
                   "; it may be 'status', 'cursor', 'forget' or an operator's action, such as 'acknowledge'");
}

}  // namespace polaiga::engine
