#include "commands/selection_options.h"

#include <CLI/CLI.hpp>
#include <vector>

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

void add_selection_options(CLI::App& command, Selection& selection) {
  command
      .add_option_function<std::string>(
          "--under",
          [&selection](const std::string& dn) {
            if (dn.find_first_not_of('/') == std::string::npos) {
              throw CLI::ValidationError("--under", "a DN is wanted, as in sys/rack-unit-1/psu-1");
            }
            selection.under = dn;
          },
          "Of this DN and all below it")
      ->option_text("DN");
  command
      .add_option_function<std::string>(
          "--severity",
          [&selection](const std::string& word) { selection.least = find_severity(word).value_or(Severity::kCleared); },
          "Of this severity and worse: indeterminate, warning, minor, major or critical")
      ->check(CLI::IsMember(severity_words()))
      ->option_text("WORD");
}

void add_entity_option(CLI::App& command, Selection& selection) {
  command
      .add_option_function<std::string>(
          "--entity", [&selection](const std::string& name) { selection.entity = find_entity(name); },
          "Of this entity, as in events")
      ->check(CLI::IsMember(entity_words()))
      ->option_text("NAME");
}

}  // namespace polaiga::engine
