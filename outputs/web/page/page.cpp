#include "page/page.h"

#include <charconv>
#include <chrono>
#include <ctime>
#include <limits>
#include <optional>

#include "http/answers.h"
#include "page/compact.h"
#include "page/files.h"
#include "page/first_paint.h"
#include "page/frame.h"

namespace polaiga::web {
namespace {

constexpr std::int64_t kMostHistory = 20'000;  // alarms
constexpr std::string_view kFrame = "page.html";

std::string_view type_of(std::string_view name) {
  if (name.ends_with(".js")) return "text/javascript; charset=utf-8";
  if (name.ends_with(".css")) return "text/css; charset=utf-8";
  if (name.ends_with(".svg")) return "image/svg+xml";
  return "text/html; charset=utf-8";
}

// A page that says what is wrong has no ETag: whoever asks with one gets the whole page again.
Response html(const Request& request, int status, std::string text) {
  constexpr const char* kType = "text/html; charset=utf-8";
  auto body = std::make_shared<const std::string>(std::move(text));
  if (status == 200) return content(request, std::move(body), kType);
  return {.status = status,
          .headers = {{"Content-Type", kType}, {"Cache-Control", "no-store"}, {"Vary", "Accept"}},
          .body = std::move(body)};
}

// A number in an address; nothing when it is none.
std::optional<std::int64_t> positive_number(std::string_view text) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || number <= 0) return std::nullopt;
  return number;
}

}  // namespace

Page::Page(Site& site)
    : site_(site), begun_(std::to_string(std::chrono::system_clock::now().time_since_epoch().count())) {
  for (const EmbeddedFile& file : page_files()) {
    auto text = std::make_shared<const std::string>(file.content);
    const std::string etag = etag_of(*text);
    files_.emplace(file.name, File{std::move(text), etag, type_of(file.name)});
  }
}

Response Page::answer(const Request& request, const Caller& caller) {
  if (!is_question(request)) return not_allowed("GET, HEAD");
  const std::vector<std::string>& path = request.target.path;
  // The files tell nothing of the alarms, and the page that asks for a name and a password needs them.
  const bool is_of_page = path.size() == 2 && path[0] == "page";
  if (is_of_page && path[1] != kFrame && files_.contains(path[1])) return file(request, path[1]);
  if (path.size() == 1 && path[0] == "favicon.ico") return file(request, "icon.svg");
  if (!caller.may_see()) return problem(401, "Log in first.");
  if (is_of_page && path[1] == "active") return active_rows(request);
  if (is_of_page && path[1] == "history") return history_rows(request);
  return first_paint(request, caller);
}

Response Page::file(const Request& request, const std::string& name) const {
  const File& file = files_.at(name);
  return content(request, file.etag, file.type, [&] { return file.content; });
}

Response Page::active_rows(const Request& request) {
  const auto view = site_.live.view();
  if (!view) return problem(503, site_.live.problem().value_or("The ledger was not read yet") + ".");
  const bool is_readable = !site_.live.problem();
  const std::string etag =
      "\"" + begun_ + "-" + std::to_string(view->version) + (is_readable ? "" : "-unreadable") + "\"";
  const std::lock_guard lock(making_);
  if (active_.etag != etag) {
    active_ = {etag, std::make_shared<const std::string>(compact_active(view->of, is_readable))};
  }
  return content(request, etag, "application/json", [&] { return active_.content; });
}

Response Page::history_rows(const Request& request) {
  const auto view = site_.live.view();
  if (!view) return problem(503, site_.live.problem().value_or("The ledger was not read yet") + ".");
  const std::string etag = "\"" + begun_ + "-h" + std::to_string(view->version) + "\"";
  const std::lock_guard lock(making_history_);
  if (history_.etag != etag) {
    history_ = {etag, std::make_shared<const std::string>(site_.readers.ask([&](engine::LedgerReader& reader) {
                  return compact_history(reader.ledger_id(), reader.history("", kMostHistory),
                                         static_cast<std::size_t>(kMostHistory));
                }))};
  }
  return content(request, etag, "application/json", [&] { return history_.content; });
}

Response Page::first_paint(const Request& request, const Caller& caller) {
  const auto view = site_.live.view();
  const engine::Moment now = std::time(nullptr);
  const Frame frame(*files_.at(std::string(kFrame)).content, now);
  if (!view) {
    return html(
        request, 503,
        frame.problem("The ledger cannot be read", site_.live.problem().value_or("The ledger was not read yet") + "."));
  }
  const FirstPaint paint(frame, now);
  const std::vector<std::string>& path = request.target.path;
  const PaintOf of{view->of, caller, site_.engine.is_running(), !site_.live.problem()};
  if (path.size() == 1) {
    if (path[0].empty()) return html(request, 200, paint.alarms(of, request.target));
    if (path[0] == "missed") {
      return html(request, 200, paint.missed(of, site_.readers.ask([](engine::LedgerReader& reader) {
        return reader.missed(FirstPaint::kMostListed);
      })));
    }
    if (path[0] == "history") {
      const std::int64_t before = positive_number(request.target.find("before").value_or(""))
                                      .value_or(std::numeric_limits<std::int64_t>::max());
      return html(request, 200, paint.history(of, site_.readers.ask([&](engine::LedgerReader& reader) {
        return reader.history_before(static_cast<engine::ChangeNumber>(before), FirstPaint::kMostListed);
      })));
    }
    if (path[0] == "maintenance") return html(request, 200, paint.maintenance(of));
    if (const auto title = Frame::scripted_view(path[0])) return html(request, 200, paint.scripted(of, *title));
  }
  if (path.size() == 2 && path[0] == "alarm") {
    if (const auto number = positive_number(path[1])) {
      const auto alarm = site_.readers.ask(
          [&](engine::LedgerReader& reader) { return reader.alarm(static_cast<engine::ChangeNumber>(*number)); });
      if (alarm) return html(request, 200, paint.alarm(of, *alarm));
      return html(
          request, 404,
          frame.problem(
              "There is no such alarm",
              "The ledger has no alarm of this number. Perhaps it ended so long ago that it is no longer kept."));
    }
  }
  if (request.header("accept").find("text/html") == std::string_view::npos) {
    return problem(404, "There is nothing at this address.");
  }
  return html(request, 404, frame.problem("There is nothing at this address", "The alarms are at the address /."));
}

}  // namespace polaiga::web
