#include "simulated/teller.h"

#include <simdjson.h>

#include <algorithm>
#include <utility>

#include "report/json_object.h"

namespace polaiga::fleet {
namespace {

using engine::JsonObject;

constexpr std::size_t kMostListBytes =
    std::size_t{60} * 1024;  // of the alarms in a part, which is a message of 64 KiB at most

template <typename Object>
void add_name(Object& object, const SimulatedTeller::Name& name) {
  object.add("site", name.site).add("controller", name.controller).add("version", POLAIGA_VERSION);
}

// The members of a request, as far as they are there.
struct Asked {
  std::string ledger_id;
  std::string id;
  std::int64_t first = 0;
  std::int64_t last = 0;
  std::int64_t after = 0;
  std::int64_t through = -1;
  bool is_for_list = false;
};

Asked read_asked(std::string_view payload) {
  Asked asked;
  simdjson::dom::parser parser;
  simdjson::dom::object members;
  if (parser.parse(payload.data(), payload.size()).get(members) != simdjson::SUCCESS) return asked;
  const auto text = [&](const char* name, std::string& into) {
    std::string_view value;
    if (members[name].get(value) == simdjson::SUCCESS) into = value;
  };
  const auto number = [&](const char* name, std::int64_t& into) {
    std::int64_t value = 0;
    if (members[name].get(value) == simdjson::SUCCESS) into = value;
  };
  text("ledger_id", asked.ledger_id);
  text("id", asked.id);
  number("first", asked.first);
  number("last", asked.last);
  number("after", asked.after);
  number("through", asked.through);
  bool alarms = false;
  asked.is_for_list = members["alarms"].get(alarms) == simdjson::SUCCESS && alarms;
  return asked;
}

}  // namespace

SimulatedTeller::SimulatedTeller(Name name, SimulatedLedger ledger, mqtt::Link& link, std::chrono::seconds heartbeat)
    : name_(std::move(name)),
      ledger_(std::move(ledger)),
      link_(link),
      topics_(name_.site, name_.controller),
      topic_of_actions_("polaiga/v1/" + name_.site + "/" + name_.controller + "/action"),
      topic_of_answers_("polaiga/v1/" + name_.site + "/" + name_.controller + "/acted"),
      heartbeat_(heartbeat) {}

std::string SimulatedTeller::will(const Name& name) {
  JsonObject object;
  object.add("state", "offline");
  add_name(object, name);
  return object.add("reason", "lost").text();
}

void SimulatedTeller::make_change() {
  made_.push_back({.number = ledger_.make(now_.wall), .at = now_.steady});
  ++counts_.made;
}

void SimulatedTeller::send(const std::string& topic, std::string payload, bool is_retained) {
  if (order_.empty()) confirmed_at_ = now_.steady;
  const mqtt::MessageId id = link_.send({.topic = topic, .payload = std::move(payload), .is_retained = is_retained});
  if (!link_.is_up()) return;
  in_flight_.insert(id);
  order_.push_back(id);
}

void SimulatedTeller::forget_in_flight() {
  in_flight_.clear();
  order_.clear();
}

bool SimulatedTeller::has_room() const {
  // When the first message is not confirmed, those after it may be, so they are limited, too.
  return link_.is_up() && in_flight_.size() < link_.most_in_flight() && order_.size() < 2 * link_.most_in_flight();
}

void SimulatedTeller::go_on() {
  if (!link_.is_up() || is_goodbye_) return;
  if (now_.steady - status_at_ >= heartbeat_) tell_status();
  tell_changes();
  answer_requests();
  if (!link_.is_up()) return;
  if (!order_.empty() && now_.steady - confirmed_at_ > kConfirmWithin) {
    link_.drop("the broker has not confirmed a message for 30 s");
    return;
  }
  if (told_ == 0 || !in_flight_.empty() || now_.steady - ack_at_ < ack_pause_) return;
  link_.subscribe_again();
  ack_pause_ = std::min(kLongestAckPause, ack_pause_ * 2);
  ack_at_ = now_.steady;
  told_ = 0;
  ++counts_.told_again;
}

void SimulatedTeller::tell_status() {
  status_at_ = now_.steady;
  JsonObject object;
  object.add("state", "online");
  add_name(object, name_);
  object.add("ledger_id", ledger_.id())
      .add("number", ledger_.number())
      .add("oldest_number", ledger_.oldest_number())
      .add("told", told_number_)
      .add("engine", true)
      .add("at", engine::format_moment(now_.wall));
  send(topics_.status, object.text(), true);
}

// A line of a change, with what polaiga-mqtt adds.
std::string SimulatedTeller::form_of(Number number, std::string_view replay) const {
  JsonObject more;
  more.add("previous", ledger_.told_before(number));
  add_name(more, name_);
  if (!replay.empty()) more.add("replay", replay);
  std::string text = ledger_.change_form(number);
  text += ',';
  return text.append(more.text(), 1);
}

void SimulatedTeller::tell_changes() {
  while (told_ < made_.size() && told_ < kMostUnacknowledged && has_room()) {
    if (told_ == 0) ack_at_ = now_.steady;
    const Number number = made_[told_].number;
    ++told_;
    told_number_ = std::max(told_number_, number);
    ++counts_.told;
    send(topics_.change, form_of(number, {}));
  }
}

void SimulatedTeller::answer_requests() {
  while (!requests_.empty() && has_room()) {
    Request& request = requests_.front();
    if (request.is_for_list ? list_more(request) : answer_more(request)) continue;
    requests_.pop_front();
  }
}

bool SimulatedTeller::answer_more(Request& request) {
  const Number oldest = std::max(Number{1}, ledger_.oldest_number());
  if (!request.is_gap_told && request.after + 1 < oldest) {
    request.is_gap_told = true;
    const Number last = std::min(request.last, oldest - 1);
    JsonObject range;
    range.add("first", request.after + 1).add("last", last);
    JsonObject object;
    object.add("ledger_id", ledger_.id()).add("gap", range).add("previous", ledger_.told_before(request.after + 1));
    add_name(object, name_);
    request.after = last;
    send(topics_.replayed, object.add("replay", request.id).text());
    return true;
  }
  const Number next = ledger_.told_after(request.after);
  if (next != 0 && next <= request.last) {
    request.after = next;
    send(topics_.replayed, form_of(next, request.id));
    return true;
  }
  const Number through = std::max(request.after, std::min(request.last, ledger_.number()));
  JsonObject object;
  object.add("ledger_id", ledger_.id()).add("done", true).add("through", through);
  object.add("previous", ledger_.is_told(through) && through > 0 ? through : ledger_.told_before(through));
  add_name(object, name_);
  send(topics_.replayed, object.add("replay", request.id).text());
  ++counts_.replays;
  return false;
}

bool SimulatedTeller::list_more(Request& request) {
  std::string alarms;
  const Number after = request.after;
  auto next = ledger_.active().upper_bound(after);
  for (; next != ledger_.active().end() && alarms.size() < kMostListBytes; ++next) {
    const std::string form = ledger_.alarm_form(next->first);
    if (!alarms.empty() && alarms.size() + form.size() > kMostListBytes) break;
    if (!alarms.empty()) alarms += ',';
    alarms += form;
    request.after = next->first;
  }
  const bool is_last = next == ledger_.active().end();
  if (is_last) request.after = ledger_.number();
  JsonObject object;
  object.add("ledger_id", ledger_.id())
      .add("replay", request.id)
      .add("number", ledger_.number())
      .add("after", after)
      .add("through", request.after)
      .add("last", is_last);
  std::string text = object.text();
  text.pop_back();
  JsonObject more;
  add_name(more, name_);
  text.append(",\"alarms\":[").append(alarms).append("],").append(more.text(), 1);
  send(topics_.replayed, std::move(text));
  ++counts_.lists;
  return !is_last;
}

void SimulatedTeller::refuse(const std::string& id, std::string_view why) {
  ++counts_.refused;
  JsonObject object;
  object.add("refused", why);
  add_name(object, name_);
  if (!id.empty()) object.add("replay", id);
  send(topics_.replayed, object.text());
}

void SimulatedTeller::say_goodbye() {
  if (!link_.is_up()) return;
  is_goodbye_ = true;
  JsonObject object;
  object.add("state", "offline");
  add_name(object, name_);
  send(topics_.status, object.add("reason", "stopped").add("at", engine::format_moment(now_.wall)).text(), true);
}

void SimulatedTeller::on_up() {
  forget_in_flight();
  told_ = 0;
  ack_at_ = now_.steady;
  for (Request& request : requests_) {
    request.after = request.is_for_list ? request.after : request.first - 1;
    request.is_gap_told = false;
  }
  tell_status();
}

void SimulatedTeller::on_down(const std::string& /*why*/) { forget_in_flight(); }

void SimulatedTeller::on_confirmed(mqtt::MessageId id) {
  in_flight_.erase(id);
  for (; !order_.empty() && !in_flight_.contains(order_.front()); order_.pop_front()) confirmed_at_ = now_.steady;
}

void SimulatedTeller::on_refused(mqtt::MessageId /*id*/, const std::string& why) {
  link_.drop("the broker refuses a message: " + why);
}

void SimulatedTeller::on_message(std::string_view topic, std::string_view payload, bool is_retained) {
  if (is_retained) return;
  if (topic == topics_.ack) {
    take_ack(payload);
  } else if (topic == topics_.replay) {
    take_request(payload);
  } else if (topic == topic_of_actions_) {
    take_action(payload);
  }
}

void SimulatedTeller::take_ack(std::string_view payload) {
  const Asked ack = read_asked(payload);
  if (ack.ledger_id != ledger_.id() || ack.through < 0 || ack.through > ledger_.number()) return;
  ack_pause_ = kAckPause;
  if (made_.empty() || ack.through < made_.front().number) return;
  ack_at_ = now_.steady;
  while (!made_.empty() && made_.front().number <= ack.through) {
    latencies_.push_back(now_.steady - made_.front().at);
    made_.pop_front();
    ++counts_.acked;
    if (told_ > 0) --told_;
  }
}

void SimulatedTeller::take_request(std::string_view payload) {
  Asked asked = read_asked(payload);
  if (asked.ledger_id != ledger_.id()) return refuse(asked.id, "The ledger is another one");
  if (!asked.is_for_list && (asked.first < 1 || asked.last < asked.first)) {
    return refuse(asked.id, "The members 'first' and 'last' must be numbers of changes");
  }
  if (asked.is_for_list && asked.after < 0) return refuse(asked.id, "The member 'after' must be a number");
  if (requests_.size() > kMostWaitingRequests) return refuse(asked.id, "Too many requests wait");
  if (asked.id.empty()) asked.id = std::to_string(asked.first) + "-" + std::to_string(asked.last);
  requests_.push_back({.id = asked.id,
                       .is_for_list = asked.is_for_list,
                       .first = asked.first,
                       .last = asked.last,
                       .after = asked.is_for_list ? asked.after : asked.first - 1});
}

void SimulatedTeller::take_action(std::string_view payload) {
  JsonObject object;
  object.add("id", read_asked(payload).id).add("done", false).add("why", "A simulated controller takes no actions");
  add_name(object, name_);
  send(topic_of_answers_, object.text());
}

}  // namespace polaiga::fleet
