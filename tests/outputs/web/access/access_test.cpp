#include "access/access.h"

#include <gtest/gtest.h>
#include <nettle/base64.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <mutex>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <thread>

#include "support/manual_clock.h"
#include "support/temp_dir.h"

namespace polaiga::web {
namespace access_test {

constexpr const char* kPassword = "correct horse";
constexpr uid_t kProxy = 50033;
constexpr const char* kForm = "application/x-www-form-urlencoded";

std::string basic(const std::string& name, const std::string& password) {
  const std::string plain = name + ":" + password;
  std::string text(BASE64_ENCODE_RAW_LENGTH(plain.size()), '\0');
  base64_encode_raw(text.data(), plain.size(), reinterpret_cast<const std::uint8_t*>(plain.data()));
  return "Basic " + text;
}

// A request that a test puts together.
class Asked {
 public:
  explicit Asked(Method method, const std::string& target) {
    request_.method = method;
    request_.target = parse_target(target);
    request_.headers["host"] = "alarms.example";
    request_.peer.address = "192.0.2.7";
  }
  Asked& with(const std::string& header, const std::string& value) {
    request_.headers[header] = value;
    return *this;
  }
  Asked& body(const std::string& type, const std::string& text) {
    request_.body = text;
    return with("content-type", type);
  }
  Asked& from(const std::string& address) {
    request_.peer.address = address;
    return *this;
  }
  Asked& by_unix(uid_t user) {
    request_.peer.user = user;
    return from("");
  }
  Asked& by_certificate(const std::string& name) {
    request_.peer.certificate = name;
    return by_tls();
  }
  Asked& by_tls() {
    request_.peer.is_encrypted = true;
    return *this;
  }
  operator const Request&() const { return request_; }  // NOLINT(google-explicit-constructor): it stands for one

 private:
  Request request_;
};

Asked get(const std::string& target) { return Asked(Method::kGet, target); }
Asked post(const std::string& target) { return Asked(Method::kPost, target); }

std::string header_of(const Response& response, const std::string& name) {
  for (const auto& [known, value] : response.headers) {
    if (known == name) return value;
  }
  return "";
}

class AccessTest : public ::testing::Test {
 protected:
  AccessTest() {
    static const std::string kHash = hash_password(kPassword);
    hash_ = kHash;
    write_users("anna:operator:" + hash_ + "\nbob:viewer:" + hash_ + "\nrobot:viewer:!\n");
    start();
  }

  void write_users(const std::string& text) const { ::chmod(dir_.write("users", text).c_str(), 0600); }

  void start(bool has_users = true) {
    access_.emplace(AccessOptions{.users = has_users ? dir_.file("users") : std::string(),
                                  .proxy_user = kProxy,
                                  .proxy_user_header = "X-Remote-User"},
                    clock_, [this](engine::Priority /*priority*/, const std::string& text) {
                      const std::lock_guard lock(telling_);
                      told_.push_back(text);
                    });
  }

  Caller caller(const Request& request) {
    auto admitted = access_->admit(request);
    auto* const found = std::get_if<Caller>(&admitted);
    if (found == nullptr) ADD_FAILURE() << "refused with " << std::get<Response>(admitted).status;
    return found == nullptr ? Caller{} : *found;
  }

  Response refusal(const Request& request) {
    auto admitted = access_->admit(request);
    auto* const found = std::get_if<Response>(&admitted);
    if (found == nullptr) ADD_FAILURE() << "admitted as " << std::get<Caller>(admitted).name;
    return found == nullptr ? Response{.status = 0} : std::move(*found);
  }

  // The cookie, as a browser sends it back.
  std::string log_in(const std::string& name, bool is_encrypted = false) {
    Asked request = post("/login").body(kForm, "name=" + name + "&password=correct+horse");
    if (is_encrypted) request.by_tls();
    const std::string cookie = header_of(refusal(request), "Set-Cookie");
    return cookie.substr(0, cookie.find(';'));
  }

