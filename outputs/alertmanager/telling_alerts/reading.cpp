#include "telling_alerts/reading.h"

#include "ledger/columns.h"

namespace polaiga::alertmanager {

using engine::Priority;

void Reading::attempt(const std::string& peer, const std::function<void()>& work) {
  try {
    work();
  } catch (const engine::LedgerError& error) {
    note(peer, error.what());
    return;
  }
  if (is_told_) tell_(Priority::kNotice, peer + ": the ledger can be read again for it");
  trouble_.clear();
  is_told_ = false;
}

void Reading::note(const std::string& peer, const std::string& trouble) {
  if (trouble_ != trouble) {
    trouble_ = trouble;
    since_ = clock_.steady();
    is_told_ = false;
  }
  if (is_told_ || clock_.steady() - since_ < kPatience) return;
  is_told_ = true;
  tell_(Priority::kWarning,
        peer + ": what it is to be told cannot be read: " + trouble + "; it is tried again until it can be read");
}

}  // namespace polaiga::alertmanager
