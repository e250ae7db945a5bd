#include "commands/selection_options.h"

#include <vector>

#include "commands/options.h"

namespace polaiga::engine {
namespace {

constexpr Severity kAskedFor[] = {Severity::kIndeterminate, Severity::kWarning, Severity::kMinor, Severity::kMajor,
                                  Severity::kCritical};

std::vector<std::string> severity_words() {
  std::vector<std::string> words;
  for (const Severity severity : kAskedFor) words.emplace_back(severity_word(severity));
  return words;
}

std::vector<std::string> entity_words() {
  std::vector<std::string> names;
  for (const Entity& entity : entities()) names.emplace_back(entity.name);
  return names;
}

}  // namespace

void add_under_option(CLI::App& command, Selection& selection) {
  add_value_option(command, {"--under", "DN", "Only this object or fault and all below it"},
                   {"a DN", "sys/rack-unit-1/psu-1"}, [&selection](const std::string& dn) {
                     selection.under = dn;
                     return dn.find_first_not_of('/') != std::string::npos && !dn.starts_with("--");
                   });
}

void add_selection_options(CLI::App& command, Selection& selection) {
  add_under_option(command, selection);
  add_choice_option(
      command, {"--severity", "WORD", "Only this severity and worse: indeterminate, warning, minor, major or critical"},
      severity_words(),
      [&selection](const std::string& word) { selection.least = find_severity(word).value_or(Severity::kCleared); });
}

void add_entity_option(CLI::App& command, Selection& selection) {
  add_choice_option(command, {"--entity", "NAME", "Only faults that events of this entity raised"}, entity_words(),
                    [&selection](const std::string& name) { selection.entity = find_entity(name); });
}

CLI::Option* add_age_option(CLI::App& command, const std::string& name, std::optional<Moment>& age,
                            const std::string& help) {
  return add_value_option(command, {name, "AGE", help}, {"a whole number with s, m, h or d", "2h"},
                          [&age](const std::string& text) {
                            age = parse_age(text);
                            return age.has_value();
                          });
}

void add_alarm_selection_options(CLI::App& command, AlarmSelection& selection) {
  add_selection_options(command, selection.selection);
  add_entity_option(command, selection.selection);
  add_age_option(command, "--older-than", selection.older_than, "Only faults raised at least this long ago");
  add_age_option(command, "--newer-than", selection.newer_than, "Only faults raised less than this long ago");
  std::vector<std::string> states;
  for (int state = 0; state <= static_cast<int>(OperatorState::kUnshelved); ++state) {
    states.emplace_back(operator_state_word(static_cast<OperatorState>(state)));
  }
  add_choice_option(
      command,
      {"--state", "WORD", "Only alarms in this operator state: none, acknowledged, closed, shelved or unshelved"},
      states, [&selection](const std::string& word) { selection.state = find_operator_state(word); });
  add_switch(command, "--unacknowledged", "Only alarms that nobody has acknowledged or closed",
             selection.unacknowledged);
  add_switch(command, "--shelved", "Only alarms that are silenced: shelved, or of objects out of service",
             selection.silenced);
  add_switch(command, "--all", "Include silenced alarms", selection.all);
}

}  // namespace polaiga::engine
