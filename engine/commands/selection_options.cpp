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

Severity severity_of_word(std::string_view word) {
  for (const Severity severity : kAskedFor) {
    if (severity_word(severity) == word) return severity;
  }
  return Severity::kCleared;
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
      severity_words(), [&selection](const std::string& word) { selection.least = severity_of_word(word); });
}

void add_entity_option(CLI::App& command, Selection& selection) {
  add_choice_option(command, {"--entity", "NAME", "Only faults that events of this entity raised"}, entity_words(),
                    [&selection](const std::string& name) { selection.entity = find_entity(name); });
}

void add_age_option(CLI::App& command, const std::string& name, std::optional<Moment>& age, const std::string& help) {
  static constexpr Unit kUnits[] = {{"s", 1}, {"m", 60}, {"h", 3'600}, {"d", 86'400}};
  add_value_option(command, {name, "AGE", help}, {"a whole number with s, m, h or d", "2h"},
                   [&age](const std::string& text) {
                     age = parse_quantity(text, kUnits);
                     return age && *age <= kLastMoment;
                   });
}

}  // namespace polaiga::engine
