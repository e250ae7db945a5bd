// Whose alarms they are: what the ledger itself does not know.
#pragma once

#include <string>

namespace polaiga::alertmanager {

struct Identity {
  std::string controller;  // the server
  std::string site;        // "": nobody named one
  std::string page_url;    // of the page that shows this ledger, without a slash at its end; "": there is none
};

// Why a text may not be the name of a site or of a controller; "": it may.
std::string why_no_name(const std::string& text);

}  // namespace polaiga::alertmanager
