// TLS: certificates of the server and of its clients, which the test makes.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <csignal>

#include "support/web.h"

namespace polaiga::web::test {
namespace tls_test {

using engine::test::Ended;

class TlsTest : public WebTest {
 protected:
  void SetUp() override {
    start_engine("--gateway \"$(id -un)\"");
    make_authority("ca");
    make_certificate("server", "ca", "server");
    ASSERT_EQ(
        shell_.run(POLAIGA_WEB " passwd --users " + file("users") + " --role operator --no-password robot").status, 0);
    ASSERT_EQ(shell_.run(POLAIGA_WEB " passwd --users " + file("users") + " anna", "correct horse").status, 0);
  }

  std::string file(const std::string& name) const { return shell_.dir().file(name); }

  void run(const std::string& command) const {
    const Ended ended = shell_.run("cd " + shell_.dir().path().string() + " && " + command);
    ASSERT_EQ(ended.status, 0) << ended.err;
  }
  void make_key(const std::string& name) const {
    run("umask 077 && openssl ecparam -name prime256v1 -genkey -noout -out " + name + ".key");
  }
  void make_authority(const std::string& name) const {
    make_key(name);
    run("openssl req -x509 -new -key " + name + ".key -subj '/CN=" + name + "' -days 2 -out " + name + ".pem");
  }
  // The common name is `user`.
  void make_certificate(const std::string& name, const std::string& authority, const std::string& user,
                        const std::string& purpose = "") const {
    make_key(name);
    run("openssl req -new -key " + name + ".key -subj '/CN=" + user + "' -out " + name + ".csr");
    shell_.dir().write("names", "subjectAltName=IP:127.0.0.1\n" + purpose);
    run("openssl x509 -req -in " + name + ".csr -CA " + authority + ".pem -CAkey " + authority +
        ".key -CAcreateserial -days 2 -extfile names -out " + name + ".pem");
  }

  std::string tls() const { return "--tls-cert " + file("server.pem") + " --tls-key " + file("server.key") + " "; }
  std::string users() const { return "--users " + file("users") + " "; }

  // The status, or how curl ended.
  std::string curl(const std::string& arguments, const std::string& target = "/api/v1/alarms") const {
    const Ended ended = shell_.run("curl -sS -o /dev/null -w '%{http_code}' --cacert " + file("ca.pem") + " " +
                                   arguments + " https://" + address() + target);
    return ended.status == 0 ? ended.out : "curl ended with " + std::to_string(ended.status);
  }
  std::string with_certificate(const std::string& name) const {
    return "--cert " + file(name + ".pem") + " --key " + file(name + ".key");
  }

