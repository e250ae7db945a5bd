#include "ledger/views.h"

#include <string_view>

#include "model/change.h"
#include "model/dictionary.h"

namespace polaiga::engine {
namespace {

// The word of a number in a column. `last` is the last value that has a word.
template <class Value>
std::string word(const std::string& column, Value last, std::string_view (*word_of)(Value value)) {
  std::string text = "CASE " + column;
  for (int number = 0; number <= static_cast<int>(last); ++number) {
    const std::string_view name = word_of(static_cast<Value>(number));
    text.append(" WHEN ").append(std::to_string(number)).append(" THEN '").append(name).append("'");
  }
  return text + " END";
}

std::string change_in(const std::string& column) { return word(column, ChangeKind::kSettled, change_word); }
std::string outcome_in(const std::string& column) { return word(column, Outcome::kNotTracked, outcome_word); }
std::string severity_in(const std::string& column) { return word(column, Severity::kCritical, severity_word); }

constexpr const char* kWithForm = " JOIN event ON event.seq = fault.raised_seq JOIN form ON form.seq = event.form";

}  // namespace

std::string views() {
  return "CREATE VIEW inputs AS SELECT event.seq, event.id, event.received, event.time, subject.entity, "
         "subject.sensor, subject.instance, event.\"offset\", event.\"state\", " +
         outcome_in("event.outcome") +
         " AS change, action.person, action.comment FROM event LEFT JOIN subject ON subject.seq = event.subject "
         "LEFT JOIN action ON action.seq = event.seq;\n"
         "CREATE VIEW records AS SELECT event.seq, " +
         outcome_in("event.outcome") +
         " AS change, form.fault_dn, form.dn, form.code, form.clear_code, form.name, form.descr, form.cause, "
         "form.cause_id, form.clear_cause, form.clear_cause_id, form.disposition, form.fault_key, event.created_time "
         "FROM event JOIN form ON form.seq = event.form;\n"
         "CREATE VIEW changes AS SELECT change.number, change.seq, " +
         change_in("change.kind") +
         " AS change, coalesce(form.fault_dn, action.dn) AS fault_dn, change.fault, change.alarm, " +
         severity_in("change.before") + " AS before, " + severity_in("change.after") +
         " AS after, change.other, change.shown AS shown_seq, change.reporters, action.person, action.comment "
         "FROM change LEFT JOIN action ON action.seq = change.seq LEFT JOIN fault ON fault.number = change.fault "
         "LEFT JOIN event ON event.seq = fault.raised_seq LEFT JOIN form ON form.seq = event.form;\n"
         "CREATE VIEW faults AS SELECT fault.number, form.fault_dn, form.dn, form.code, form.name, " +
         severity_in("fault.severity") +
         " AS severity, fault.alarm, fault.raised_seq, fault.ended, "
         "(SELECT " +
         change_in("kind") + " FROM change WHERE change.number = fault.ended) AS ending FROM fault" + kWithForm +
         ";\n"
         "CREATE VIEW alarms AS SELECT alarm.number, form.dn, form.fault_dn, alarm.created, " +
         severity_in("alarm.severity") + " AS severity, " + severity_in("alarm.worst") +
         " AS worst, alarm.merged_into, alarm.related, "
         "alarm.merged IS NULL AND fault.ended IS NULL AS is_active FROM alarm JOIN fault ON fault.number = "
         "alarm.fault" +
         kWithForm + ";\n";
}

}  // namespace polaiga::engine
