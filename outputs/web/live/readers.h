// Connections to the ledger, for questions that the view has no answer to.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "ledger/reader.h"

namespace polaiga::web {

class Readers {
 public:
  explicit Readers(std::string path) : path_(std::move(path)) {}

  // Calls `question` with a reader that nobody else uses meanwhile. A reader that fails is not used again, since the
  // ledger may have been replaced. Throws LedgerError.
  template <class Question>
  auto ask(Question question) {
    std::unique_ptr<engine::LedgerReader> reader = take();
    auto answer = question(*reader);
    give_back(std::move(reader));
    return answer;
  }

 private:
  std::unique_ptr<engine::LedgerReader> take();
  void give_back(std::unique_ptr<engine::LedgerReader> reader);

  std::string path_;
  std::mutex mutex_;
  std::vector<std::unique_ptr<engine::LedgerReader>> free_;
};

}  // namespace polaiga::web
