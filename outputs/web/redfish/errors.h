// Errors as Redfish tells them (DSP0266): a body with messages of a message registry.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "http/message.h"

namespace polaiga::web {

// A message that tells why a request is refused. "%1" in its text is the first argument, and so on.
struct RefusalMessage {
  int status;
  const char* id;  // "Base..." is of the registry that Redfish has for all services, "Polaiga..." is of our own
  const char* text;
  const char* resolution;
};

namespace refusals {

extern const RefusalMessage kMissing;               // the URI
extern const RefusalMessage kNotAllowed;            // none; the method
extern const RefusalMessage kNoSession;             // none
extern const RefusalMessage kNoPrivilege;           // none
extern const RefusalMessage kBadLogin;              // none
extern const RefusalMessage kMalformed;             // none
extern const RefusalMessage kWrongMediaType;        // none
extern const RefusalMessage kPropertyUnknown;       // the property
extern const RefusalMessage kPropertyMissing;       // the property
extern const RefusalMessage kPropertyType;          // the value, the property
extern const RefusalMessage kPropertyNotInList;     // the value, the property
extern const RefusalMessage kPropertyFormat;        // the value, the property
extern const RefusalMessage kPropertyTwice;         // the property
extern const RefusalMessage kQueryUnsupported;      // none
extern const RefusalMessage kQueryNotHere;          // none
extern const RefusalMessage kQueryValue;            // the value, the parameter, what is allowed
extern const RefusalMessage kActionUnsupported;     // the action
extern const RefusalMessage kServiceDisabled;       // the URI
extern const RefusalMessage kTooManySubscriptions;  // none
extern const RefusalMessage kUnavailable;           // seconds
extern const RefusalMessage kInternal;              // none
extern const RefusalMessage kWrongODataVersion;     // the version
extern const RefusalMessage kLogIsKept;             // none

}  // namespace refusals

// Says why a request is refused.
class Refusal : public std::runtime_error {
 public:
  // `property` is the JSON pointer of what is wrong; `detail`, a sentence that is said beside the message.
  explicit Refusal(const RefusalMessage& message, std::vector<std::string> args = {}, std::string property = {},
                   std::string detail = {});

  RefusalMessage message;
  std::vector<std::string> args;
  std::string property;
  std::string detail;
};

// The response that tells of it.
Response refusal_response(const Refusal& refusal);

// The same error as a response of another part has, such as one of the gate, but in Redfish's form. Its headers stay.
Response in_redfish_form(Response response);

// Puts the arguments into the text of a message.
std::string with_arguments(std::string_view text, const std::vector<std::string>& args);

}  // namespace polaiga::web
