#include "live/readers.h"

namespace polaiga::web {

std::unique_ptr<engine::LedgerReader> Readers::take() {
  {
    const std::lock_guard lock(mutex_);
    while (!free_.empty()) {
      auto reader = std::move(free_.back());
      free_.pop_back();
      if (!reader->is_replaced()) return reader;
    }
  }
  return std::make_unique<engine::LedgerReader>(path_);
}

void Readers::give_back(std::unique_ptr<engine::LedgerReader> reader) {
  const std::lock_guard lock(mutex_);
  free_.push_back(std::move(reader));
}

}  // namespace polaiga::web
