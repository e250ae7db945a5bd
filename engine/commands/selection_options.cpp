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

void add_selection_options(CLI::App& command, Selection& selection) {
  command
      .add_option_function<std::string>(
          "--under",
          [&selection](const std::string& dn) {
            if (dn.find_first_not_of('/') == std::string::npos) {
              throw CLI::ValidationError("--under", "give a DN, as in sys/rack-unit-1/psu-1");
            }
            selection.under = dn;
          },
          "Only this object or fault and all below it")
      ->option_text("DN");
  command
      .add_option_function<std::string>(
          "--severity", [&selection](const std::string& word) { selection.least = severity_of_word(word); },
          "Only this severity and worse: indeterminate, warning, minor, major or critical")
      ->check(CLI::IsMember(severity_words()))
      ->option_text("WORD");
}

void add_entity_option(CLI::App& command, Selection& selection) {
  command
      .add_option_function<std::string>(
          "--entity", [&selection](const std::string& name) { selection.entity = find_entity(name); },
          "Only faults that events of this entity raised")
      ->check(CLI::IsMember(entity_words()))
      ->option_text("NAME");
}

}  // namespace polaiga::engine
