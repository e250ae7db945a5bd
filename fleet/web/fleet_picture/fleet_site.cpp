#include "fleet_picture/fleet_site.h"

#include "http/answers.h"
#include "model/moment.h"

namespace polaiga::web {

std::string database_problem_text(const fleet::Asking& asking) {
  try {
    throw;
  } catch (const fleet::DatabaseAway& error) {
    const auto away = asking.away();
    std::string text = error.what();
    if (text.ends_with('.')) text.pop_back();
    return text + (away ? " (since " + engine::format_moment(away->since) + ")." : std::string("."));
  } catch (const fleet::DatabaseRefuses& error) {
    return std::string(error.what()) + ".";
  } catch (const fleet::TooSlow& error) {
    return std::string(error.what()) + ".";
  }
}

Response database_problem(const fleet::Asking& asking) {
  Response response = problem(503, database_problem_text(asking));
  response.headers.emplace_back("Retry-After", "2");
  return response;
}

}  // namespace polaiga::web
