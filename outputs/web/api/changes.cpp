#include "api/changes.h"

#include <algorithm>
#include <chrono>

#include "api/alarm_parameters.h"
#include "base/quantities.h"
#include "http/answers.h"
#include "report/json_object.h"

namespace polaiga::web {
namespace {

using engine::ChangeNumber;
using engine::JsonObject;
using Time = std::chrono::steady_clock;

constexpr std::int64_t kLongestWait = 60;  // seconds
constexpr std::size_t kEventsAtOnce = 100;
// A stream without events sends a comment after such a time, so that its reader knows that it is still open.
constexpr std::chrono::seconds kBetweenComments{15};

// How far somebody has followed.
struct Position {
  std::string ledger_id;
  ChangeNumber number = 0;
};

JsonObject gap_form(const engine::Feed::Gap& gap) { return JsonObject().add("first", gap.first).add("last", gap.last); }

std::string changes_text(const LiveChanges& found) {
  std::string list;
  for (const LiveChange& change : found.changes) list += (list.empty() ? "" : ",") + *change.json;
  JsonObject body;
  body.add("ledger_id", found.ledger_id).add("through", found.through);
  if (found.gap) body.add("gap", gap_form(*found.gap));
  std::string text = body.text();
  text.pop_back();
  return text + ",\"changes\":[" + list + "]}\n";
}

bool has_news(const LiveChanges& found) { return !found.changes.empty() || found.gap; }

// Answers once, when there are changes or the time is over.
class LongPoll final : public Stream {
 public:
  // `last` has no news.
  LongPoll(Site& site, LiveChanges last, std::size_t most, std::chrono::seconds longest)
      : site_(site), last_(std::move(last)), most_(most), end_(Time::now() + longest) {}

  std::string next() override {
    if (is_over_) return "";
    try {
      LiveChanges found = site_.live.after(last_.through, most_);
      if (!has_news(found) && Time::now() < end_) {
        last_ = std::move(found);
        return "";
      }
      is_over_ = true;
      return changes_text(found);
    } catch (const engine::LedgerError&) {
      // The ledger was replaced, perhaps. This answer has no changes, and the next request is told what is wrong.
      is_over_ = true;
      return changes_text(last_);
    }
  }

  bool is_over() const override { return is_over_; }

 private:
  Site& site_;
  LiveChanges last_;
  std::size_t most_;
  Time::time_point end_;
  bool is_over_ = false;
};

class EventStream final : public Stream {
 public:
  EventStream(Site& site, std::optional<Position> from) : site_(site), from_(std::move(from)) {}

  std::string next() override {
    std::string text;
    if (!has_begun_) text = "retry: 2000\n\n";
    tell_engine(text);
    if (const auto view = site_.live.view()) {
      begin(*view, text);
      tell_changes(*view, text);
      // When the ledger cannot be read any more, the view stays the same, and who shows it has to say so.
      const bool is_readable = !site_.live.problem();
      if (view->version != version_ || is_readable != is_readable_) {
        version_ = view->version;
        is_readable_ = is_readable;
        tell(text, "view", JsonObject().add("change", at_.number).add("version", version_).text());
      }
    }
    const Time::time_point now = Time::now();
    if (text.empty() && now - said_ >= kBetweenComments) text = ": still here\n\n";
    if (!text.empty()) said_ = now;
    has_begun_ = true;
    return text;
  }

  bool is_over() const override { return false; }

 private:
  // Without a position, it begins with what is active now.
  void begin(const View& view, std::string& text) {
    if (at_.ledger_id == view.of.ledger_id) return;
    const bool goes_on = from_ && from_->ledger_id == view.of.ledger_id;
    const bool lost = (from_ && !goes_on) || !at_.ledger_id.empty();
    at_ = {view.of.ledger_id, goes_on ? from_->number : view.of.number};
    from_.reset();
    if (lost) tell(text, "gap", JsonObject().add("ledger_id", view.of.ledger_id).text());
  }

  void tell_changes(const View& view, std::string& text) {
    try {
      const LiveChanges found = site_.live.after(at_.number, kEventsAtOnce);
      if (found.ledger_id != at_.ledger_id) return;  // the view follows
      for (const LiveChange& change : found.changes) {
        at_.number = change.number;
        tell(text, "change", *change.json);
      }
      if (found.gap) {
        at_.number = view.of.number;
        tell(text, "gap", gap_form(*found.gap).text());
      } else {
        at_.number = found.through;
      }
    } catch (const engine::LedgerError&) {
      // When the ledger can be read again there is a new view, and this is tried again.
    }
  }

  void tell_engine(std::string& text) {
    const bool is_running = site_.engine.is_running();
    if (has_begun_ && is_running == engine_runs_) return;
    engine_runs_ = is_running;
    tell(text, "engine", JsonObject().add("is_running", is_running).text());
  }

  void tell(std::string& text, std::string_view event, std::string_view data) const {
    if (!at_.ledger_id.empty()) text += "id: " + at_.ledger_id + "-" + std::to_string(at_.number) + "\n";
    text.append("event: ").append(event).append("\ndata: ").append(data).append("\n\n");
  }

  Site& site_;
  std::optional<Position> from_;
  Position at_;
  std::uint64_t version_ = 0;
  bool is_readable_ = true;
  bool engine_runs_ = false;
  bool has_begun_ = false;
  Time::time_point said_{};
};

// "<ledger id>-<number>"; nothing when it is none.
std::optional<Position> parse_position(std::string_view text) {
  constexpr std::size_t kIdSize = 32;
  const std::size_t dash = text.rfind('-');
  if (dash != kIdSize) return std::nullopt;
  const auto number = engine::parse_whole_number(text.substr(dash + 1));
  if (!number || *number < 0) return std::nullopt;
  return Position{std::string(text.substr(0, dash)), *number};
}

}  // namespace

Response answer_changes(Site& site, const Request& request) {
  expect_only(request.target, {"after", "limit", "wait"});
  const auto after = number_parameter(request.target, "after", 0, kMostNumber);
  const auto most = static_cast<std::size_t>(limit_parameter(request.target));
  const auto wait = number_parameter(request.target, "wait", 0, kLongestWait).value_or(0);
  const auto view = site.live.view();
  if (!view)
    return problem(503, site.live.problem().value_or("The ledger was not read yet; ask again in a second") + ".");
  const bool is_head = request.method == Method::kHead;  // it has no body, so there is nothing to wait for
  if (request.header("accept").find("text/event-stream") != std::string_view::npos) {
    if (is_head) return {.headers = {{"Content-Type", "text/event-stream"}, {"Cache-Control", "no-store"}}};
    std::optional<Position> from = parse_position(request.header("last-event-id"));
    if (!from && after) from = Position{view->of.ledger_id, *after};
    return {.headers = {{"Content-Type", "text/event-stream"}, {"Cache-Control", "no-store"}},
            .stream = std::make_unique<EventStream>(site, std::move(from))};
  }
  if (!after) throw BadQuery("The parameter 'after' is missing: the number of the last change that is known, or 0");
  Response response{.headers = {{"Content-Type", "application/json"}, {"Cache-Control", "no-store"}}};
  // Here and not in the stream, whose thread serves all connections: old changes are read from the disk.
  const LiveChanges found = site.live.after(*after, most);
  if (wait == 0 || is_head || has_news(found)) {
    response.body = std::make_shared<const std::string>(changes_text(found));
  } else {
    response.stream = std::make_unique<LongPoll>(site, found, most, std::chrono::seconds(wait));
  }
  return response;
}

}  // namespace polaiga::web
