#include "commands/action_options.h"

#include <CLI/CLI.hpp>

#include "commands/options.h"
#include "commands/selection_options.h"
#include "control/control_client.h"

namespace polaiga::engine {

void add_control_option(CLI::App& command, std::string& control) {
  control = kControlSocket;
  add_name_option(command,
                  {"--control", "PATH", "Control socket of the engine (default POLAIGA_CONTROL, or " + control + ")"},
                  "control.sock", control)
      ->envname("POLAIGA_CONTROL");
}

void add_action_text_options(CLI::App& command, bool wants_comment, ActionText& text) {
  CLI::Option* const comment = add_value_option(
      command, {"--comment", "TEXT", "Why, in a line of at most " + std::to_string(kMostCommentBytes) + " bytes"},
      {"a line of text of at most " + std::to_string(kMostCommentBytes) + " bytes", "\"spare part ordered\""},
      [&text](const std::string& given) {
        text.comment = given;
        return !given.empty() && given.size() <= kMostCommentBytes;
      });
  if (wants_comment) comment->required();
  add_name_option(command, {"--id", "TEXT", "A name for this action: what comes again under it is done once"},
                  "ticket-4711-1", text.id);
  add_name_option(command, {"--on-behalf-of", "PERSON", "Who acts; for programs that the engine trusts"}, "anna",
                  text.on_behalf_of);
}

void add_ending_options(CLI::App& command, SilenceEnd& ending) {
  CLI::Option* const lasts = add_value_option(
      command, {"--for", "SPAN", "How long, as in 2h; at most 30d"},
      {"a time from 1s to 30d, with s, m, h or d behind the number", "2h"}, [&ending](const std::string& text) {
        ending.lasts = parse_age(text);
        return ending.lasts && *ending.lasts > 0 && *ending.lasts <= kMostSilence;
      });
  add_value_option(command, {"--until", "TIME", "Until when: RFC 3339"}, {"an RFC 3339 time", "2025-03-12T09:12:20Z"},
                   [&ending](const std::string& text) {
                     ending.until = parse_moment(text);
                     return ending.until.has_value();
                   })
      ->excludes(lasts);
}

void must_end(const SilenceEnd& ending) {
  if (!ending.lasts && !ending.until) throw UsageError("Say how long, with --for, or until when, with --until");
}

}  // namespace polaiga::engine
