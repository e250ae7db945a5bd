#include "commands/worker_command.h"

#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "base/descriptor.h"
#include "compare/worker.h"
#include "filter/host_tables.h"
#include "filter/services.h"
#include "model/entities.h"

namespace polaiga::engine {
namespace {

struct WorkerOptions {
  std::string library;
  int error_fd = -1;
  std::int32_t platform = 0;
  std::string tables;
};

bool same_file(const char* path, const char* other) {
  struct stat status = {};
  struct stat other_status = {};
  return ::stat(path, &status) == 0 && ::stat(other, &other_status) == 0 && status.st_dev == other_status.st_dev &&
         status.st_ino == other_status.st_ino;
}

// The loader may have found another one; a comparison would then prove nothing.
void check_loaded(const std::string& library) {
  void* const filter = ::dlsym(RTLD_NEXT, "process_fan_fault");
  Dl_info from = {};
  if (filter == nullptr || ::dladdr(filter, &from) == 0) throw std::runtime_error("no filters were loaded");
  if (!same_file(from.dli_fname, library.c_str())) {
    throw std::runtime_error(std::string(from.dli_fname) + " was loaded in its place");
  }
}

bool read_batch(std::vector<Question>& batch) {
  std::uint32_t count = 0;
  if (!read_all(STDIN_FILENO, &count, sizeof count)) return false;
  batch.resize(count);
  return read_all(STDIN_FILENO, batch.data(), batch.size() * sizeof(Question));
}

void ask_filter(const Question& question, LibraryAnswer& answer) {
  answer.event = question.event;
  fe_fault_record* record = &answer.record;
  answer.result = entities()[question.entity].filter(&answer.event, &record);
}

void write_answer(const LibraryAnswer& answer, StandardOutput& output) {
  output.write({reinterpret_cast<const char*>(&answer), sizeof answer});
  output.flush();  // a next one may be the last
}

Status work(const WorkerOptions& options, StandardOutput& output) {
  check_loaded(options.library);
  load_host_tables(tables_directory(options.tables));
  LibraryAnswer answer;
  const auto withdraw = [&answer](const std::string& fault_dn) {
    std::copy_n(fault_dn.c_str(), std::min(fault_dn.size() + 1, sizeof answer.withdrawn), answer.withdrawn);
  };
  provide_services(withdraw, options.platform, Log::kOff);
  StandardOutput::divert(Others::kDiscarded);
  ::dup2(options.error_fd, STDERR_FILENO);
  output.write({&kReady, 1});
  output.flush();
  for (std::vector<Question> batch; read_batch(batch);) {
    for (const Question& question : batch) {
      answer = {};
      ask_filter(question, answer);
      write_answer(answer, output);
    }
  }
  return kDone;
}

}  // namespace

Command worker_command(CLI::App& program) {
  const auto options = std::make_shared<WorkerOptions>();
  CLI::App* const app = program.add_subcommand(kWorkerCommand)->group("");
  app->add_option("ERROR", options->error_fd)->required();
  app->add_option("LIBRARY", options->library)->required();
  add_platform_option(*app, options->platform);
  add_tables_option(*app, options->tables);
  return {app, [options](StandardOutput& output) { return work(*options, output); }};
}

}  // namespace polaiga::engine
