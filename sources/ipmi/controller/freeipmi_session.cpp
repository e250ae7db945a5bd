#include "controller/freeipmi_session.h"

#include <freeipmi/freeipmi.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <new>

#include "base/printable.h"

namespace polaiga::ipmi {
namespace {

struct Workaround {
  std::string_view name;
  unsigned flag;
};
constexpr Workaround kWorkarounds[] = {
    {"authcap", IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_AUTHENTICATION_CAPABILITIES},
    {"intel20", IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_INTEL_2_0_SESSION},
    {"supermicro20", IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_SUPERMICRO_2_0_SESSION},
    {"sun20", IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_SUN_2_0_SESSION},
    {"opensesspriv", IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_OPEN_SESSION_PRIVILEGE},
    {"integritycheckvalue", IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_NON_EMPTY_INTEGRITY_CHECK_VALUE},
    {"nochecksumcheck", IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_NO_CHECKSUM_CHECK},
};

std::string list_of_workarounds() {
  std::string list;
  for (const auto& known : kWorkarounds) list += (list.empty() ? "" : ", ") + std::string(known.name);
  return list;
}

unsigned flags_of(const std::vector<std::string>& names) {
  unsigned flags = IPMI_WORKAROUND_FLAGS_DEFAULT;
  for (const auto& name : names) {
    const auto* found = std::find_if(std::begin(kWorkarounds), std::end(kWorkarounds),
                                     [&name](const Workaround& known) { return known.name == name; });
    if (found == std::end(kWorkarounds)) {
      throw ControllerRefuses("there is no workaround " + engine::in_quotes(name) + "; there are " +
                              list_of_workarounds());
    }
    flags |= found->flag;
  }
  return flags;
}

// What an error of the library means, and what to do.
struct Meaning {
  int error;
  bool is_refusal;
  std::string_view text;
};
constexpr Meaning kMeanings[] = {
    {IPMI_ERR_USERNAME_INVALID, true, "it has no such user; give the name of one that may use IPMI over the network"},
    {IPMI_ERR_PASSWORD_INVALID, true,
     "the password is not that of the user; mend it (where it is right, the controller may need --workaround "
     "opensesspriv)"},
    {IPMI_ERR_K_G_INVALID, true,
     "it wants a key of its own (K_g), or its key is not as the standard says; take the key away on the controller, or "
     "try --workaround opensesspriv"},
    {IPMI_ERR_PRIVILEGE_LEVEL_INSUFFICIENT, true, "the user may not do that; give it the privilege USER"},
    {IPMI_ERR_PRIVILEGE_LEVEL_CANNOT_BE_OBTAINED, true,
     "the user does not get the privilege USER; allow it for this user and this channel (where it is allowed, the "
     "controller may need --workaround opensesspriv)"},
    {IPMI_ERR_AUTHENTICATION_TYPE_UNAVAILABLE, true,
     "it offers no authentication for this user; allow the user IPMI over the network"},
    {IPMI_ERR_CIPHER_SUITE_ID_UNAVAILABLE, true,
     "it does not offer this cipher suite; try the other one (--cipher 3 or 17)"},
    {IPMI_ERR_PARAMETERS, true, "this is no target; give HOST, HOST:PORT or [ADDRESS]:PORT"},
    {IPMI_ERR_IPMI_2_0_UNAVAILABLE, true, "it has no IPMI 2.0, or its IPMI over the network is off; turn that on"},
    // Soon after the start of the machine the device may not have its group yet, and there is no user to lock out.
    {IPMI_ERR_PERMISSION, false, "this process may not open the device; run it as a user who may"},
    {IPMI_ERR_PASSWORD_VERIFICATION_TIMEOUT, false,
     "it stopped answering while the password was checked; see whether the password is right"},
    {IPMI_ERR_CONNECTION_TIMEOUT, false,
     "it does not answer; see whether it is on, and whether UDP reaches its port (623, unless the target names "
     "another)"},
    {IPMI_ERR_SESSION_TIMEOUT, false, "it does not answer any more"},
    {IPMI_ERR_MESSAGE_TIMEOUT, false, "it did not answer in time"},
    {IPMI_ERR_DRIVER_TIMEOUT, false, "it did not answer the driver in time"},
    {IPMI_ERR_BMC_BUSY, false, "it is busy"},
    {IPMI_ERR_DRIVER_BUSY, false, "the driver is busy"},
    {IPMI_ERR_HOSTNAME_INVALID, false, "its name has no address; see whether the name is right and can be resolved"},
    {IPMI_ERR_DEVICE_NOT_FOUND, false,
     "there is no such device; load the kernel's modules for it (modprobe -a ipmi_si ipmi_devintf)"},
};

// Errors that have another meaning while a session begins. A controller whose sessions are all in use may answer so
// that the library cannot tell it from a cipher suite that is not offered, so neither is a refusal: a session will end.
constexpr std::string_view kNoSession =
    "it begins no session; maybe all its sessions are in use, else try the other cipher suite (--cipher 3 or 17) or a "
    "workaround";
constexpr Meaning kMeaningsOverNetwork[] = {
    {IPMI_ERR_IPMI_ERROR, false, kNoSession},
    {IPMI_ERR_BAD_RMCPPLUS_STATUS_CODE, false, kNoSession},
};
constexpr Meaning kMeaningsInBand[] = {
    {IPMI_ERR_SYSTEM_ERROR, true, "this is no device of the kernel's IPMI driver; give one as /dev/ipmi0"},
};

[[noreturn]] void fail(const std::string& name, int error, std::span<const Meaning> special = {}) {
  const auto what = "controller " + name + ": ";
  for (const auto meanings : {special, std::span<const Meaning>(kMeanings)}) {
    for (const auto& meaning : meanings) {
      if (meaning.error != error) continue;
      if (meaning.is_refusal) throw ControllerRefuses(what + std::string(meaning.text));
      throw ControllerGone(what + std::string(meaning.text));
    }
  }
  throw ControllerGone(what + engine::printable(ipmi_ctx_strerror(error)));
}

}  // namespace

std::vector<std::string_view> workaround_names() {
  std::vector<std::string_view> names;
  for (const auto& known : kWorkarounds) names.push_back(known.name);
  return names;
}

struct FreeIpmiSession::Context {
  ipmi_ctx_t context = ipmi_ctx_create();

