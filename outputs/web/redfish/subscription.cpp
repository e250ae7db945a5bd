#include "redfish/subscription.h"

#include <curl/curl.h>

#include <algorithm>
#include <array>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "http/letters.h"
#include "redfish/errors.h"
#include "redfish/messages.h"
#include "redfish/request_body.h"

namespace polaiga::web {

using nlohmann::json;

namespace {

constexpr std::array<std::string_view, 4> kPolicies{"TerminateAfterRetries", "SuspendRetries", "RetryForever",
                                                    "RetryForeverWithBackoff"};

std::string text_in(const json& value, const std::string& property) {
  if (!value.is_string()) throw Refusal(Reason::kPropertyType, {brief(value), property}, "#/" + property);
  std::string text = value.get<std::string>();
  if (text.size() > Subscription::kMostText ||
      std::ranges::any_of(text, [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; })) {
    throw Refusal(Reason::kPropertyFormat, {brief(value), property}, "#/" + property,
                  "It may have 1024 bytes and no control characters.");
  }
  return text;
}

void expect_in(const std::string& text, const std::string& property, std::initializer_list<std::string_view> list) {
  if (std::ranges::find(list, text) != list.end()) return;
  throw Refusal(Reason::kPropertyNotInList, {brief(text), property}, "#/" + property);
}

std::vector<std::string> texts_in(const json& value, const std::string& property) {
  if (!value.is_array() || value.size() > Subscription::kMostItems) {
    throw Refusal(Reason::kPropertyType, {brief(value), property}, "#/" + property,
                  "It is a list of at most 32 texts.");
  }
  std::vector<std::string> texts;
  for (const json& one : value) texts.push_back(text_in(one, property));
  return texts;
}

bool is_token(std::string_view name) {
  constexpr std::string_view kMarks = "!#$%&'*+-.^_`|~";
  return !name.empty() && std::ranges::all_of(name, [&](char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
           kMarks.find(c) != std::string_view::npos;
  });
}

// Headers that say how the request itself is sent are not the client's to choose.
bool may_be_sent(const std::string& name) {
  constexpr std::array<std::string_view, 10> kOurs{
      "connection", "content-length",    "content-type", "content-encoding", "expect",
      "host",       "transfer-encoding", "te",           "upgrade",          "odata-version"};
  return is_token(name) && std::ranges::find(kOurs, small_letters(name)) == kOurs.end();
}

std::vector<std::pair<std::string, std::string>> headers_in(const json& value) {
  const std::string property = "HttpHeaders";
  const auto refuse = [&](Reason reason) {
    // The value may be a secret.
    return Refusal(
        reason, {"...", property}, "#/" + property,
        "It is a list of objects with the names and values of headers, at most 32, without those that say how "
        "the request itself is sent.");
  };
  std::vector<std::pair<std::string, std::string>> headers;
  if (!value.is_array()) throw refuse(Reason::kPropertyType);
  for (const json& object : value) {
    if (!object.is_object()) throw refuse(Reason::kPropertyType);
    for (const auto& [name, one] : object.items()) {
      if (!one.is_string()) throw refuse(Reason::kPropertyType);
      const std::string text = one.get<std::string>();
      const bool is_plain = std::ranges::all_of(text, [](char c) { return c >= ' ' && c <= '~'; });
      if (!may_be_sent(name) || !is_plain || text.size() > Subscription::kMostText ||
          headers.size() == Subscription::kMostItems) {
        throw refuse(Reason::kPropertyFormat);
      }
      headers.emplace_back(name, text);
    }
  }
  return headers;
}

std::optional<std::string> url_part(CURLU* url, CURLUPart part) {
  char* found = nullptr;
  if (curl_url_get(url, part, &found, 0) != CURLUE_OK) return std::nullopt;
  std::string text = found;
  curl_free(found);
  return text;
}

std::string destination_in(const json& value) {
  std::string text = text_in(value, "Destination");
  if (destination_host(text)) return text;
  throw Refusal(Reason::kPropertyFormat, {brief(value), "Destination"}, "#/Destination",
                "It is an address that begins with http:// or https:// and has no name and password in it.");
}

}  // namespace

std::string_view policy_word(RetryPolicy policy) { return kPolicies.at(static_cast<std::size_t>(policy)); }

bool Subscription::wants(const EventRecord& event) const {
  const auto has = [](const std::vector<std::string>& list, std::string_view text) {
    return list.empty() || std::ranges::find(list, text) != list.end();
  };
  // A client may name a message with or without the version of its registry.
  const std::string& id_of = event.message_id;
  const std::string prefix = id_of.substr(0, id_of.find('.'));
  const std::string key = id_of.substr(id_of.rfind('.') + 1);
  return has(registry_prefixes, prefix) && has(severities, event.health) &&
         (has(message_ids, id_of) || has(message_ids, prefix + "." + key));
}

std::optional<std::string> destination_host(const std::string& text) {
  if (!std::ranges::all_of(text, [](char c) { return c > ' ' && c <= '~'; })) return std::nullopt;
  if (!text.starts_with("http://") && !text.starts_with("https://")) return std::nullopt;
  const std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> url(curl_url(), &curl_url_cleanup);
  if (curl_url_set(url.get(), CURLUPART_URL, text.c_str(), CURLU_DISALLOW_USER) != CURLUE_OK) return std::nullopt;
  if (url_part(url.get(), CURLUPART_FRAGMENT)) return std::nullopt;
  return url_part(url.get(), CURLUPART_HOST);
}

Subscription parse_subscription(std::string_view body) {
  const json asked = parse_body(body);
  Subscription made;
  for (const auto& [name, value] : asked.items()) {
    if (name == "Destination") {
      made.destination = destination_in(value);
    } else if (name == "Protocol") {
      expect_in(text_in(value, name), name, {"Redfish"});
    } else if (name == "Context") {
      if (!value.is_null()) made.context = text_in(value, name);
    } else if (name == "HttpHeaders") {
      if (!value.is_null()) made.headers = headers_in(value);
    } else if (name == "RegistryPrefixes") {
      made.registry_prefixes = texts_in(value, name);
      for (const std::string& one : made.registry_prefixes) expect_in(one, name, {kRegistryPrefix});
    } else if (name == "MessageIds") {
      made.message_ids = texts_in(value, name);
    } else if (name == "Severities") {
      made.severities = texts_in(value, name);
      for (const std::string& one : made.severities) expect_in(one, name, {"OK", "Warning", "Critical"});
    } else if (name == "EventTypes") {
      // All our events are alerts, so a list without that would never be served.
      const std::vector<std::string> types = texts_in(value, name);
      if (!types.empty() && std::ranges::find(types, "Alert") == types.end()) expect_in(types.front(), name, {"Alert"});
    } else if (name == "EventFormatType") {
      expect_in(text_in(value, name), name, {"Event"});
    } else if (name == "SubscriptionType") {
      expect_in(text_in(value, name), name, {"RedfishEvent"});
    } else if (name == "DeliveryRetryPolicy") {
      const auto* const found = std::ranges::find(kPolicies, text_in(value, name));
      if (found == kPolicies.end()) throw Refusal(Reason::kPropertyNotInList, {brief(value), name}, "#/" + name);
      made.policy = static_cast<RetryPolicy>(found - kPolicies.begin());
    } else if (name == "VerifyCertificate") {
      if (!value.is_boolean()) throw Refusal(Reason::kPropertyType, {brief(value), name}, "#/" + name);
      made.verifies_certificate = value.get<bool>();
    } else {
      throw Refusal(Reason::kPropertyUnknown, {brief(name)}, {});
    }
  }
  for (const char* const name : {"Destination", "Protocol"}) {
    if (!asked.contains(name)) throw Refusal(Reason::kPropertyMissing, {name}, std::string("#/") + name);
  }
  return made;
}

json stored_form(const Subscription& of) {
  json headers = json::array();
  for (const auto& [name, value] : of.headers) headers.push_back({{"name", name}, {"value", value}});
  return {{"id", of.id},
          {"destination", of.destination},
          {"context", of.context},
          {"headers", std::move(headers)},
          {"registry_prefixes", of.registry_prefixes},
          {"message_ids", of.message_ids},
          {"severities", of.severities},
          {"policy", policy_word(of.policy)},
          {"verifies_certificate", of.verifies_certificate},
          {"ledger_id", of.cursor.ledger_id},
          {"number", of.cursor.number},
          {"suspended", of.is_suspended}};
}

Subscription read_stored(const json& form) {
  Subscription read;
  form.at("id").get_to(read.id);
  form.at("destination").get_to(read.destination);
  form.at("context").get_to(read.context);
  for (const json& header : form.at("headers")) {
    read.headers.emplace_back(header.at("name").get<std::string>(), header.at("value").get<std::string>());
  }
  form.at("registry_prefixes").get_to(read.registry_prefixes);
  form.at("message_ids").get_to(read.message_ids);
  form.at("severities").get_to(read.severities);
  const auto* const policy = std::ranges::find(kPolicies, form.at("policy").get<std::string>());
  if (policy == kPolicies.end() || !destination_host(read.destination)) {
    throw std::runtime_error("the subscription " + read.id + " is not right");
  }
  read.policy = static_cast<RetryPolicy>(policy - kPolicies.begin());
  form.at("verifies_certificate").get_to(read.verifies_certificate);
  form.at("ledger_id").get_to(read.cursor.ledger_id);
  form.at("number").get_to(read.cursor.number);
  form.at("suspended").get_to(read.is_suspended);
  return read;
}

}  // namespace polaiga::web
