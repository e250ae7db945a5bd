#include "redfish/errors.h"

#include <nlohmann/json.hpp>
#include <utility>

#include "http/answers.h"
#include "report/json_object.h"

namespace polaiga::web {

using engine::JsonArray;
using engine::JsonObject;

namespace refusals {

const RefusalMessage kMissing{404, "Base.1.18.ResourceMissingAtURI", "There is no resource at the URI '%1'.",
                              "Ask for a URI that another resource links to."};
const RefusalMessage kNotAllowed{405, "Base.1.18.OperationNotAllowed", "This resource does not take this HTTP method.",
                                 "Use one of the methods that the Allow header names."};
const RefusalMessage kNoSession{401, "Base.1.18.NoValidSession", "The request has no valid session.",
                                "Create a session or send a name and a password, then ask again."};
const RefusalMessage kNoPrivilege{403, "Base.1.18.InsufficientPrivilege",
                                  "The account may not do what the request asks for.",
                                  "Ask with an account that has the role operator."};
const RefusalMessage kBadLogin{401, "Base.1.18.ResourceAtUriUnauthorized", "The name and the password do not fit.",
                               "Send the name and the password of an account."};
const RefusalMessage kMalformed{400, "Base.1.18.MalformedJSON", "The body of the request is not a JSON object.",
                                "Send a JSON object of moderate size."};
const RefusalMessage kWrongMediaType{415, "Base.1.18.GeneralError", "The body of the request is not sent as JSON.",
                                     "Send it with the header Content-Type: application/json."};
const RefusalMessage kPropertyUnknown{400, "Base.1.18.PropertyUnknown", "The property %1 is none that can be set here.",
                                      "Leave the property out."};
const RefusalMessage kPropertyMissing{400, "Base.1.18.PropertyMissing", "The property %1 is missing.",
                                      "Send the property with a value."};
const RefusalMessage kPropertyType{400, "Base.1.18.PropertyValueTypeError",
                                   "The value '%1' of the property %2 is of another type than the property takes.",
                                   "Send a value of the right type."};
const RefusalMessage kPropertyNotInList{400, "Base.1.18.PropertyValueNotInList",
                                        "The value '%1' of the property %2 is none that the property takes.",
                                        "Send a value that the property takes."};
const RefusalMessage kPropertyFormat{400, "Base.1.18.PropertyValueFormatError",
                                     "The value '%1' of the property %2 is not written as the property takes it.",
                                     "Correct the value."};
const RefusalMessage kPropertyTwice{400, "Base.1.18.PropertyDuplicate", "The property %1 is there twice.",
                                    "Send each property once."};
const RefusalMessage kQueryUnsupported{501, "Base.1.18.QueryNotSupported",
                                       "The service does not have this query parameter.",
                                       "Ask without it; ProtocolFeaturesSupported of the service root tells what "
                                       "there is."};
const RefusalMessage kQueryNotHere{400, "Base.1.18.QueryNotSupportedOnResource",
                                   "This resource does not take the query parameters $top and $skip.",
                                   "Use them with collections."};
const RefusalMessage kQueryValue{400, "Base.1.18.QueryParameterOutOfRange",
                                 "The value '%1' of the query parameter %2 is not in the range %3.",
                                 "Send a value in the range."};
const RefusalMessage kActionUnsupported{404, "Base.1.18.ActionNotSupported",
                                        "The resource does not have the action %1.",
                                        "Use one of the actions that the resource lists."};
const RefusalMessage kServiceDisabled{503, "Base.1.18.ServiceDisabled",
                                      "The service at %1 is disabled and takes no requests.",
                                      "Ask whoever runs this server to set the service up."};
const RefusalMessage kTooManySubscriptions{503, "Base.1.18.EventSubscriptionLimitExceeded",
                                           "There are as many subscriptions as the service can have.",
                                           "Delete a subscription that is not needed any more."};
const RefusalMessage kUnavailable{503, "Base.1.18.ServiceTemporarilyUnavailable",
                                  "The service cannot answer at the moment. Try again in %1 seconds.",
                                  "Try again later."};
const RefusalMessage kInternal{500, "Base.1.18.InternalError", "The request failed because of a fault of the service.",
                               "Tell whoever runs this server."};
const RefusalMessage kWrongODataVersion{412, "Base.1.18.HeaderInvalid",
                                        "The service does not speak the OData version '%1' of the header.",
                                        "Send the header OData-Version: 4.0, or none."};
const RefusalMessage kLogIsKept{
    403, "Polaiga.1.0.LogIsKept",
    "The log cannot be cleared: it is the record of what happened, and nobody may erase it.",
    "Entries leave the log by themselves when they are as old as the site has set. "
    "Acknowledge or shelve alarms that need no attention."};

}  // namespace refusals

Refusal::Refusal(const RefusalMessage& of, std::vector<std::string> arguments, std::string about, std::string more)
    : std::runtime_error(with_arguments(of.text, arguments)),
      message(of),
      args(std::move(arguments)),
      property(std::move(about)),
      detail(std::move(more)) {}

std::string with_arguments(std::string_view text, const std::vector<std::string>& args) {
  std::string filled;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const std::size_t number = text[i] == '%' && i + 1 < text.size() ? static_cast<std::size_t>(text[i + 1] - '0') : 0;
    if (number >= 1 && number <= args.size()) {
      filled += args[number - 1];
      ++i;
    } else {
      filled += text[i];
    }
  }
  return filled;
}

