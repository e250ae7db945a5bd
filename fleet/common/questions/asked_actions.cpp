#include "questions/asked_actions.h"

#include <map>
#include <pqxx/result>

#include "questions/row_values.h"
#include "questions/statement.h"
#include "report/json_object.h"

namespace polaiga::fleet {
namespace {

constexpr Statement::Sql kActionColumns =
    "select a.action_no, s.name, c.name, a.request::text, a.person, extract(epoch from a.asked)::bigint, "
    "extract(epoch from a.expires)::bigint, extract(epoch from a.sent)::bigint, a.state, a.why, "
    "extract(epoch from a.ended)::bigint from ";
constexpr Statement::Sql kActionJoins =
    " a join controller c on c.controller_id = a.controller_id join site s on s.site_id = c.site_id";

std::vector<AskedAction> read_actions(const pqxx::result& rows) {
  std::vector<AskedAction> actions;
  for (const pqxx::row& row : rows) {
    actions.push_back({.number = row[0].as<std::int64_t>(),
                       .site = row[1].as<std::string>(),
                       .controller = row[2].as<std::string>(),
                       .request = row[3].as<std::string>(),
                       .person = row[4].as<std::string>(),
                       .asked = row[5].as<engine::Moment>(),
                       .expires = row[6].as<engine::Moment>(),
                       .sent = moment_or_nothing(row[7]),
                       .state = row[8].as<std::string>(),
                       .why = row[9].as<std::string>(),
                       .ended = moment_or_nothing(row[10])});
  }
  return actions;
}

// "{3,4}", as PostgreSQL reads an array of numbers.
std::string array_text(const std::vector<std::int64_t>& numbers) {
  std::string text;
  for (const std::int64_t number : numbers) text += (text.empty() ? "{" : ",") + std::to_string(number);
  return text + "}";
}

// The alarms of one controller's ledger.
struct Share {
  std::int64_t controller = 0;
  std::vector<std::int64_t> numbers;  // ascending
};

std::string numbers_text(const std::vector<std::int64_t>& numbers) {
  std::string text;
  std::int64_t before = 0;
  for (const std::int64_t number : numbers) {
    text += text.empty() ? std::to_string(number) : ",+" + std::to_string(number - before);
    before = number;
  }
  return text;
}

std::string request_text(const ActionWanted& wanted, const Share& share) {
  engine::JsonObject request;
  request.add("do", engine::action_word(wanted.kind)).add("alarms", numbers_text(share.numbers));
  if (wanted.is_selection) request.add("selection", true);
  if (!wanted.comment.empty()) request.add("comment", wanted.comment);
  if (wanted.lasts > 0) request.add("for", wanted.lasts);
  return request.text();
}

// Whether an alarm is one of the fleet itself: that of a silent controller.
bool is_own(const pqxx::row& row) { return row[3].is_null(); }

bool is_for_own(engine::ActionKind kind) {
  using engine::ActionKind;
  return kind == ActionKind::kAcknowledge || kind == ActionKind::kUnacknowledge || kind == ActionKind::kComment;
}

// Why the action is not for an alarm; empty: it is.
std::string why_not(const pqxx::row& row, engine::ActionKind kind) {
  const std::string name = "Alarm " + std::to_string(row[0].as<std::int64_t>());
  if (!row[4].as<std::string>().empty()) return name + " is over";
  if (is_own(row)) {
    if (is_for_own(kind)) return {};
    return name +
           " is one of the fleet itself: it is over when its controller is heard again, and can be acknowledged and "
           "commented only";
  }
  if (!row[5].as<bool>()) return name + " is of a ledger that its controller does not have any more";
  return {};
}

std::vector<AskedAction> ask_controllers(pqxx::transaction_base& transaction, const ActionWanted& wanted,
                                         const std::map<std::int64_t, Share>& shares) {
  if (shares.empty()) return {};
  Statement insert("with asked as (insert into action (controller_id, ledger_no, request, person, expires) values ");
  bool is_first = true;
  for (const auto& [ledger, share] : shares) {
    insert.add(is_first ? Statement::Sql("(") : ", (").value(share.controller).add(", ").value(ledger).add(", ");
    insert.value(request_text(wanted, share)).add(", ").value(wanted.person).add(", to_timestamp(");
    insert.value(wanted.expires).add("))");
    is_first = false;
  }
  insert.add(" returning *) ").add(kActionColumns).add("asked").add(kActionJoins).add(" order by a.action_no");
  return read_actions(insert.run(transaction));
}

std::vector<AskedAction> act_on_own(pqxx::transaction_base& transaction, const ActionWanted& wanted,
                                    const std::vector<std::int64_t>& alarms) {
  if (alarms.empty()) return {};
  Statement act("select n from act_on_own_alarms(");
  act.value(array_text(alarms)).add("::bigint[], ").value(std::string(engine::action_word(wanted.kind))).add(", ");
  act.value(wanted.comment).add(", ").value(wanted.person).add(", to_timestamp(");
  act.value(wanted.expires).add(")) n");
  std::vector<std::int64_t> numbers;
  for (const pqxx::row& row : act.run(transaction)) numbers.push_back(row[0].as<std::int64_t>());
  Statement done(kActionColumns);
  done.add("action").add(kActionJoins).condition("a.action_no = any(").value(array_text(numbers));
  done.add("::bigint[]) order by a.action_no");
  return read_actions(done.run(transaction));
}

}  // namespace

ActionsAsked ask_for(pqxx::transaction_base& transaction, const ActionWanted& wanted) {
  Statement found(
      "select a.alarm_no, a.controller_id, a.number, a.ledger_no, a.ended, a.ledger_no is not distinct from "
      "c.ledger_no "
      "from alarm a join controller c on c.controller_id = a.controller_id");
  if (wanted.group) {
    found.condition("a.group_no = ").value(*wanted.group).condition("a.ended = ''");
  } else {
    found.condition("a.alarm_no = any(").value(array_text(wanted.alarms)).add("::bigint[])");
  }
  found.add(" order by a.number limit ").value(kMostActedUpon + 1);
  const pqxx::result rows = found.run(transaction);
  if (rows.size() > kMostActedUpon) {
    throw NotAsked("These are more than " + std::to_string(kMostActedUpon) + " alarms; act on fewer at once");
  }
  if (wanted.group && rows.empty()) throw NotAsked("There is no such group, or none of its alarms is active any more");
  ActionsAsked asked;
  if (!wanted.group && rows.size() < wanted.alarms.size()) {
    if (!wanted.is_selection) throw NotAsked("Some of these alarms are not kept, or never were");
    asked.left_out = wanted.alarms.size() - rows.size();
  }
  std::map<std::int64_t, Share> shares;  // by their ledgers
  std::vector<std::int64_t> own;
  for (const pqxx::row& row : rows) {
    if (const std::string why = why_not(row, wanted.kind); !why.empty()) {
      if (!wanted.is_selection && !wanted.group) throw NotAsked(why);
      ++asked.left_out;
      continue;
    }
    if (is_own(row)) {
      own.push_back(row[0].as<std::int64_t>());
      continue;
    }
    Share& share = shares[row[3].as<std::int64_t>()];
    share.controller = row[1].as<std::int64_t>();
    share.numbers.push_back(row[2].as<std::int64_t>());
    ++asked.alarms;
  }
  asked.actions = ask_controllers(transaction, wanted, shares);
  const std::vector<AskedAction> done = act_on_own(transaction, wanted, own);
  asked.alarms += done.size();
  asked.left_out += own.size() - done.size();  // their controllers were heard just now
  asked.actions.insert(asked.actions.end(), done.begin(), done.end());
  if (asked.actions.empty()) throw NotAsked("None of these alarms takes this action, or takes one any more");
  if (done.size() < own.size() && !wanted.is_selection && !wanted.group) {
    throw NotAsked("One of these alarms is over since a moment ago: its controller was heard again");
  }
  return asked;
}

std::vector<AskedAction> read_asked(pqxx::transaction_base& transaction, const AskedWanted& wanted) {
  Statement statement(kActionColumns);
  statement.add("action").add(kActionJoins);
  if (wanted.number) statement.condition("a.action_no = ").value(*wanted.number);
  if (!wanted.site.empty()) statement.condition("s.name = ").value(wanted.site);
  if (!wanted.controller.empty()) statement.condition("c.name = ").value(wanted.controller);
  if (!wanted.state.empty()) statement.condition("a.state = ").value(wanted.state);
  if (wanted.before) statement.condition("a.action_no < ").value(*wanted.before);
  statement.add(" order by a.action_no desc limit ").value(wanted.limit);
  return read_actions(statement.run(transaction));
}

}  // namespace polaiga::fleet
