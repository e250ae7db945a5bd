#include "control/action_request.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "base/printable.h"
#include "control/control_client.h"
#include "report/json_text.h"

namespace polaiga::engine {
namespace {

std::string text_member(std::string_view name, std::string_view value) {
  std::string text = R"(,")" + std::string(name) + R"(":)";
  add_json_text(text, value);
  return text;
}

// Numbers that follow one another closely take little space when each counts from the one before.
std::string numbers_text(std::vector<ChangeNumber> numbers) {
  std::ranges::sort(numbers);
  std::string text;
  ChangeNumber before = 0;
  for (const ChangeNumber number : numbers) {
    text += text.empty() ? std::to_string(number) : ",+" + std::to_string(number - before);
    before = number;
  }
  return text;
}

}  // namespace

ActionRequestLine::ActionRequestLine(ActionKind kind, const ActionText& text)
    : members_(R"({"do":")" + std::string(action_word(kind)) + '"') {
  if (!text.comment.empty()) members_ += text_member("comment", text.comment);
  if (!text.id.empty()) members_ += text_member("id", text.id);
  if (!text.on_behalf_of.empty()) members_ += text_member("on_behalf_of", text.on_behalf_of);
}

ActionRequestLine& ActionRequestLine::about(std::vector<ChangeNumber> alarms, const std::string& ledger_id) {
  members_ += text_member("alarms", numbers_text(std::move(alarms))) + text_member("ledger_id", ledger_id);
  return *this;
}

ActionRequestLine& ActionRequestLine::about(const std::string& dn) {
  members_ += text_member("dn", dn);
  return *this;
}

ActionRequestLine& ActionRequestLine::lasting(const SilenceEnd& ending) {
  members_ +=
      ending.lasts ? ",\"for\":" + std::to_string(*ending.lasts) : text_member("until", format_moment(*ending.until));
  return *this;
}

std::string ActionRequestLine::line() const { return members_ + "}\n"; }

ActionRequestLine& ActionRequestLine::selected() {
  members_ += ",\"selection\":true";
  return *this;
}

ActionRequestLine& ActionRequestLine::through(ChangeNumber change) {
  members_ += ",\"through\":" + std::to_string(change);
  return *this;
}

ActionDone ActionRequestLine::send(const std::string& control) const {
  const std::string answer = ControlClient(control).ask(line());
  const auto told = nlohmann::json::parse(answer, nullptr, false);
  if (told.is_object() && told.contains("error") && told["error"].is_string()) {
    throw std::runtime_error(printable(told["error"].get<std::string>()));
  }
  if (!told.is_object() || !told.contains("seq")) {
    throw std::runtime_error(printable(control) + ": the engine's answer is not understood: " + in_quotes(answer));
  }
  const auto changes = told.find("changes");
  return {.is_new = !told.contains("duplicate"),
          .changes = changes != told.end() && changes->is_number_unsigned() ? changes->get<std::int64_t>() : 0};
}

}  // namespace polaiga::engine