  Context() {
    if (context == nullptr) throw std::bad_alloc();
  }
  ~Context() {
    ipmi_ctx_close(context);
    ipmi_ctx_destroy(context);
  }
  Context(const Context&) = delete;
  Context& operator=(const Context&) = delete;
};

FreeIpmiSession::FreeIpmiSession(const NetworkAccess& access)
    : context_(std::make_unique<Context>()), name_(engine::printable(access.target)) {
  constexpr std::size_t kLongestUser = IPMI_MAX_USER_NAME_LENGTH;
  constexpr std::size_t kLongestPassword = IPMI_2_0_MAX_PASSWORD_LENGTH;
  if (access.user.size() > kLongestUser) {
    throw ControllerRefuses("the name of a user of IPMI has at most " + std::to_string(kLongestUser) + " bytes");
  }
  if (access.password.size() > kLongestPassword) {
    throw ControllerRefuses("a password of IPMI has at most " + std::to_string(kLongestPassword) +
                            " bytes, and the one that was given has " + std::to_string(access.password.size()));
  }
  if (access.cipher != 3 && access.cipher != 17) {
    throw ControllerRefuses("the cipher suite is 3 or 17, not " + std::to_string(access.cipher));
  }
  const auto* user = access.user.empty() ? nullptr : access.user.c_str();
  const auto* password = access.password.empty() ? nullptr : access.password.c_str();
  if (ipmi_ctx_open_outofband_2_0(context_->context, access.target.c_str(), user, password, nullptr, 0,
                                  IPMI_PRIVILEGE_LEVEL_USER, static_cast<std::uint8_t>(access.cipher),
                                  kMostMilliseconds + 1000 * access.pause, kSendAgainMilliseconds,
                                  flags_of(access.workarounds), IPMI_FLAGS_DEFAULT) < 0) {
    fail(name_, ipmi_ctx_errnum(context_->context), kMeaningsOverNetwork);
  }
}

FreeIpmiSession::FreeIpmiSession(const std::string& device)
    : context_(std::make_unique<Context>()), name_(engine::printable(device)) {
  constexpr bool kIsNotProbed = true;
  if (ipmi_ctx_open_inband(context_->context, IPMI_DEVICE_OPENIPMI, kIsNotProbed, 0, 0, device.c_str(),
                           IPMI_WORKAROUND_FLAGS_DEFAULT, IPMI_FLAGS_DEFAULT) < 0) {
    fail(name_, ipmi_ctx_errnum(context_->context), kMeaningsInBand);
  }
}

FreeIpmiSession::~FreeIpmiSession() = default;

Answer FreeIpmiSession::ask(NetFn function, std::uint8_t command, std::span<const std::uint8_t> data) {
  constexpr std::uint8_t kLun = 0;
  std::vector<std::uint8_t> request{command};
  request.insert(request.end(), data.begin(), data.end());
  std::array<std::uint8_t, 512> answer{};
  errno = 0;
  const int size = ipmi_cmd_raw(context_->context, kLun, static_cast<std::uint8_t>(function), request.data(),
                                static_cast<unsigned>(request.size()), answer.data(), answer.size());
  if (size < 0 && errno == EINTR) throw ControllerGone("controller " + name_ + ": a signal interrupted the request");
  if (size < 0) fail(name_, ipmi_ctx_errnum(context_->context));
  // The command again, the completion code, and the data.
  if (size < 2) throw ControllerGone("controller " + name_ + ": it answers without a completion code");
  return {.completion = answer[1], .data = {answer.begin() + 2, answer.begin() + size}};
}

}  // namespace polaiga::ipmi
