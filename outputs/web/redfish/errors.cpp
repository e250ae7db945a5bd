#include "redfish/errors.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <utility>

#include "http/answers.h"
#include "redfish/messages.h"
#include "redfish/resource.h"
#include "redfish/schemas.h"
#include "report/json_object.h"

namespace polaiga::web {

using engine::JsonArray;
using engine::JsonObject;

namespace {

constexpr const char* kCritical = "Critical";
constexpr const char* kWarning = "Warning";

// Ids, severities and arguments are those of the Base registry (DSP8011).
constexpr std::array<RefusalMessage, 25> kRefusals{{
    {Reason::kMissing, 404, "Base.1.18.ResourceMissingAtURI", kCritical, 1,
     "The resource at the URI '%1' was not found.", "Ask for a URI that another resource links to."},
    {Reason::kNotAllowed, 405, "Base.1.18.OperationNotAllowed", kCritical, 0,
     "The HTTP method is not allowed on this resource.", "Use one of the methods that the Allow header names."},
    {Reason::kNoSession, 401, "Base.1.18.NoValidSession", kCritical, 0,
     "There is no valid session established with the implementation.",
     "Create a session or send a name and a password, then ask again."},
    {Reason::kNoPrivilege, 403, "Base.1.18.InsufficientPrivilege", kCritical, 0,
     "There are insufficient privileges for the account or credentials associated with the current session to perform "
     "the requested operation.",
     "Ask with an account that has the role operator."},
    {Reason::kBadLogin, 401, "Base.1.18.ResourceAtUriUnauthorized", kCritical, 2,
     "While accessing the resource at '%1', the service received an authorization error '%2'.",
     "Send the name and the password of an account."},
    {Reason::kMalformed, 400, "Base.1.18.MalformedJSON", kCritical, 0,
     "The request body submitted was malformed JSON and could not be parsed by the receiving service.",
     "Send a JSON object of moderate size."},
    {Reason::kWrongMediaType, 415, "Base.1.18.GeneralError", kCritical, 0,
     "The body of the request is not sent as JSON.", "Send it with the header Content-Type: application/json."},
    {Reason::kPropertyUnknown, 400, "Base.1.18.PropertyUnknown", kWarning, 1,
     "The property '%1' is not in the list of valid properties for the resource.", "Leave the property out."},
    {Reason::kPropertyMissing, 400, "Base.1.18.PropertyMissing", kWarning, 1,
     "The property '%1' is a required property and must be included in the request.",
     "Send the property with a value."},
    {Reason::kPropertyType, 400, "Base.1.18.PropertyValueTypeError", kWarning, 2,
     "The value '%1' for the property '%2' is not a type that the property can accept.",
     "Send a value of the right type."},
    {Reason::kPropertyNotInList, 400, "Base.1.18.PropertyValueNotInList", kWarning, 2,
     "The value '%1' for the property '%2' is not in the list of acceptable values.",
     "Send a value that the property takes."},
    {Reason::kPropertyFormat, 400, "Base.1.18.PropertyValueFormatError", kWarning, 2,
     "The value '%1' for the property '%2' is not in a format that the property can accept.", "Correct the value."},
    {Reason::kPropertyTwice, 400, "Base.1.18.PropertyDuplicate", kWarning, 1,
     "The property '%1' was duplicated in the request.", "Send each property once."},
    {Reason::kQueryUnsupported, 501, "Base.1.18.QueryNotSupported", kWarning, 0,
     "Querying is not supported by the implementation.",
     "Leave out the query parameters that begin with $, but $top and $skip of collections; "
     "ProtocolFeaturesSupported of the service root tells what there is."},
    {Reason::kQueryNotHere, 400, "Base.1.18.QueryNotSupportedOnResource", kWarning, 0,
     "Querying is not supported on the requested resource.", "Use $top and $skip with collections."},
    {Reason::kQueryValue, 400, "Base.1.18.QueryParameterOutOfRange", kWarning, 3,
     "The value '%1' for the query parameter '%2' is out of range '%3'.", "Send a value in the range."},
    {Reason::kActionUnsupported, 404, "Base.1.18.ActionNotSupported", kCritical, 1,
     "The action '%1' is not supported by the resource.", "Use one of the actions that the resource lists."},
    {Reason::kServiceDisabled, 503, "Base.1.18.ServiceDisabled", kWarning, 1,
     "The operation failed because the service at '%1' is disabled and cannot accept requests.",
     "Ask whoever runs this server to set the service up."},
    {Reason::kTooManySubscriptions, 503, "Base.1.18.EventSubscriptionLimitExceeded", kCritical, 0,
     "The event subscription failed due to the number of simultaneous subscriptions exceeding the limit of the "
     "implementation.",
     "Delete a subscription that is not needed any more."},
    {Reason::kNoStorage, 507, "Base.1.18.InsufficientStorage", kCritical, 0,
     "Insufficient storage or memory is available to complete the request.",
     "Ask whoever runs this server to make room on its disk, then try again."},
    {Reason::kUnavailable, 503, "Base.1.18.ServiceTemporarilyUnavailable", kCritical, 1,
     "The service is temporarily unavailable. Retry in %1 seconds.", "Try again after that time."},
    {Reason::kInternal, 500, "Base.1.18.InternalError", kCritical, 0,
     "The request failed due to an internal service error. The service is still operational.",
     "Tell whoever runs this server; its log says more."},
    {Reason::kHeaderInvalid, 412, "Base.1.18.HeaderInvalid", kCritical, 1, "Header '%1' is invalid.",
     "Send the header OData-Version: 4.0, or none."},
    {Reason::kLogIsKept, 403, "Polaiga.1.0.LogIsKept", kLogIsKept.health, 0, kLogIsKept.text, kLogIsKept.resolution},
    {Reason::kOther, 400, "Base.1.18.GeneralError", kCritical, 0, "The request is refused.", "Correct the request."},
}};

constexpr bool are_in_order() {
  for (std::size_t i = 0; i < kRefusals.size(); ++i) {
    if (static_cast<std::size_t>(kRefusals.at(i).reason) != i) return false;
  }
  return true;
}
static_assert(are_in_order(), "a reason finds its message by its number");

std::string header_of(const Response& response, std::string_view name) {
  const auto found = std::ranges::find(response.headers, name, &std::pair<std::string, std::string>::first);
  return found == response.headers.end() ? std::string() : found->second;
}

void set_header(Response& response, const std::string& name, std::string value) {
  std::erase_if(response.headers, [&](const auto& header) { return header.first == name; });
  response.headers.emplace_back(name, std::move(value));
}

// How Redfish says what a status of HTTP says.
Refusal refusal_of(const Request& request, const Response& response, Reason unauthorized) {
  const std::string detail = detail_of(response);
  switch (response.status) {
    case 401:
      if (unauthorized == Reason::kBadLogin) {
        return Refusal(Reason::kBadLogin, {uri_of(request.target), std::string(reason_of(401))}, {}, detail);
      }
      return Refusal(Reason::kNoSession, {}, {}, detail);
    case 403:
      return Refusal(Reason::kNoPrivilege, {}, {}, detail);
    case 404:
      return Refusal(Reason::kMissing, {uri_of(request.target)}, {}, detail);
    case 429:
    case 503: {
      const std::string wait = header_of(response, "Retry-After");
      return Refusal(Reason::kUnavailable, {wait.empty() ? "5" : wait}, {}, detail);
    }
    default:
      return Refusal(response.status < 500 ? Reason::kOther : Reason::kInternal, {}, {}, detail);
  }
}

}  // namespace

std::span<const RefusalMessage> refusal_messages() { return kRefusals; }

const RefusalMessage& refusal_message(Reason reason) { return kRefusals.at(static_cast<std::size_t>(reason)); }

Refusal::Refusal(Reason why, std::vector<std::string> arguments, std::string about, std::string more)
    : std::runtime_error(with_arguments(refusal_message(why).text, arguments)),
      reason(why),
      args(std::move(arguments)),
      property(std::move(about)),
      detail(std::move(more)) {
  if (args.size() != refusal_message(why).args) throw std::logic_error(std::string(what()) + " has other arguments");
}

Response refusal_response(const Refusal& refusal) {
  const RefusalMessage& message = refusal_message(refusal.reason);
  const std::string text =
      refusal.detail.empty() ? std::string(refusal.what()) : std::string(refusal.what()) + " " + refusal.detail;
  JsonArray args;
  for (const std::string& arg : refusal.args) args.add(arg);
  JsonObject info;
  info.add("@odata.type", "#" + schemas::kMessage.type())
      .add("MessageId", message.id)
      .add("Message", text)
      .add("MessageArgs", args)
      .add("MessageSeverity", message.severity)
      .add("Resolution", message.resolution);
  if (!refusal.property.empty()) info.add("RelatedProperties", JsonArray().add(refusal.property));
  JsonObject error;
  error.add("code", message.id).add("message", text).add("@Message.ExtendedInfo", JsonArray().add(info));
  Response response{.status = message.status,
                    .headers = {{"Content-Type", "application/json"}, {"Cache-Control", "no-store"}},
                    .body = std::make_shared<const std::string>(JsonObject().add("error", error).line())};
  if (message.status == 401) response.headers.emplace_back("WWW-Authenticate", "Basic realm=\"polaiga\"");
  if (refusal.reason == Reason::kUnavailable) response.headers.emplace_back("Retry-After", refusal.args.front());
  return response;
}

Response in_redfish_form(const Request& request, Response response, Reason unauthorized) {
  if (response.status < 400) return response;
  Response made = refusal_response(refusal_of(request, response, unauthorized));
  made.status = response.status;
  for (auto& [name, value] : response.headers) {
    if (name != "Content-Type" && name != "ETag") set_header(made, name, std::move(value));  // those are of the body
  }
  return made;
}

}  // namespace polaiga::web
