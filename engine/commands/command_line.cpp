#include "commands/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/printable.h"
#include "commands/external_command.h"
#include "commands/options.h"

namespace polaiga::engine {
namespace {

using Names = std::vector<std::string>;

std::string listed(const Names& names) {
  std::string text;
  for (const std::string& name : names) text.append(text.empty() ? "" : ", ").append(name);
  return text;
}

// Those that the help tells of.
Names commands_of(const CLI::App& program) {
  Names names;
  for (const CLI::App* command : program.get_subcommands([](const CLI::App* one) { return !one->get_group().empty(); }))
    names.push_back(command->get_name());
  return names;
}

Names options_of(const CLI::App& command) {
  Names names;
  for (const CLI::Option* option : command.get_options()) {
    if (!option->get_positional()) names.push_back(option->get_name());
  }
  return names;
}

// As in "the commands are run, tail".
std::string commands_and_programs(const CLI::App& program) {
  std::string text = "the commands are " + listed(commands_of(program));
  if (const Names programs = external_commands(program); !programs.empty()) {
    text += ", and as programs of their own " + listed(programs);
  }
  return text;
}

// As in "polaiga explain FAULT_DN".
std::string usage_of(const CLI::App& command) {
  std::string text = "polaiga " + command.get_name();
  for (const CLI::Option* option : command.get_options()) {
    if (option->get_positional() && option->get_required()) text += " " + option->get_name(true);
  }
  return text;
}

std::string no_value(const std::string& name, const CLI::Option& option) {
  return name + " has no value; type " + name + " " + option.get_option_text() + ": " + option.get_description();
}

bool is_switch(const CLI::Option& option) { return option.get_expected_max() == 0; }

// The command among the arguments; null if there is none.
CLI::App* command_of(CLI::App& program, std::span<char* const> arguments) {
  for (const std::string_view argument : arguments.subspan(1)) {
    if (argument.starts_with('-')) continue;
    const auto found = program.get_subcommands([argument](const CLI::App* one) { return one->get_name() == argument; });
    return found.empty() ? nullptr : found.front();
  }
  return nullptr;
}

// Looks at --option=value, which the library that reads the arguments takes too lightly: of
// a switch it ignores the value, and in place of an empty value it takes the next argument.
std::optional<std::string> complaint_about_values(const CLI::App& command, std::span<char* const> arguments) {
  for (const std::string_view argument : arguments.subspan(1)) {
    if (argument == "--") break;
    const std::size_t sign = argument.find('=');
    if (!argument.starts_with("--") || sign == std::string_view::npos) continue;
    const std::string name(argument.substr(0, sign));
    const CLI::Option* const option = command.get_option_no_throw(name);
    if (option == nullptr) continue;
    if (is_switch(*option)) return name + " takes no value; type it alone";
    if (sign + 1 == argument.size()) return no_value(name, *option);
  }
  return std::nullopt;
}

std::string complaint_about_extra(const CLI::App& program, const CLI::App* command, const std::string& argument) {
  const bool is_option = argument.size() > 1 && argument.starts_with('-');
  if (command == nullptr) {
    if (is_option)
      return "there is no option " + in_quotes(argument) + "; give a command first: " + listed(commands_of(program));
    return "there is no command " + in_quotes(argument) + "; " + commands_and_programs(program);
  }
  if (is_option)
    return "there is no option " + in_quotes(argument) + "; the options are " + listed(options_of(*command));
  return in_quotes(argument) + " is one argument too many; type: " + usage_of(*command);
}

// What is left over, without the mark that ends the options.
Names extras_of(const CLI::App& app) {
  Names extras = app.remaining();
  std::erase(extras, "--");
  return extras;
}

std::optional<std::string> complaint_about_extras(const CLI::App& program, const CLI::App* command) {
  if (const Names extras = extras_of(program); !extras.empty()) {
    return complaint_about_extra(program, nullptr, extras.front());
  }
  if (command == nullptr) return std::nullopt;
  const Names extras = extras_of(*command);
  if (extras.empty()) return std::nullopt;
  return complaint_about_extra(program, command, extras.front());
}

// Options that are there too often, not at all or beside one that excludes them.
std::optional<std::string> complaint_about_counts(const CLI::App& command) {
  for (const CLI::Option* option : command.get_options()) {
    const std::string name = option->get_name();
    const bool is_single =
        option->get_items_expected_max() == 1 && option->get_multi_option_policy() != CLI::MultiOptionPolicy::TakeLast;
    if (option->count() > 1 && is_single) return name + " is given twice; give it once";
    for (const CLI::Option* other : option->get_excludes()) {
      if (option->count() > 0 && other->count() > 0) {
        return name + " and " + other->get_name() + " do not go together; leave one of them out";
      }
    }
  }
  for (const CLI::Option* option : command.get_options()) {
    if (option->get_required() && option->count() == 0) {
      return option->get_name() + " is missing; type: " + usage_of(command);
    }
  }
  return std::nullopt;
}

// Why the arguments could not be read.
std::string complaint_about(const CLI::App& program, const CLI::App* command, std::string_view last,
                            const CLI::ParseError& error) {
  if (const auto extra = complaint_about_extras(program, command)) return *extra;
  if (command == nullptr) return "a command is missing; " + commands_and_programs(program);
  if (const auto wrong = complaint_about_counts(*command)) return *wrong;
  const CLI::Option* const option = command->get_option_no_throw(std::string(last));
  if (option != nullptr && !is_switch(*option)) {
    return no_value(std::string(last), *option);
  }
  return error.what();
}

// A name in brackets would be read as a list of names. Written like this it names the same file.
std::string as_name(const CLI::App* command, std::string_view argument) {
  const bool takes_list = command != nullptr && std::ranges::any_of(command->get_options(), [](const CLI::Option* one) {
                            return one->get_positional() && one->get_allow_extra_args();
                          });
  return std::string(takes_list && argument.starts_with('[') ? "./" : "").append(argument);
}

[[noreturn]] void complain_of(const CLI::App* command, const std::string& what) {
  const std::string name = command == nullptr ? "polaiga" : "polaiga " + command->get_name();
  throw UsageError(name + ": " + what + "\nAll about it: " + name + " --help");
}

}  // namespace

void read_command_line(CLI::App& program, std::span<char* const> arguments) {
  const CLI::App* const command = command_of(program, arguments);
  // What nobody asked for is found here, and told in plain words.
  program.allow_extras();
  for (CLI::App* one : program.get_subcommands(std::function<bool(CLI::App*)>())) one->allow_extras();
  if (command != nullptr) {
    if (const auto wrong = complaint_about_values(*command, arguments)) complain_of(command, *wrong);
  }
  try {
    Names names;  // the last one first
    for (const std::string_view argument : arguments.subspan(1))
      names.insert(names.begin(), as_name(command, argument));
    program.parse(std::move(names));
  } catch (const CLI::Success&) {
    throw;
  } catch (const CLI::ParseError& error) {
    complain_of(command, complaint_about(program, command, arguments.back(), error));
  } catch (const UsageError& error) {
    complain_of(command, error.what());
  }
  if (const auto extra = complaint_about_extras(program, command)) complain_of(command, *extra);
}

}  // namespace polaiga::engine
