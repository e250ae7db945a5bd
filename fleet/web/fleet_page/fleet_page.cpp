#include "fleet_page/fleet_page.h"

#include <ctime>
#include <utility>

#include "base/quantities.h"
#include "fleet_page/files.h"
#include "fleet_page/grid.h"
#include "fleet_page/list_query.h"
#include "http/answers.h"
#include "questions/asked_actions.h"
#include "wire/names.h"

namespace polaiga::web {
namespace {

constexpr std::string_view kFrame = "fleet.html";
constexpr std::int64_t kSteps = 100;

std::string_view type_of(std::string_view name) {
  if (name.ends_with(".css")) return "text/css; charset=utf-8";
  if (name.ends_with(".js")) return "text/javascript; charset=utf-8";
  if (name.ends_with(".svg")) return "image/svg+xml";
  return "text/html; charset=utf-8";
}

Response html(const Request& request, int status, std::string text) {
  constexpr const char* kType = "text/html; charset=utf-8";
  auto body = std::make_shared<const std::string>(std::move(text));
  if (status == 200) {
    Response response = content(request, std::move(body), kType);
    response.headers.emplace_back("Vary", "Cookie, Authorization");
    return response;
  }
  return {
      .status = status, .headers = {{"Content-Type", kType}, {"Cache-Control", "no-store"}}, .body = std::move(body)};
}

// So that a view which did not change has the same ETag for a while; scripts tell the exact age.
engine::Moment this_minute() {
  constexpr engine::Moment kMinute = 60;
  return std::time(nullptr) / kMinute * kMinute;
}

std::optional<std::int64_t> positive_number(const std::string& text) {
  const auto number = engine::parse_whole_number(text);
  return number && *number > 0 ? number : std::nullopt;
}

}  // namespace

FleetPage::FleetPage(FleetSite& site) : site_(site) {
  for (const EmbeddedFile& file : fleet_page_files()) {
    auto text = std::make_shared<const std::string>(file.content);
    const std::string etag = etag_of(*text);
    files_.emplace(file.name, File{std::move(text), etag, type_of(file.name)});
  }
}

Response FleetPage::answer(const Request& request, const Caller& caller) {
  if (!is_question(request)) return not_allowed("GET, HEAD");
  const std::vector<std::string>& path = request.target.path;
  // The files tell nothing of the fleet, and the page that asks for a name and a password needs them.
  const bool is_of_page = path.size() == 2 && path[0] == "page";
  if (is_of_page && path[1] != kFrame && files_.contains(path[1])) return file(request, path[1]);
  if (path.size() == 1 && path[0] == "favicon.ico") return file(request, "icon.svg");
  if (!caller.may_see()) return problem(401, "Log in first.");
  if (is_of_page && path[1] == "grid") {
    try {
      return grid(request);
    } catch (const std::runtime_error&) {
      return database_problem(site_.asking);
    }
  }
  return view(request, caller);
}

Response FleetPage::file(const Request& request, const std::string& name) const {
  const File& file = files_.at(name);
  return content(request, file.etag, file.type, [&] { return file.content; });
}

Response FleetPage::grid(const Request& request) {
  const auto overview = site_.picture.now();
  const std::lock_guard lock(making_);
  if (made_of_ != overview) {
    made_of_ = overview;
    grid_ = std::make_shared<const std::string>(grid_text(*overview));
    grid_etag_ = etag_of(*grid_);
  }
  return content(request, grid_etag_, "application/json", [&] { return grid_; });
}

Response FleetPage::view(const Request& request, const Caller& caller) {
  const FleetPaint paint(*files_.at(std::string(kFrame)).content, this_minute(), caller);
  try {
    return drawn(request, paint);
  } catch (const std::runtime_error&) {
    const std::string detail = database_problem_text(site_.asking);
    return html(request, 503, paint.problem("The fleet's database cannot be asked", detail));
  }
}

Response FleetPage::drawn(const Request& request, const FleetPaint& paint) {
  const std::vector<std::string>& path = request.target.path;
  const bool is_of_fleet = path.size() == 1 && path[0].empty();
  const auto overview = site_.picture.now(is_of_fleet ? Picture::kFresh : Picture::kLately);
  const ListQuery query = read_list_query(request.target);
  const auto ask = [this](auto work) { return site_.asking.ask(work); };
  if (is_of_fleet) return html(request, 200, paint.fleet(*overview, query));
  if (path.size() == 1 && path[0] == "alarms") {
    const auto active = ask([&](pqxx::transaction_base& transaction) {
      return fleet::read_active(transaction, query.filter, query.order, FleetPaint::kMostListed, query.skip);
    });
    return html(request, 200, paint.alarms(*overview, query, active));
  }
  if (path.size() == 1 && path[0] == "history") {
    const auto alarms = ask([&](pqxx::transaction_base& transaction) {
      return fleet::read_history(transaction, {.site = query.filter.site,
                                               .controller = query.filter.controller,
                                               .fault_dn = {},
                                               .group = {},
                                               .before = query.before,
                                               .limit = FleetPaint::kMostListed});
    });
    return html(request, 200, paint.history(*overview, query, alarms));
  }
  if (path.size() == 1 && path[0] == "collectors") return html(request, 200, paint.collectors(*overview));
  if (path.size() == 1 && path[0] == "actions") {
    const auto actions = ask([&](pqxx::transaction_base& transaction) {
      return fleet::read_asked(transaction, {.number = {},
                                             .site = query.filter.site,
                                             .controller = query.filter.controller,
                                             .state = {},
                                             .before = query.before,
                                             .limit = FleetPaint::kMostListed});
    });
    return html(request, 200, paint.actions(*overview, actions));
  }
  if (path.size() == 3 && path[0] == "controller" && fleet::is_fleet_name(path[1]) && fleet::is_fleet_name(path[2])) {
    for (const fleet::ControllerRow& one : overview->controllers) {
      if (one.site != path[1] || one.name != path[2]) continue;
      return ask([&](pqxx::transaction_base& transaction) {
        const fleet::AlarmFilter filter{.site = one.site,
                                        .controller = one.name,
                                        .least = {},
                                        .state = {},
                                        .is_all = true,
                                        .text = {},
                                        .group = {}};
        const auto active =
            fleet::read_active(transaction, filter, fleet::AlarmOrder::kWorst, FleetPaint::kMostListed, 0);
        const auto history = fleet::read_history(
            transaction,
            {.site = one.site, .controller = one.name, .fault_dn = {}, .group = {}, .before = {}, .limit = kSteps});
        return html(request, 200, paint.controller(*overview, one, active, history));
      });
    }
  }
  if (path.size() == 2 && path[0] == "alarm") {
    if (const auto number = positive_number(path[1])) {
      const auto found = ask([&](pqxx::transaction_base& transaction) {
        std::pair<std::optional<fleet::AlarmRow>, std::vector<fleet::AlarmStep>> both;
        both.first = fleet::read_alarm(transaction, *number);
        if (both.first) both.second = fleet::read_steps(transaction, *both.first, kSteps);
        return both;
      });
      if (found.first) return html(request, 200, paint.alarm(*overview, *found.first, found.second));
    }
  }
  if (path.size() == 2 && path[0] == "group") {
    if (const auto number = positive_number(path[1])) {
      const auto found = ask([&](pqxx::transaction_base& transaction) {
        std::pair<std::vector<fleet::GroupRow>, std::vector<fleet::AlarmRow>> both;
        both.first = fleet::read_groups(transaction, {.site = {}, .number = number, .before = {}});
        both.second = fleet::read_history(transaction, {.site = {},
                                                        .controller = {},
                                                        .fault_dn = {},
                                                        .group = number,
                                                        .before = query.before,
                                                        .limit = FleetPaint::kMostListed});
        return both;
      });
      if (!found.first.empty()) {
        return html(request, 200, paint.group(*overview, query, found.first.front(), found.second));
      }
    }
  }
  if (request.header("accept").find("text/html") == std::string_view::npos) {
    return problem(404, "There is nothing at this address.");
  }
  return html(request, 404,
              paint.problem("There is nothing at this address",
                            "Perhaps it is a controller that is not known, or an alarm that is not kept any more. The "
                            "fleet is at the address /."));
}

}  // namespace polaiga::web