Response refusal_response(const Refusal& refusal) {
  const std::string text =
      refusal.detail.empty() ? std::string(refusal.what()) : std::string(refusal.what()) + " " + refusal.detail;
  JsonArray args;
  for (const std::string& arg : refusal.args) args.add(arg);
  JsonObject info;
  info.add("@odata.type", "#Message.v1_1_1.Message")
      .add("MessageId", refusal.message.id)
      .add("Message", text)
      .add("MessageArgs", args)
      .add("MessageSeverity", "Critical")
      .add("Resolution", refusal.message.resolution);
  if (!refusal.property.empty()) info.add("RelatedProperties", JsonArray().add(refusal.property));
  JsonObject error;
  error.add("code", refusal.message.id).add("message", text).add("@Message.ExtendedInfo", JsonArray().add(info));
  Response response{.status = refusal.message.status,
                    .headers = {{"Content-Type", "application/json"}, {"Cache-Control", "no-store"}},
                    .body = std::make_shared<const std::string>(JsonObject().add("error", error).line())};
  if (refusal.message.status == 401) response.headers.emplace_back("WWW-Authenticate", "Basic realm=\"Redfish\"");
  if (refusal.message.status == 503) response.headers.emplace_back("Retry-After", "5");
  return response;
}

Response in_redfish_form(Response response) {
  if (response.status < 400) return response;
  RefusalMessage message = refusals::kInternal;
  if (response.status == 401) {
    message = refusals::kBadLogin;
  } else if (response.status == 429 || response.status == 503) {
    message = {0, "Base.1.18.GeneralError", "There are too many requests of this kind at the moment.",
               "Try again after the time that the Retry-After header names."};
  } else if (response.status < 500) {
    message = {0, "Base.1.18.GeneralError", "The request is refused.", "Correct the request."};
  }
  message.status = response.status;
  std::string detail;
  if (response.body) {
    const auto problem = nlohmann::json::parse(*response.body, nullptr, false);
    if (problem.is_object()) detail = problem.value("detail", "");
  }
  Response made = refusal_response(Refusal(message, {}, {}, detail));
  for (auto& header : response.headers) {
    const auto is_same = [&](const auto& other) { return other.first == header.first; };
    const bool is_of_body = header.first == "Content-Type" || header.first == "ETag";
    if (is_of_body) continue;
    std::erase_if(made.headers, is_same);
    made.headers.push_back(std::move(header));
  }
  return made;
}

}  // namespace polaiga::web
