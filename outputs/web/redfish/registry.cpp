#include "redfish/registry.h"

#include <algorithm>
#include <map>
#include <set>
#include <vector>

#include "model/dictionary.h"
#include "redfish/errors.h"
#include "redfish/messages.h"
#include "redfish/objects.h"
#include "redfish/resource.h"
#include "report/json_text.h"
#include "report/shown.h"

namespace polaiga::web {

using nlohmann::json;
using nlohmann::ordered_json;

namespace {

// What the catalog says of a code, by all its filters.
struct Known {
  std::vector<std::string> names;
  std::vector<std::string> causes;
  std::vector<std::string> texts;  // of records that raise the fault
};

void add_once(std::vector<std::string>& list, std::string text) {
  if (!text.empty() && std::ranges::find(list, text) == list.end()) list.push_back(std::move(text));
}

std::string joined(const std::vector<std::string>& texts, std::string_view between) {
  std::string whole;
  for (const std::string& text : texts) whole.append(whole.empty() ? "" : between).append(text);
  return whole;
}

std::map<std::uint32_t, Known> read_catalog(std::string_view lines) {
  std::map<std::uint32_t, Known> all;
  while (!lines.empty()) {
    const std::size_t end = lines.find('\n');
    const json fault = json::parse(lines.substr(0, end));
    lines.remove_prefix(end == std::string_view::npos ? lines.size() : end + 1);
    Known& known = all[fault.at("code").get<std::uint32_t>()];
    add_once(known.names, fault.at("name").get<std::string>());
    add_once(known.causes, fault.at("cause").get<std::string>());
    for (const json& behaviour : fault.at("behaviours")) {
      for (const json& raise : behaviour.at("raised_by")) add_once(known.texts, raise.at("descr").get<std::string>());
    }
  }
  return all;
}

// The site's advice for a code, whichever the object is.
std::string advice_for(std::uint32_t code, const engine::AlarmProfile& profile) {
  std::vector<std::string> advice;
  for (const engine::ProfileEntry& entry : profile.entries()) {
    if (entry.code == code) add_once(advice, entry.advice);
  }
  return advice.empty() ? std::string(kGeneralResolution) : joined(advice, " ");
}

ordered_json message(std::string_view description, std::string_view text, std::string_view health, int args,
                     std::string_view resolution) {
  ordered_json form = {{"Description", description}, {"Message", text},      {"Severity", health},
                       {"MessageSeverity", health},  {"NumberOfArgs", args}, {"Resolution", resolution}};
  if (args > 0) form["ParamTypes"] = std::vector<std::string>(static_cast<std::size_t>(args), "string");
  return form;
}

// The message of this form says that what the other message told of the same object is over.
void clears(ordered_json& form, const std::string& other) {
  form["ClearingLogic"] = {{"ClearsMessage", {other}}, {"ClearsIf", "SameOriginOfCondition"}};
}

std::string file_uri() { return redfish_uri("/Registries/Polaiga"); }

}  // namespace

std::string message_registry(std::string_view catalog, const engine::AlarmProfile& profile) {
  std::map<std::uint32_t, Known> known = read_catalog(catalog);
  ordered_json messages;
  for (const engine::FaultEntry& fault : engine::fault_entries()) {
    Known& of = known[fault.code];
    add_once(of.names, fault.name);
    const std::string key = engine::code_text(fault.code);
    std::string description = joined(of.names, " or ");
    if (!of.causes.empty()) description += ", " + joined(of.causes, " or ");
    ordered_json raised =
        message(description, fault_text(fault.code), health_of(fault.severity), 2, advice_for(fault.code, profile));
    raised["ArgDescriptions"] = {"The DN of the object.", "The name of the fault."};
    if (!of.texts.empty()) raised["LongDescription"] = joined(of.texts, "; ");
    raised["Oem"]["Polaiga"] = {{"@odata.type", "#PolaigaMessageRegistry.v1_0_0.Fault"},
                                {"code", fault.code},
                                {"severity", engine::severity_word(fault.severity)}};
    ordered_json over = message("The end of " + key + ".", fault_over_text(fault.code), "OK", 2, "None.");
    over["ArgDescriptions"] = {"The DN of the object.", "How the fault ended: cleared, superseded or withdrawn."};
    clears(over, key);
    messages[key] = std::move(raised);
    messages[key + "Over"] = std::move(over);
  }
  for (const GeneralMessage& one : general_messages()) {
    messages[one.key] = message(one.text, one.text, one.health, one.args, one.resolution);
  }
  clears(messages["FaultOver"], "FaultRaised");
  clears(messages["FaultSettled"], "FaultChattering");
  const std::string id = std::string(kRegistryPrefix) + "." + std::string(kRegistryVersion);
  return engine::json_text({{"@odata.type", "#" + schemas::kRegistry.type()},
                            {"Id", id},
                            {"Name", "Faults and changes of alarms"},
                            {"Language", "en"},
                            {"Description", "What the events and the log entries of this service say"},
                            {"RegistryPrefix", kRegistryPrefix},
                            {"RegistryVersion", kRegistryVersion},
                            {"OwningEntity", "polaiga"},
                            {"Messages", std::move(messages)}}) +
         "\n";
}

engine::JsonObject Registry::files(const MemberRange& range) {
  return collection_of_links(redfish_uri("/Registries"), schemas::kRegistryFiles, "Message registries", range,
                             {file_uri()});
}

engine::JsonObject Registry::file() {
  const std::string uri = file_uri();
  engine::JsonObject location;
  location.add("Language", "en").add("Uri", uri + "/Polaiga.1.0.0.json");
  const std::string_view minor = kRegistryVersion.substr(0, kRegistryVersion.rfind('.'));
  return resource(uri, schemas::kRegistryFile, kRegistryPrefix, "Faults and changes of alarms")
      .add("Registry", std::string(kRegistryPrefix).append(1, '.').append(minor))
      .add("Languages", engine::JsonArray().add("en"))
      .add("Location", engine::JsonArray().add(location));
}

Body Registry::text(const std::shared_ptr<const engine::AlarmProfile>& profile) {
  const std::lock_guard lock(mutex_);
  if (text_ && profile_ == profile) return text_;
  try {
    if (faults_.empty()) faults_ = catalog_();
    text_ = std::make_shared<const std::string>(message_registry(faults_, *profile));
    profile_ = profile;
  } catch (const std::exception& error) {
    faults_.clear();
    throw Refusal(
        Reason::kUnavailable, {"60"}, {},
        std::string("The catalog of faults cannot be made: ") + error.what() +
            ". Ask again in a minute; when that does not help, see whether --program of this server names the "
            "installed program polaiga.");
  }
  return text_;
}

}  // namespace polaiga::web
