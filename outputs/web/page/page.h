// The page: its files, the alarms as its scripts read them, and the same as plain HTML for whoever has no scripts.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "app/part.h"
#include "app/site.h"

namespace polaiga::web {

class Page final : public Part {
 public:
  explicit Page(Site& site);

  Response answer(const Request& request, const Caller& caller) override;

 private:
  struct File {
    Body content;
    std::string etag;
    std::string_view type;
  };

  Response file(const Request& request, const std::string& name) const;
  Response active_rows(const Request& request);
  Response history_rows(const Request& request);
  Response first_paint(const Request& request, const Caller& caller);

  Site& site_;
  std::string begun_;  // part of the tags: versions of views begin anew with each start
  std::map<std::string, File, std::less<>> files_;

  // What is asked for again and again between two changes is made once.
  struct Made {
    std::string etag;
    Body content;
  };
  std::mutex making_;
  Made active_;
  std::mutex making_history_;
  Made history_;
};

}  // namespace polaiga::web
