#include "database/database.h"

#include <libpq-fe.h>

#include <array>
#include <cstring>
#include <pqxx/except>
#include <pqxx/nontransaction>
#include <string_view>
#include <utility>

#include "base/printable.h"

namespace polaiga::fleet {
namespace {

constexpr std::size_t kMostOfStatement = 80;  // bytes of it that a message shows

// What is set when the URL does not say it. A server that is gone without a word is noticed within 20 s.
constexpr std::array<std::pair<const char*, const char*>, 6> kDefaults{{{"connect_timeout", "10"},
                                                                        {"keepalives_idle", "10"},
                                                                        {"keepalives_interval", "5"},
                                                                        {"keepalives_count", "2"},
                                                                        {"tcp_user_timeout", "20000"},
                                                                        {"client_encoding", "UTF8"}}};

// Run on each new connection. A statement is not ended by a time-out of the server, since that would also end the wait
// for the standby of a commit, which then counts as done. The server looks now and then whether we are still there.
constexpr const char* kPrepareSession =
    "set search_path = polaiga; set lock_timeout = '15s'; set idle_in_transaction_session_timeout = '60s'; "
    "set client_connection_check_interval = '2s'; set datestyle = 'ISO'; set timezone = 'UTC'; "
    "set client_min_messages = warning; "
    // What was acknowledged is never told again, so it must be on the disk, and on the standby if there is one.
    "select set_config('synchronous_commit', 'on', false) where current_setting('synchronous_commit') in "
    "('off', 'local')";

struct FreeOptions {
  void operator()(PQconninfoOption* options) const { PQconninfoFree(options); }
};
using Options = std::unique_ptr<PQconninfoOption, FreeOptions>;

Options parse_url(const std::string& url) {
  char* problem = nullptr;
  Options options(PQconninfoParse(url.c_str(), &problem));
  const std::string why = problem != nullptr ? problem : "there is no memory";
  PQfreemem(problem);
  // libpq's reason may quote the URL, and with it a password.
  if (!options && url.find('@') != std::string::npos) {
    throw std::invalid_argument("The database's URL is not one that libpq understands");
  }
  if (!options) throw std::invalid_argument("The database's URL is not one that libpq understands: " + why);
  return options;
}

void add_setting(std::string& settings, std::string_view name, std::string_view value) {
  settings.append(name).append("='");
  for (const char c : value) {
    if (c == '\'' || c == '\\') settings += '\\';
    settings += c;
  }
  settings += "' ";
}

std::string first_line(std::string_view text) { return std::string(text.substr(0, text.find('\n'))); }

bool begins_with_one_of(std::string_view text, std::initializer_list<std::string_view> beginnings) {
  for (const std::string_view beginning : beginnings) {
    if (text.starts_with(beginning)) return true;
  }
  return false;
}

// Whether a later attempt may go better, by the error's SQLSTATE.
bool is_for_a_while(std::string_view state) {
  return state.empty() || begins_with_one_of(state, {"08",     // of the connection
                                                     "25006",  // a standby writes nothing
                                                     "25P03",  // the session was idle for too long
                                                     "40",     // rolled back: a deadlock, or two at once
                                                     "53",     // no memory, disk or connections left
                                                     "55P03",  // a lock was not to be had in time
                                                     "55006",  // in use
                                                     "57"});   // ended by somebody, or starting, or shutting down
}

// libpqxx 6 leaves the SQLSTATE of a missing right out.
std::string state_of(const pqxx::sql_error& error) {
  if (dynamic_cast<const pqxx::insufficient_privilege*>(&error) != nullptr) return "42501";
  return error.sqlstate();
}

std::string what_to_do(std::string_view state) {
  if (state == "42501") {
    return "give the role that right; `polaiga-collector migrate` gives the roles polaiga_collector, polaiga_viewer "
           "and "
           "polaiga_operator what they need";
  }
  if (begins_with_one_of(state, {"42P01", "42703", "42883", "3F000"})) {
    return "the schema polaiga is older than this program, is not there, or may not be used by this role; run "
           "`polaiga-collector migrate`";
  }
  return {};
}

}  // namespace

Database::Database(const std::string& url, const std::string& application_name) {
  const Options options = parse_url(url);
  std::string hosts;
  std::string name;
  const auto is_set = [&options](const char* keyword) {
    for (const PQconninfoOption* one = options.get(); one->keyword != nullptr; ++one) {
      if (std::strcmp(one->keyword, keyword) == 0) return one->val != nullptr;
    }
    return false;
  };
  for (const PQconninfoOption* one = options.get(); one->keyword != nullptr; ++one) {
    if (one->val == nullptr) continue;
    const std::string_view keyword = one->keyword;
    if (keyword == "password") {
      throw std::invalid_argument(
          "The database's URL has a password, which others could read; put it into a file and name that with "
          "passfile=");
    }
    if (keyword == "host" || (keyword == "hostaddr" && hosts.empty())) hosts = one->val;
    if (keyword == "dbname") name = one->val;
    add_setting(settings_, keyword, one->val);
  }
  for (const auto& [keyword, value] : kDefaults) {
    if (!is_set(keyword)) add_setting(settings_, keyword, value);
  }
  if (!is_set("application_name")) add_setting(settings_, "application_name", application_name);
  place_ = "The database" + (name.empty() ? "" : " " + engine::in_quotes(name)) +
           (hosts.empty() ? "" : " on " + engine::in_quotes(hosts));
}

pqxx::connection& Database::connection() {
  if (connection_ && connection_->is_open()) return *connection_;
  connection_.reset();
  auto made = std::make_unique<pqxx::connection>(settings_);
  // A session that libpqxx makes anew by itself would not have what is set here.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
  made->inhibit_reactivation(true);
#pragma GCC diagnostic pop
  {
    const AnswerDeadline::Watch watch(deadline_, made->sock(), kAnswerWithin);
    pqxx::nontransaction(*made).exec(kPrepareSession);
  }
  connection_ = std::move(made);
  return *connection_;
}

void Database::translate() {
  const auto away = [this](std::string_view why) {
    connection_.reset();
    throw DatabaseAway(place_ + " is away: " + first_line(why));
  };
  if (connection_ && deadline_.is_over()) {
    connection_.reset();
    throw DatabaseSlow(place_ + " did not answer in time: it is away, or what was asked of it takes too long");
  }
  try {
    throw;  // cppcheck-suppress rethrowNoCurrentException
  } catch (const pqxx::broken_connection& lost) {
    away(lost.what());
  } catch (const pqxx::in_doubt_error& lost) {
    away(std::string("the connection was lost amid a commit, so the transaction may have been done: ") + lost.what());
  } catch (const pqxx::sql_error& error) {
    const std::string state = state_of(error);
    const std::string why = first_line(error.what());
    if (!connection_ || !connection_->is_open()) away(why);
    if (is_for_a_while(state)) away(why);
    const std::string role = connection_->username() != nullptr ? connection_->username() : "";
    const std::string advice = what_to_do(state);
    const std::string statement = engine::in_quotes(error.query().substr(0, kMostOfStatement));
    const std::string text = place_ + " refuses the role " + engine::in_quotes(role) + ": " + why + " (SQLSTATE " +
                             state + ", in the statement that begins with " + statement + ")" +
                             (advice.empty() ? "" : "; " + advice);
    // Violated constraints and data exceptions.
    if (state.starts_with("23")) throw RowConflicts(text);
    if (state.starts_with("22")) throw RowRefused(text);
    throw DatabaseRefuses(text);
  } catch (const pqxx::failure& failure) {
    // Such as a transaction that was rolled back.
    away(failure.what());
  }
  // It is not reached.
  // cppcheck-suppress rethrowNoCurrentException
  throw;
}

}  // namespace polaiga::fleet
