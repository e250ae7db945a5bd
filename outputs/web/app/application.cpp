#include "app/application.h"

#include "access/guarded_stream.h"
#include "http/answers.h"
#include "ledger/ledger.h"

namespace polaiga::web {

Response Application::answer(const Request& request) {
  auto part = parts_.find(request.target.path.front());
  if (part == parts_.end()) part = parts_.find("");
  const auto refuse = [&](Response response) {
    return part == parts_.end() ? std::move(response) : part->second->refused(request, std::move(response));
  };
  if (auto refusal = hosts_.refuse(request)) return refuse(std::move(*refusal));
  auto admitted = gate_.admit(request);
  if (auto* const response = std::get_if<Response>(&admitted)) return refuse(std::move(*response));
  if (part == parts_.end()) return problem(404, "There is nothing at this address.");
  try {
    const Caller& caller = std::get<Caller>(admitted);
    Response response = part->second->answer(request, caller);
    if (response.stream) {
      response.stream = std::make_unique<GuardedStream>(std::move(response.stream), gate_, caller);
    }
    return response;
  } catch (const engine::LedgerError& error) {
    return problem(503, std::string(error.what()) + ". Is the engine running, and may this server read its ledger?");
  }
}

}  // namespace polaiga::web
