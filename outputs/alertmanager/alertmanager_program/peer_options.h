// Options that all programs have which tell Alertmanagers.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "delivery/access.h"
#include "delivery/address.h"

namespace CLI {
class App;
}

namespace polaiga::alertmanager {

// What is given as text, and read afterwards.
struct PeerTexts {
  std::vector<std::string> urls;
  std::string page;
  std::string resend = "1m";
};

void add_peer_options(CLI::App& program, PeerTexts& texts, AccessFiles& files);

// They throw CLI::ValidationError.
Address read_address(const char* option, const std::string& text, Query query);
std::string read_page_url(const PeerTexts& texts);  // "": none is given
std::chrono::seconds read_resend(const PeerTexts& texts);
void check_access(const AccessFiles& files);

}  // namespace polaiga::alertmanager
