#include "commands/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "base/printable.h"

namespace polaiga::engine {
namespace {

std::string complaint_name(const std::string& names) { return names.substr(names.rfind(',') + 1); }

[[noreturn]] void reject(const std::string& name, const std::string& text, const Allowed& allowed) {
  const std::string what = text.empty() ? name + " is empty" : name + " is " + in_quotes(text);
  throw UsageError(what + "; give " + allowed.what + ", as in: " + name + " " + allowed.example);
}

std::string one_of(const std::vector<std::string>& choices) {
  std::string text = "one of ";
  for (std::size_t i = 0; i < choices.size(); ++i) {
    if (i > 0) text += i + 1 < choices.size() ? ", " : " or ";
    text += choices[i];
  }
  return text;
}

void check_name(const std::string& placeholder, const std::string& name) {
  if (name.empty()) throw UsageError(placeholder + " is empty; give a name");
}

}  // namespace

CLI::Option* add_value_option(CLI::App& command, const OptionWords& words, const Allowed& allowed,
                              const TakeValue& take) {
  const auto read = [name = complaint_name(words.names), allowed, take](const std::string& text) {
    if (!take(text)) reject(name, text, allowed);
  };
  return command.add_option_function<std::string>(words.names, read, words.help)->option_text(words.placeholder);
}

CLI::Option* add_number_option(CLI::App& command, const OptionWords& words, const NumberRange& range,
                               const std::function<void(std::int64_t)>& take) {
  const Allowed allowed{"a whole number from " + std::to_string(range.least) + " to " + std::to_string(range.most),
                        std::to_string(range.example)};
  return add_value_option(command, words, allowed, [range, take](const std::string& text) {
    const auto number = parse_whole_number(text);
    if (!number || *number < range.least || *number > range.most) return false;
    take(*number);
    return true;
  });
}

CLI::Option* add_choice_option(CLI::App& command, const OptionWords& words, const std::vector<std::string>& choices,
                               const std::function<void(const std::string&)>& take) {
  return add_value_option(command, words, {one_of(choices), choices.front()}, [choices, take](const std::string& text) {
    if (std::ranges::find(choices, text) == choices.end()) return false;
    take(text);
    return true;
  });
}

CLI::Option* add_name_option(CLI::App& command, const OptionWords& words, const std::string& example,
                             std::string& name) {
  const auto take = [&name, option = complaint_name(words.names)](const std::string& text) {
    if (text.starts_with("--")) {
      throw UsageError(option + " is followed by " + in_quotes(text) +
                       ", which is no name; a name that begins with -- is typed with ./ before it");
    }
    name = text;
    return !text.empty();
  };
  return add_value_option(command, words, {"a name", example}, take);
}

CLI::Option* add_name(CLI::App& command, const std::string& placeholder, std::string& name, const std::string& help) {
  return command.add_option(placeholder, name, help)->each([placeholder](const std::string& text) {
    check_name(placeholder, text);
  });
}

CLI::Option* add_names(CLI::App& command, const std::string& placeholder, std::vector<std::string>& names,
                       const std::string& help) {
  return command.add_option(placeholder, names, help)->each([placeholder](const std::string& text) {
    check_name(placeholder, text);
  });
}

CLI::Option* add_switch(CLI::App& command, const std::string& names, const std::string& help,
                        const std::function<void()>& take) {
  return command.add_flag_callback(names, take, help);
}

CLI::Option* add_switch(CLI::App& command, const std::string& names, const std::string& help, bool& on) {
  return add_switch(command, names, help, [&on] { on = true; });
}

}  // namespace polaiga::engine