  Shell shell_;
};

TEST_F(TlsTest, TheServerHasACertificate) {
  start_web(tls() + users());
  EXPECT_NE(web_dir_.read("err").find("ready: https://127.0.0.1:"), std::string::npos);
  EXPECT_EQ(curl("-u 'anna:correct horse'"), "200");
  EXPECT_EQ(curl(""), "401");
  const std::string headers = shell_
                                  .run("curl -sS -D - -o /dev/null --cacert " + file("ca.pem") +
                                       " -d 'name=anna&password=correct horse' https://" + address() + "/login")
                                  .out;
  EXPECT_NE(headers.find("Set-Cookie: __Host-polaiga-session="), std::string::npos) << headers;
  EXPECT_NE(headers.find("; Path=/; HttpOnly; SameSite=Strict; Secure\r\n"), std::string::npos) << headers;
  EXPECT_NE(headers.find("Strict-Transport-Security: "), std::string::npos) << headers;
}

TEST_F(TlsTest, AClientCertificateIsAUser) {
  make_certificate("robot", "ca", "robot");
  make_certificate("stranger", "ca", "stranger");
  make_certificate("clients", "ca", "robot", "extendedKeyUsage=clientAuth\n");
  make_certificate("servers", "ca", "robot", "extendedKeyUsage=serverAuth\n");
  make_authority("other");
  make_certificate("forged", "other", "robot");
  start_web(tls() + users() + "--tls-client-ca " + file("ca.pem"));
  EXPECT_EQ(curl(with_certificate("robot")), "200");
  EXPECT_EQ(curl(with_certificate("clients")), "200");
  EXPECT_EQ(curl(with_certificate("servers")), "401") << "it is made for servers alone";
  EXPECT_EQ(curl(with_certificate("stranger")), "401");
  EXPECT_EQ(curl(with_certificate("forged")), "401") << "another authority has signed it";
  EXPECT_EQ(curl(""), "401");
  EXPECT_EQ(curl("-u 'anna:correct horse'"), "200") << "who has no certificate may have a password";
}

TEST_F(TlsTest, AnActionHasThePersonOfTheCertificate) {
  feed(R"({"entity":"fan","sensor":"FAN1_TACH1","offset":3,"state":1})"
       "\n");
  make_certificate("robot", "ca", "robot");
  start_web(tls() + users() + "--tls-client-ca " + file("ca.pem"));
  const std::string comment =
      R"(-H 'Content-Type: application/json' -d '{"do":"comment","alarms":"1","comment":"x"}' )";
  EXPECT_EQ(curl(comment + with_certificate("robot"), "/api/v1/actions"), "200");
  EXPECT_EQ(curl(comment + "-u 'anna:correct horse'", "/api/v1/actions"), "403") << "anna is a viewer";
  const std::string told = shell_.run("$POLAIGA history --json --ledger " + ledger()).out;
  EXPECT_NE(told.find(R"("on_behalf_of":"robot")"), std::string::npos) << told;
  EXPECT_EQ(told.find(R"("on_behalf_of":"anna")"), std::string::npos) << told;
}

TEST_F(TlsTest, WithoutAnAuthorityClientCertificatesAreNothing) {
  make_certificate("robot", "ca", "robot");
  start_web(tls() + users());
  EXPECT_EQ(curl(with_certificate("robot")), "401");
}

TEST_F(TlsTest, ASignalReadsTheCertificateAnew) {
  make_authority("other");
  make_certificate("robot", "other", "robot");
  run("cp ca.pem clients.pem");
  start_web(tls() + users() + "--tls-client-ca " + file("clients.pem"));
  const std::string anna = "-u 'anna:correct horse'";
  const std::string trusts_other = "--cacert " + file("other.pem") + " ";
  EXPECT_EQ(curl(anna), "200");
  EXPECT_NE(curl(trusts_other + anna), "200");
  EXPECT_EQ(curl(with_certificate("robot")), "401");

  make_certificate("server", "other", "server");
  run("cp other.pem clients.pem");
  web_->kill(SIGHUP);
  EXPECT_TRUE(engine::test::comes_true([&] { return curl(trusts_other + anna) == "200"; })) << web_dir_.read("err");
  EXPECT_NE(curl(anna), "200");
  EXPECT_EQ(curl(trusts_other + with_certificate("robot")), "200");
}

TEST_F(TlsTest, AWrongFileChangesNothing) {
  start_web(tls() + users());
  const struct {
    const char* command;
    const char* told;
  } kRows[] = {
      {"cp server.pem good.pem && cp ca.pem server.pem", "the certificate and its key cannot be used"},
      {"echo nothing > server.pem", "the certificate and its key cannot be used"},
      {"rm server.pem", "cannot read the certificate"},
      {"cp good.pem server.pem && chmod 644 server.key", "may be read or changed by others"},
  };
  for (const auto& [command, told] : kRows) {
    run(command);
    web_dir_.write("err", "");
    web_->kill(SIGHUP);
    EXPECT_TRUE(web_->has_complained("new connections go on with the certificate")) << command;
    EXPECT_NE(web_dir_.read("err").find(told), std::string::npos) << web_dir_.read("err");
    EXPECT_EQ(curl("-u 'anna:correct horse'"), "200") << command;
  }
}

TEST_F(TlsTest, OldVersionsAreRefused) {
  start_web(tls() + users());
  const auto connect = [&](const std::string& version) {
    return shell_.run("openssl s_client -connect " + address() + " -cipher ALL:@SECLEVEL=0 " + version).out;
  };
  EXPECT_NE(connect("-tls1_2").find("Protocol  : TLSv1.2"), std::string::npos) << connect("-tls1_2");
  EXPECT_NE(connect("-tls1_3").find("TLSv1.3"), std::string::npos);
  for (const char* version : {"-tls1", "-tls1_1"}) {
    EXPECT_NE(connect(version).find("Cipher is (NONE)"), std::string::npos) << version;
  }
}

TEST_F(TlsTest, WhatIsWrongWithTheFilesIsTold) {
  const std::string web = POLAIGA_WEB " --ledger " + ledger() + " --listen 127.0.0.1:0 ";
  const std::string key = file("server.key");
  EXPECT_EQ(shell_.run(web + "--tls-cert " + file("server.pem")).status, 2);
  EXPECT_EQ(shell_.run(web + tls() + "--tls-client-ca " + file("ca.pem")).status, 2) << "it needs users";
  EXPECT_EQ(shell_.run(web + "--tls-cert " + file("none") + " --tls-key " + key).err,
            "polaiga: cannot read the certificate '" + file("none") + "': No such file or directory\n");
  ASSERT_EQ(::chmod(key.c_str(), 0644), 0);
  EXPECT_EQ(shell_.run(web + tls()).err, "polaiga: the key '" + key +
                                             "' may be read or changed by others than its owner; type: chmod 600 '" +
                                             key + "'\n");
  ASSERT_EQ(::chmod(key.c_str(), 0600), 0);
  const Ended wrong = shell_.run(web + "--tls-cert " + file("server.pem") + " --tls-key " + file("ca.key"));
  EXPECT_EQ(wrong.status, 2);
  EXPECT_NE(wrong.err.find("polaiga: cannot serve at https://127.0.0.1:"), std::string::npos) << wrong.err;
  EXPECT_EQ(shell_.run(POLAIGA_WEB " --ledger " + ledger() + " --listen 0.0.0.0:0 " + tls()).err,
            "polaiga: Without users the server listens at this machine alone; give --users\n");
}

}  // namespace tls_test
}  // namespace polaiga::web::test