  engine::test::TempDir dir_;
  engine::test::ManualClock clock_{1'000'000};
  std::mutex telling_;
  std::vector<std::string> told_;
  std::string hash_;
  std::optional<Access> access_;
};

// --- Without users ---

TEST_F(AccessTest, WithoutUsersEverybodyMayLook) {
  start(false);
  const Caller found = caller(get("/api/v1/alarms"));
  EXPECT_EQ(found.role, Role::kViewer);
  EXPECT_EQ(found.name, "");
  EXPECT_EQ(caller(get("/api/v1/alarms").with("authorization", basic("anna", kPassword))).role, Role::kViewer);
  EXPECT_EQ(caller(get("/").by_unix(50001)).role, Role::kViewer);
  EXPECT_EQ(caller(get("/").by_unix(0)).role, Role::kOperator);
  EXPECT_EQ(caller(get("/").by_unix(0)).name, "root");
  EXPECT_EQ(refusal(get("/login")).status, 404);
}

// --- Who has not logged in ---

TEST_F(AccessTest, ProgramsAreAskedForAPasswordAndPagesAreNot) {
  Response response = refusal(get("/api/v1/alarms"));
  EXPECT_EQ(response.status, 401);
  EXPECT_EQ(header_of(response, "WWW-Authenticate"), "Basic realm=\"polaiga\", charset=\"UTF-8\"");
  EXPECT_EQ(header_of(response, "Content-Type"), "application/problem+json");
  response = refusal(get("/api/v1/alarms").with("sec-fetch-mode", "cors").with("sec-fetch-site", "same-origin"));
  EXPECT_EQ(response.status, 401);
  EXPECT_EQ(header_of(response, "WWW-Authenticate"), "Session realm=\"polaiga\"");
}

TEST_F(AccessTest, BrowsersAreSentToTheLoginPage) {
  const std::pair<const char*, const char*> kRows[] = {
      {"/", "/login?next=%2F"},
      {"/alarms/3?text=a%20b&all=true", "/login?next=%2Falarms%2F3%3Ftext%3Da%2520b%26all%3Dtrue"},
      {"//other.example", "/login?next=%2F"},
  };
  for (const auto& [target, to] : kRows) {
    const Response response = refusal(get(target).with("accept", "text/html,*/*;q=0.8"));
    EXPECT_EQ(response.status, 303) << target;
    EXPECT_EQ(header_of(response, "Location"), to);
  }
  EXPECT_EQ(refusal(get("/api/v1/alarms").with("accept", "text/html")).status, 401);
  EXPECT_EQ(refusal(get("/")).status, 401);
  EXPECT_EQ(refusal(post("/").with("accept", "text/html")).status, 401);
}

TEST_F(AccessTest, WhatTellsHowToLogInIsForEverybody) {
  for (const char* const target : {"/redfish", "/redfish/v1", "/redfish/v1/", "/redfish/v1/odata",
                                   "/redfish/v1/$metadata", "/api/v1/me", "/favicon.ico"}) {
    EXPECT_EQ(caller(get(target)).role, Role::kNobody) << target;
    EXPECT_EQ(refusal(post(target)).status, 401) << target;
  }
  EXPECT_EQ(caller(post("/redfish/v1/SessionService/Sessions")).role, Role::kNobody);
  for (const char* const target :
       {"/redfish/v1/SessionService/Sessions", "/redfish/v1/Systems", "/api/v1/me/", "/api/v1/alarms", "/metrics",
        "/restconf/data", "/Login", "/login/", "/login.css/"}) {
    EXPECT_EQ(refusal(get(target)).status, 401) << target;
  }
}

TEST_F(AccessTest, TheLoginPageAndItsStyleAreForEverybody) {
  const Response page = refusal(get("/login?next=/alarms%3Fa=%22%3E"));
  EXPECT_EQ(page.status, 200);
  EXPECT_EQ(header_of(page, "Content-Type"), "text/html; charset=utf-8");
  EXPECT_EQ(header_of(page, "Cache-Control"), "no-store");
  EXPECT_NE(page.body->find("value=\"/alarms?a=%22%3E\""), std::string::npos) << *page.body;
  EXPECT_EQ(header_of(refusal(get("/login.css")), "Content-Type"), "text/css; charset=utf-8");
  EXPECT_EQ(refusal(Asked(Method::kDelete, "/login")).status, 405);
}

// --- Sessions ---

TEST_F(AccessTest, ALoginByFormOpensASession) {
  const Response response =
      refusal(post("/login").body(kForm, "name=anna&password=correct+horse&next=%2Falarms%3Fa%3Db"));
  EXPECT_EQ(response.status, 303);
  EXPECT_EQ(header_of(response, "Location"), "/alarms?a=b");
  const std::string cookie = header_of(response, "Set-Cookie");
  EXPECT_TRUE(cookie.starts_with("polaiga-session="));
  EXPECT_TRUE(cookie.ends_with("; Path=/; HttpOnly; SameSite=Strict")) << cookie;
  const Caller found = caller(get("/").with("cookie", cookie.substr(0, cookie.find(';'))));
  EXPECT_EQ(found.name, "anna");
  EXPECT_EQ(found.role, Role::kOperator);
  EXPECT_EQ(found.proof, Proof::kSession);
  EXPECT_EQ(told_, std::vector<std::string>{"'anna' has logged in from 192.0.2.7"});
}

TEST_F(AccessTest, ALoginByJsonTellsTheToken) {
  const Response response =
      refusal(post("/login").body("application/json", R"({"name":"bob","password":"correct horse"})"));
  EXPECT_EQ(response.status, 200);
  const auto body = nlohmann::json::parse(*response.body);
  EXPECT_EQ(body.at("name"), "bob");
  EXPECT_EQ(body.at("role"), "viewer");
  const std::string cookie = header_of(response, "Set-Cookie");
  const Asked request = get("/").with("cookie", cookie.substr(0, cookie.find(';')));
  EXPECT_EQ(access_->csrf(request), body.at("csrf").get<std::string>());
}

TEST_F(AccessTest, WithTlsTheCookieIsOfThisHostAlone) {
  const std::string cookie = log_in("anna", true);
  EXPECT_TRUE(cookie.starts_with("__Host-polaiga-session=")) << cookie;
  EXPECT_EQ(caller(get("/").by_tls().with("cookie", cookie)).name, "anna");
  EXPECT_EQ(refusal(get("/").with("cookie", cookie)).status, 401) << "but by TLS alone";
  const std::string plain = cookie.substr(cookie.find("polaiga"));
  EXPECT_EQ(refusal(get("/").by_tls().with("cookie", plain)).status, 401);
  const Response response = refusal(post("/login").by_tls().body(kForm, "name=anna&password=correct+horse"));
  EXPECT_TRUE(header_of(response, "Set-Cookie").ends_with("; Path=/; HttpOnly; SameSite=Strict; Secure"));
}

TEST_F(AccessTest, ARequestThatChangesSomethingNeedsTheToken) {
  const std::string cookie = log_in("anna");
  const std::string token = access_->csrf(get("/").with("cookie", cookie)).value_or("");
  EXPECT_EQ(token.size(), 64U);
  EXPECT_EQ(caller(post("/a").with("cookie", cookie).with("x-csrf-token", token)).name, "anna");
  EXPECT_EQ(caller(post("/a").with("cookie", cookie).body(kForm, "a=b&csrf=" + token)).name, "anna");
  for (const Method method : {Method::kPost, Method::kPatch, Method::kDelete, Method::kOther}) {
    EXPECT_EQ(refusal(Asked(method, "/a").with("cookie", cookie)).status, 403);
  }
  const std::string other = access_->csrf(get("/").with("cookie", log_in("anna"))).value_or("");
  EXPECT_NE(other, token);
  for (const std::string& wrong : {other, token + "0", token.substr(1), std::string("x")}) {
    EXPECT_EQ(refusal(post("/a").with("cookie", cookie).with("x-csrf-token", wrong)).status, 403);
    EXPECT_EQ(refusal(post("/a").with("cookie", cookie).body(kForm, "csrf=" + wrong)).status, 403);
  }
  EXPECT_EQ(refusal(post("/a").with("cookie", cookie).body("text/plain", "csrf=" + token)).status, 403);
  EXPECT_EQ(refusal(post("/a").with("x-csrf-token", token)).status, 401) << "the token alone is no login";
  EXPECT_EQ(access_->csrf(get("/")), std::nullopt);
  EXPECT_EQ(access_->csrf(get("/").with("cookie", "polaiga-session=x")), std::nullopt);
}

TEST_F(AccessTest, PagesOfOtherSitesChangeNothing) {
  const std::string authorization = basic("anna", kPassword);
  const auto from_site = [&](const std::string& origin) {
    return post("/a").with("authorization", authorization).with("origin", origin);
  };
  EXPECT_EQ(caller(from_site("https://alarms.example")).name, "anna");
  EXPECT_EQ(refusal(from_site("https://other.example")).status, 403);
  EXPECT_EQ(refusal(from_site("null")).status, 403);
  EXPECT_EQ(refusal(post("/a").by_unix(0).with("sec-fetch-site", "cross-site")).status, 403);
  EXPECT_EQ(refusal(post("/login").with("origin", "https://other.example").body(kForm, "name=a&password=b")).status,
            403);
  EXPECT_EQ(caller(get("/a").with("authorization", authorization).with("origin", "https://other.example")).name,
            "anna");
}

TEST_F(AccessTest, ALogoutEndsTheSession) {
  const std::string cookie = log_in("anna");
  const std::string token = access_->csrf(get("/").with("cookie", cookie)).value_or("");
  EXPECT_EQ(refusal(get("/logout").with("cookie", cookie)).status, 405);
  EXPECT_EQ(refusal(post("/logout").with("cookie", cookie)).status, 403);
  EXPECT_EQ(caller(get("/").with("cookie", cookie)).name, "anna");
  const Response response = refusal(post("/logout").with("cookie", cookie).with("x-csrf-token", token));
  EXPECT_EQ(response.status, 204);
  EXPECT_EQ(header_of(response, "Set-Cookie"), "polaiga-session=; Path=/; HttpOnly; SameSite=Strict; Max-Age=0");
  EXPECT_EQ(refusal(get("/").with("cookie", cookie)).status, 401);
  const Response again = refusal(post("/logout").with("cookie", cookie).with("accept", "text/html"));
  EXPECT_EQ(again.status, 303);
  EXPECT_EQ(header_of(again, "Location"), "/login");
}

TEST_F(AccessTest, ASecondLoginEndsTheFirst) {
  const std::string cookie = log_in("bob");
  refusal(post("/login").with("cookie", cookie).body(kForm, "name=anna&password=correct+horse"));
  EXPECT_EQ(refusal(get("/").with("cookie", cookie)).status, 401);
}

TEST_F(AccessTest, SessionsEndWithTheUserAndThePassword) {
  const std::string anna = log_in("anna");
  const std::string bob = log_in("bob");
  const Caller then = caller(get("/").with("cookie", anna));
  EXPECT_TRUE(access_->holds(then));
  write_users("anna:viewer:" + hash_ + "\nbob:viewer:" + hash_password(kPassword) + "\n");
  access_->reload();
  EXPECT_EQ(caller(get("/").with("cookie", anna)).role, Role::kViewer) << "the role is that of now";
  EXPECT_FALSE(access_->holds(then)) << "an operator's stream ends";
  EXPECT_EQ(refusal(get("/").with("cookie", bob)).status, 401);
  write_users("bob:viewer:!\n");
  access_->reload();
  EXPECT_EQ(refusal(get("/").with("cookie", anna)).status, 401);
}

TEST_F(AccessTest, WhoeverSendsAPasswordLosesTheStreamWithIt) {
  const Asked request = get("/").with("authorization", basic("anna", kPassword));
  const Caller then = caller(request);
  EXPECT_TRUE(access_->holds(then));
  EXPECT_EQ(then.password.find(hash_), std::string::npos) << "the hash stays with the gate";
  access_->reload();
  EXPECT_TRUE(access_->holds(then));
  write_users("anna:operator:" + hash_password("another horse") + "\n");
  access_->reload();
  EXPECT_FALSE(access_->holds(then)) << "somebody else may know the former password";
  write_users("bob:viewer:" + hash_ + "\n");
  access_->reload();
  EXPECT_FALSE(access_->holds(then));
}

TEST_F(AccessTest, AFileThatIsWrongChangesNothing) {
  const std::string anna = log_in("anna");
  write_users("anna");
  told_.clear();
  access_->reload();
  EXPECT_EQ(caller(get("/").with("cookie", anna)).name, "anna");
  EXPECT_EQ(told_, std::vector<std::string>{dir_.file("users") + ":1: it is not of the form name:role:hash; the users "
                                                                 "stay as they were"});
  EXPECT_THROW(start(), std::runtime_error);
}

TEST_F(AccessTest, RedfishSessionsHaveAHeader) {
  auto made = access_->open_session(post("/redfish"), "bob", kPassword);
  ASSERT_TRUE(std::holds_alternative<Sessions::Opened>(made));
  const auto opened = std::get<Sessions::Opened>(made);
  EXPECT_EQ(told_, std::vector<std::string>{"'bob' has logged in from 192.0.2.7"});
  const Caller found = caller(post("/a").with("x-auth-token", opened.token));
  EXPECT_EQ(found.name, "bob") << "no other token is needed, since browsers do not send the header by themselves";
  EXPECT_EQ(found.session, opened.facts.id);
  EXPECT_EQ(refusal(get("/").with("cookie", "polaiga-session=" + opened.token)).status, 401);
  EXPECT_EQ(refusal(get("/").with("x-auth-token", "x").with("authorization", basic("anna", kPassword))).status, 401);
  ASSERT_EQ(access_->sessions().size(), 1U);
  EXPECT_TRUE(access_->holds(found));
  EXPECT_TRUE(access_->end_session(opened.facts.id));
  EXPECT_FALSE(access_->holds(found));
  EXPECT_EQ(refusal(get("/").with("x-auth-token", opened.token)).status, 401);
  made = access_->open_session(post("/redfish"), "bob", "wrong horse");
  ASSERT_TRUE(std::holds_alternative<Response>(made));
  EXPECT_EQ(std::get<Response>(made).status, 401);
}

TEST_F(AccessTest, AStreamKeepsItsSessionInUse) {
  const std::string cookie = log_in("anna");
  const Caller found = caller(get("/").with("cookie", cookie));
  for (int i = 0; i < 20; ++i) {
    clock_.pass(35 * 60);
    EXPECT_TRUE(access_->holds(found)) << i;
  }
  clock_.pass(35 * 60);
  EXPECT_FALSE(access_->holds(found)) << "after twelve hours it ends";
}

// --- Passwords ---

TEST_F(AccessTest, ProgramsSendAPasswordEachTime) {
  const Caller found = caller(post("/a").with("authorization", basic("anna", kPassword)));
  EXPECT_EQ(found.name, "anna");
  EXPECT_EQ(found.proof, Proof::kPassword);
  for (const std::string& wrong : {basic("anna", "short"), std::string("Basic x"), std::string("Bearer x"),
                                   basic("robot", "!"), basic("robot", kPassword + std::string("!"))}) {
    EXPECT_EQ(refusal(get("/").with("authorization", wrong)).status, 401) << wrong;
  }
}

TEST_F(AccessTest, FailuresAreSlowedAndTold) {
  const Asked wrong = get("/").with("authorization", basic("anna", "wrong horse"));
  EXPECT_EQ(refusal(wrong).status, 401);
  EXPECT_EQ(refusal(wrong).status, 401);
  Response response = refusal(wrong);
  EXPECT_EQ(response.status, 429);
  EXPECT_EQ(header_of(response, "Retry-After"), "1");
  EXPECT_EQ(refusal(get("/").with("authorization", basic("anna", kPassword))).status, 429)
      << "a guess that is right must not be told from one that is not";
  clock_.pass(1);
  EXPECT_EQ(refusal(wrong).status, 401);
  EXPECT_EQ(header_of(refusal(wrong), "Retry-After"), "2");
  EXPECT_EQ(refusal(get("/").from("192.0.2.8").with("authorization", basic("bob", "wrong horse"))).status, 401)
      << "another address and name do not wait";
  EXPECT_EQ(told_, (std::vector<std::string>{
                       "a login from 192.0.2.7 failed: the password of 'anna' was wrong",
                       "a login from 192.0.2.7 failed: the password of 'anna' was wrong",
                       "a login from 192.0.2.7 failed: the password of 'anna' was wrong",
                       "a login from 192.0.2.8 failed: the password of 'bob' was wrong",
                   }));
}

TEST_F(AccessTest, WhatWasTypedIsNotTold) {
  refusal(post("/login").body(kForm, "name=my+secret+password&password=my+secret+password"));
  EXPECT_EQ(told_, std::vector<std::string>{"a login from 192.0.2.7 failed: there is no user of that name"});
}

TEST_F(AccessTest, FailuresOfTheFormAreShownInIt) {
  const Asked wrong = post("/login").body(kForm, "name=%3Cb%3E&password=wrong+horse&next=%2Fa");
  Response response = refusal(wrong);
  EXPECT_EQ(response.status, 401);
  EXPECT_EQ(header_of(response, "WWW-Authenticate"), "Session realm=\"polaiga\"");
  EXPECT_EQ(header_of(response, "Set-Cookie"), "");
  EXPECT_NE(response.body->find("role=\"alert\">The name or the password is wrong.</p>"), std::string::npos);
  EXPECT_NE(response.body->find("value=\"&lt;b&gt;\""), std::string::npos);
  EXPECT_NE(response.body->find("name=\"next\" value=\"/a\""), std::string::npos);
  refusal(wrong);
  response = refusal(wrong);
  EXPECT_EQ(response.status, 429);
  EXPECT_EQ(header_of(response, "Retry-After"), "1");
  EXPECT_EQ(header_of(response, "Content-Type"), "text/html; charset=utf-8");
  EXPECT_NE(response.body->find("Logins have failed before. Try again in 1 second."), std::string::npos);
  EXPECT_EQ(refusal(post("/login").body(kForm, "name=anna")).status, 400);
}

TEST_F(AccessTest, APasswordThatWasRightIsNotHashedAgain) {
  const Asked request = get("/").with("authorization", basic("anna", kPassword));
  caller(request);
  // The name has to wait now, so only a password that is remembered is taken.
  for (const char* address : {"192.0.2.8", "192.0.2.9"}) {
    refusal(get("/").from(address).with("authorization", basic("anna", "wrong horse")));
  }
  Asked elsewhere = request;
  elsewhere.from("192.0.2.10");
  EXPECT_EQ(caller(elsewhere).name, "anna");
  write_users("anna:operator:" + hash_password("another horse") + "\n");
  access_->reload();
  EXPECT_NE(refusal(elsewhere).status, 200);
}

TEST_F(AccessTest, ManyLoginsAtOnceAreTurnedAway) {
  std::atomic<int> busy = 0;
  std::atomic<int> taken = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 6; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 1000 && busy == 0; ++round) {
        const auto made = access_->open_session(post("/redfish"), "bob", kPassword);
        const auto* const response = std::get_if<Response>(&made);
        if (response == nullptr) {
          ++taken;
        } else if (response->status == 503 && header_of(*response, "Retry-After") == "1") {
          ++busy;
        } else {
          ADD_FAILURE() << response->status;
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_GT(busy, 0);
  EXPECT_GT(taken, 0);
}

// --- Certificates, Unix sockets, a proxy ---

TEST_F(AccessTest, ACertificateIsOfAUser) {
  const Caller found = caller(post("/a").by_certificate("robot"));
  EXPECT_EQ(found.name, "robot");
  EXPECT_EQ(found.role, Role::kViewer);
  EXPECT_EQ(found.proof, Proof::kCertificate);
  const Response response = refusal(get("/a").by_certificate("stranger"));
  EXPECT_EQ(response.status, 401);
  EXPECT_NE(response.body->find("The client certificate is of 'stranger', which is no user here."), std::string::npos);
  EXPECT_EQ(caller(get("/a").by_certificate("robot").with("authorization", basic("anna", kPassword))).name, "anna");
  EXPECT_TRUE(access_->holds(found));
  write_users("anna:operator:!\n");
  access_->reload();
  EXPECT_FALSE(access_->holds(found));
}

TEST_F(AccessTest, APeerOfAUnixSocketIsKnown) {
  const Caller found = caller(post("/a").by_unix(0));
  EXPECT_EQ(found.name, "root");
  EXPECT_EQ(found.role, Role::kOperator);
  EXPECT_TRUE(access_->holds(found));
  EXPECT_EQ(caller(post("/a").by_unix(::geteuid())).role, Role::kOperator);
  EXPECT_EQ(refusal(post("/a").by_unix(50001)).status, 401);
  EXPECT_EQ(caller(get("/a").by_unix(50001).with("authorization", basic("bob", kPassword))).name, "bob");
}

TEST_F(AccessTest, APeerOfAUnixSocketLosesTheStreamWithTheGroup) {
  dir_.write("passwd", "carl:x:50003:60009::/:/bin/sh\n");
  for (const bool has_users : {true, false}) {
    dir_.write("group", "operators:x:60001:carl\nviewers:x:60002:carl\n");
    access_.emplace(AccessOptions{.users = has_users ? dir_.file("users") : std::string(),
                                  .groups = {.operators = "operators", .viewers = "viewers"},
                                  .lists = {.users = dir_.file("passwd"), .groups = dir_.file("group")}},
                    clock_, [](engine::Priority /*priority*/, const std::string& /*text*/) {});
    const Caller as_operator = caller(get("/").by_unix(50003));
    EXPECT_EQ(as_operator.role, Role::kOperator);
    EXPECT_TRUE(access_->holds(as_operator));
    dir_.write("group", "operators:x:60001:\nviewers:x:60002:carl\n");
    access_->reload();
    EXPECT_FALSE(access_->holds(as_operator));
    const Caller as_viewer = caller(get("/").by_unix(50003));
    EXPECT_TRUE(access_->holds(as_viewer));
    dir_.write("group", "operators:x:60001:\nviewers:x:60002:\n");
    access_->reload();
    EXPECT_EQ(access_->holds(as_viewer), !has_users) << "without users everybody may look";
  }
}

TEST_F(AccessTest, AHeaderIsBelievedFromTheProxyAlone) {
  const Caller found = caller(post("/a").by_unix(kProxy).with("x-remote-user", "anna"));
  EXPECT_EQ(found.name, "anna");
  EXPECT_EQ(found.role, Role::kOperator);
  EXPECT_EQ(found.proof, Proof::kProxy);
  EXPECT_EQ(caller(get("/").by_unix(kProxy).with("x-remote-user", "bob").with("authorization", "Basic x")).name, "bob")
      << "what the proxy has checked itself";
  EXPECT_EQ(refusal(get("/").by_unix(kProxy)).status, 401);
  EXPECT_EQ(refusal(get("/").by_unix(kProxy).with("x-remote-user", "stranger")).status, 403);
  EXPECT_EQ(refusal(get("/").by_unix(kProxy).with("x-remote-user", "anna, bob")).status, 403);
  EXPECT_EQ(refusal(get("/").by_unix(50001).with("x-remote-user", "anna")).status, 401);
  EXPECT_EQ(refusal(get("/").with("x-remote-user", "anna")).status, 401);
  EXPECT_EQ(caller(get("/").by_unix(0).with("x-remote-user", "anna")).name, "root");
}

TEST_F(AccessTest, TheProxyIsNoOperatorEvenIfItIsRoot) {
  access_.emplace(AccessOptions{.users = dir_.file("users"), .proxy_user = 0, .proxy_user_header = "x-remote-user"},
                  clock_, [](engine::Priority /*priority*/, const std::string& /*text*/) {});
  EXPECT_EQ(refusal(get("/").by_unix(0)).status, 401);
}

TEST_F(AccessTest, BehindAProxyWithTlsTheCookieIsSecure) {
  const Asked request = post("/login").by_unix(kProxy).body(kForm, "name=anna&password=correct+horse");
  EXPECT_EQ(header_of(refusal(request), "Set-Cookie").find("Secure"), std::string::npos);
  Asked encrypted = request;
  encrypted.with("x-forwarded-proto", "https");
  EXPECT_TRUE(header_of(refusal(encrypted), "Set-Cookie").ends_with("; Secure"));
  Asked forged = encrypted;
  forged.by_unix(50001);
  EXPECT_EQ(header_of(refusal(forged), "Set-Cookie").find("Secure"), std::string::npos);
}

TEST_F(AccessTest, GuessesThroughTheProxyAreCountedForTheAddressThatItTells) {
  const auto guess = [&](const char* forwarded, const char* name) {
    return refusal(
        get("/").by_unix(kProxy).with("x-forwarded-for", forwarded).with("authorization", basic(name, "wrong horse")));
  };
  EXPECT_EQ(guess("192.0.2.7", "bob").status, 401);
  EXPECT_EQ(guess("198.51.100.1, 192.0.2.7", "carl").status, 401);
  EXPECT_EQ(guess("198.51.100.2, 192.0.2.7", "dora").status, 429) << "what the client itself has sent changes nothing";
  EXPECT_EQ(guess("192.0.2.8", "dora").status, 401) << "another client of the proxy does not wait";
  EXPECT_EQ(told_.back(), "a login from 192.0.2.8 failed: there is no user of that name");
  refusal(get("/").by_unix(kProxy).with("authorization", basic("erik", "wrong horse")));
  EXPECT_EQ(told_.back(), "a login through the proxy failed: there is no user of that name");
  const auto forged =
      get("/").by_unix(50001).with("x-forwarded-for", "192.0.2.9").with("authorization", basic("fred", "wrong horse"));
  EXPECT_EQ(refusal(forged).status, 401);
  EXPECT_EQ(told_.back(), "a login over a Unix socket of user 50001 failed: there is no user of that name");
  const auto opened =
      access_->open_session(post("/a").by_unix(kProxy).with("x-forwarded-for", "192.0.2.10"), "anna", kPassword);
  EXPECT_EQ(std::get<Sessions::Opened>(opened).facts.address, "192.0.2.10");
}

TEST_F(AccessTest, GuessesThroughTheProxyDoNotKeepOthersOut) {
  for (const char* name : {"bob", "carl", "dora"}) {
    refusal(get("/").by_unix(kProxy).with("authorization", basic(name, "wrong horse")));
  }
  EXPECT_EQ(caller(get("/").by_unix(kProxy).with("authorization", basic("anna", kPassword))).name, "anna");
}

}  // namespace access_test
}  // namespace polaiga::web
