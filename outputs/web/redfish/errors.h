// Errors as Redfish tells them (DSP0266): a body with messages of a message registry.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "http/message.h"

namespace polaiga::web {

// Why a request is refused. Behind each stand the arguments of its message.
enum class Reason : std::uint8_t {
  kMissing,               // the URI
  kNotAllowed,            // none; it is the method
  kNoSession,             // none
  kNoPrivilege,           // none
  kBadLogin,              // the URI, what is wrong
  kMalformed,             // none
  kWrongMediaType,        // none
  kPropertyUnknown,       // the property
  kPropertyMissing,       // the property
  kPropertyType,          // the value, the property
  kPropertyNotInList,     // the value, the property
  kPropertyFormat,        // the value, the property
  kPropertyTwice,         // the property
  kQueryUnsupported,      // none
  kQueryNotHere,          // none
  kQueryValue,            // the value, the parameter, what is allowed
  kActionUnsupported,     // the action
  kServiceDisabled,       // the URI
  kTooManySubscriptions,  // none
  kNoStorage,             // none
  kUnavailable,           // seconds
  kInternal,              // none
  kHeaderInvalid,         // the header
  kLogIsKept,             // none
  kOther,                 // none; what has no message of its own
};

// The message that tells a reason. "%1" in its text is the first argument, and so on.
struct RefusalMessage {
  Reason reason;
  int status;
  const char* id;        // "Base..." is of the registry that Redfish has for all services, "Polaiga..." is of our own
  const char* severity;  // as the registry has it
  std::size_t args;
  const char* text;
  const char* resolution;
};

// In the order of the reasons.
std::span<const RefusalMessage> refusal_messages();
const RefusalMessage& refusal_message(Reason reason);

// Says why a request is refused.
class Refusal : public std::runtime_error {
 public:
  // There must be as many arguments as the message has. `about` is the JSON pointer of what is wrong; `more`, a
  // sentence that is said beside the message.
  explicit Refusal(Reason why, std::vector<std::string> arguments = {}, std::string about = {}, std::string more = {});

  Reason reason;
  std::vector<std::string> args;
  std::string property;
  std::string detail;
};

// The response that tells of it.
Response refusal_response(const Refusal& refusal);

// The same refusal as a response of another part has, such as one of the gate, but in Redfish's form. Its status and
// its headers stay. 401 is told as `unauthorized`: kNoSession, or kBadLogin where somebody logs in.
Response in_redfish_form(const Request& request, Response response, Reason unauthorized = Reason::kNoSession);

}  // namespace polaiga::web
