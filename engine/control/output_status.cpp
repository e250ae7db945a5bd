#include "control/output_status.h"

#include <nlohmann/json.hpp>

#include "report/shown.h"

namespace polaiga::engine {
namespace {

using nlohmann::json;

std::optional<std::string> text(const json& object, const char* member) {
  const auto found = object.find(member);
  if (found == object.end() || !found->is_string()) return std::nullopt;
  return found->get<std::string>();
}

std::optional<std::uint64_t> count(const json& object, const char* member) {
  const auto found = object.find(member);
  if (found == object.end() || !found->is_number_unsigned()) return std::nullopt;
  const auto number = found->get<std::uint64_t>();
  if (number > std::uint64_t{INT64_MAX}) return std::nullopt;
  return number;
}

std::optional<Moment> moment(const json& object, const char* member) {
  const auto found = text(object, member);
  return found ? parse_moment(*found) : std::nullopt;
}

std::optional<OutputStatus> output_in(const json& object) {
  if (!object.is_object()) return std::nullopt;
  const auto publisher = text(object, "publisher");
  const auto through = count(object, "through");
  const auto behind = count(object, "behind");
  const auto updated = moment(object, "updated");
  if (!publisher || !through || !behind || !updated) return std::nullopt;
  OutputStatus output;
  output.publisher = *publisher;
  output.through = static_cast<ChangeNumber>(*through);
  output.behind = static_cast<std::int64_t>(*behind);
  output.updated = *updated;
  if (const auto silent = count(object, "silent_s")) output.silent = static_cast<std::int64_t>(*silent);
  output.peer = text(object, "peer");
  if (const auto connected = object.find("connected"); connected != object.end() && connected->is_boolean()) {
    output.connected = connected->get<bool>();
  }
  output.told = count(object, "told");
  output.lost = count(object, "lost");
  output.cut = count(object, "cut");
  output.last_success = moment(object, "last_success");
  output.last_error = text(object, "last_error");
  output.last_error_at = moment(object, "last_error_at");
  return output;
}

}  // namespace

std::optional<std::vector<OutputStatus>> outputs_in(std::string_view status) {
  const json told = json::parse(status, nullptr, false);
  if (!told.is_object()) return std::nullopt;
  const auto publishers = told.find("publishers");
  if (publishers == told.end() || !publishers->is_array()) return std::nullopt;
  std::vector<OutputStatus> outputs;
  for (const json& one : *publishers) {
    auto output = output_in(one);
    if (!output) return std::nullopt;
    outputs.push_back(std::move(*output));
  }
  return outputs;
}

std::optional<std::string> complaint_in(std::string_view answer) {
  const json told = json::parse(answer, nullptr, false);
  if (!told.is_object()) return std::nullopt;
  if (told == json{{"ok", true}}) return "";
  auto error = text(told, "error");
  if (!error || error->empty()) return std::nullopt;
  return error;
}

JsonObject output_form(const OutputStatus& output) {
  JsonObject form;
  form.add("publisher", output.publisher)
      .add("through", output.through)
      .add("behind", output.behind)
      .add("updated", format_moment(output.updated));
  if (output.silent) form.add("silent_s", *output.silent);
  if (output.peer) form.add("peer", *output.peer);
  if (output.connected) form.add("connected", *output.connected);
  if (output.told) form.add("told", *output.told);
  if (output.lost) form.add("lost", *output.lost);
  if (output.cut) form.add("cut", *output.cut);
  if (output.last_success) form.add("last_success", format_moment(*output.last_success));
  if (output.last_error) form.add("last_error", *output.last_error);
  if (output.last_error_at) form.add("last_error_at", format_moment(*output.last_error_at));
  return form;
}

std::string state_text(const OutputStatus& output) {
  if (!output.silent) return "not heard yet";
  if (*output.silent > kSilentAfter) return "not heard for " + duration_text(*output.silent);
  if (!output.connected) return "runs";
  return *output.connected ? "connected" : "not connected";
}

}  // namespace polaiga::engine
