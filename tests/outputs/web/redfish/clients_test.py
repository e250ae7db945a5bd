"""Redfish with clients that people use, redfishtool and sushy, over HTTP and HTTPS:
clients_test.py POLAIGA POLAIGA_WEB"""
import json
import os
import shutil
import sys
import warnings

from service import PASSWORD, Directory, Engine, Receiver, Web, make_identity, make_users, run, slow, until

warnings.simplefilter("ignore")  # of what the clients' own libraries say
import sushy
from sushy import auth

ENTRIES = "/redfish/v1/Managers/polaiga/LogServices/FaultLog/Entries"
SYSTEM = "sys.rack-unit-1"
FAN = "sys.rack-unit-1.fan-module-1-2.fan-1"


def redfishtool(web, *arguments, user=None, login="Session"):
    scheme, host = web.url.split("://")
    who = ["-A", login, "-u", user, "-p", PASSWORD] if user else ["-A", "None"]
    answer = run("redfishtool", "-r", host, "-S", "Always" if scheme == "https" else "Never", *who, *arguments).stdout
    return json.loads(answer) if answer.strip() else None


def look(web, **who):
    """What whoever may look can see with redfishtool."""
    assert redfishtool(web, "versions", **who) == {"v1": "/redfish/v1/"}
    assert redfishtool(web, "root", **who)["RedfishVersion"] == "1.21.0"
    assert redfishtool(web, "Systems", "-I", SYSTEM, **who)["Status"]["HealthRollup"] == "Warning"
    assert redfishtool(web, "Chassis", "-I", FAN, **who)["Status"]["Health"] == "Warning"
    assert redfishtool(web, "Managers", **who)["Members@odata.count"] == 1
    assert redfishtool(web, "Managers", "-I", "polaiga", **who)["ManagerType"] == "Service"
    assert redfishtool(web, "Managers", "-I", "polaiga", "Logs", **who)["Members@odata.count"] == 1
    assert redfishtool(web, "Systems", "-I", SYSTEM, "Logs", **who)["Members@odata.count"] == 1
    entries = redfishtool(web, "raw", "GET", ENTRIES, **who)["Members"]
    assert [entry["Id"] for entry in entries] == ["2", "1"], entries
    assert entries[0]["Resolved"] is False and entries[1]["Resolved"] is True
    assert redfishtool(web, "SessionService", **who)["Id"] == "SessionService"


def sessions(web):
    for user in ("viewer", "operator"):
        look(web, user=user)
    look(web, user="viewer", login="Basic")
    # Each of those calls has ended its session.
    assert web.get("/redfish/v1/SessionService/Sessions")["Members"] == []


def sushy_looks(root):
    assert root.redfish_version == "1.21.0"
    system = root.get_system("/redfish/v1/Systems/" + SYSTEM)
    assert system.name == "rack-unit-1"
    assert system.status.health_rollup == sushy.resources.constants.Health.WARNING
    assert [one.identity for one in root.get_system_collection().get_members()] == [SYSTEM]
    chassis = root.get_chassis("/redfish/v1/Chassis/" + FAN)
    assert chassis.chassis_type.value == "Component"
    assert chassis.status.health == sushy.resources.constants.Health.WARNING
    assert FAN in [one.identity for one in root.get_chassis_collection().get_members()]
    assert root.get_manager("/redfish/v1/Managers/polaiga").manager_type.value == "Service"


def sushy_acts(web):
    root = sushy.Sushy(web.url, verify=web.authority or True, auth=auth.SessionAuth("operator", PASSWORD))
    sushy_looks(root)
    assert [one.username for one in root.get_session_service().sessions.get_members()] == ["operator"]
    service = root.get_event_service()
    assert service.service_enabled and service.delivery_retry_attempts == 2
    receiver = Receiver()
    made = service.subscriptions.create({"Destination": receiver.url(), "Protocol": "Redfish", "Context": "sushy",
                                         "EventTypes": ["Alert"]})
    assert made.destination == receiver.url() and made.context == "sushy" and made.http_headers == []
    assert [one.identity for one in service.subscriptions.get_members()] == [made.identity]
    service.submit_test_event("17", "2026-01-02T03:04:05Z", "Alert", "A test", ["one"], "Test.1.0.Test",
                              "/redfish/v1/Chassis/" + FAN, "OK")
    until("the test event comes", lambda: receiver.records())
    record = receiver.records()[0]
    assert record["EventId"] == "17" and record["MessageArgs"] == ["one"], record
    made.delete()
    assert service.subscriptions.get_members() == [] or service.subscriptions.members_identities == ()
    try:
        sushy.Sushy(web.url, verify=web.authority or True, auth=auth.SessionAuth("operator", "wrong-1"))
        raise AssertionError("a wrong password is taken")
    except sushy.exceptions.AccessError:
        pass
    root._auth.close()
    assert web.get("/redfish/v1/SessionService/Sessions")["Members"] == []


def expect_refusal(web, status, message, path, *rest, **more):
    got, headers, body = web.ask(path, *rest, **more)
    assert got == status, (path, got, body)
    assert headers["OData-Version"] == "4.0" and headers["Content-Type"] == "application/json", (path, headers)
    error = body["error"]
    info = error["@Message.ExtendedInfo"][0]
    assert error["code"] == info["MessageId"] == "Base.1.18." + message, (path, body)
    assert error["message"] and info["Message"] and info["Resolution"] and "MessageSeverity" in info, body
    assert (status == 401) == ("WWW-Authenticate" in headers), headers


def refusals(web):
    """Whoever refuses a request, the server's gate or Redfish itself, does so in Redfish's form."""
    sessions = "/redfish/v1/SessionService/Sessions"
    systems, subscriptions = "/redfish/v1/Systems", "/redfish/v1/EventService/Subscriptions"
    expect_refusal(web, 401, "NoValidSession", systems, user=None)
    expect_refusal(web, 401, "NoValidSession", systems, user="stranger")
    expect_refusal(web, 401, "NoValidSession", systems, user=None, headers={"X-Auth-Token": "0" * 64})
    expect_refusal(web, 401, "NoValidSession", subscriptions, "POST", {}, user=None)
    expect_refusal(web, 401, "NoValidSession", sessions, user=None)
    expect_refusal(web, 401, "NoValidSession", "/redfish/v1/Nothing", user=None)
    expect_refusal(web, 403, "InsufficientPrivilege", subscriptions, "POST", {}, user="viewer")
    expect_refusal(web, 403, "InsufficientPrivilege", subscriptions, "POST", {},
                   headers={"Origin": "http://elsewhere.example"})
    assert web.ask("/redfish/v1/", user=None)[0] == 200

    # Who has logged in on the page reads, but changes nothing without the token of the page.
    status, headers, _ = web.ask("/login", "POST", {"name": "operator", "password": PASSWORD}, user=None)
    assert status == 200
    cookie = {"Cookie": headers["Set-Cookie"].split(";")[0]}
    (found,) = web.ask(sessions, user=None, headers=cookie)[2]["Members"]
    session = web.ask(found["@odata.id"], user=None, headers=cookie)[2]
    assert session["SessionType"] == "WebUI" and session["ClientOriginIPAddress"] == "127.0.0.1", session
    expect_refusal(web, 403, "InsufficientPrivilege", subscriptions, "POST", {}, user=None, headers=cookie)
    # A viewer does not learn of it, so he cannot end it.
    expect_refusal(web, 404, "ResourceMissingAtURI", found["@odata.id"], "DELETE", user="viewer")
    assert web.ask(found["@odata.id"], "DELETE")[0] == 204

    # Guesses are slowed.
    guess = {"UserName": "viewer", "Password": "wrong-password"}
    expect_refusal(web, 401, "ResourceAtUriUnauthorized", sessions, "POST", guess, user=None)
    until("guesses are slowed", lambda: web.ask(sessions, "POST", guess, user=None)[0] == 429)
    expect_refusal(web, 429, "ServiceTemporarilyUnavailable", sessions, "POST", guess, user=None)


def main():
    polaiga, polaiga_web = sys.argv[1:3]
    assert shutil.which("redfishtool"), "redfishtool is missing (Debian: redfishtool)"
    for name in ("http_proxy", "https_proxy", "HTTP_PROXY", "HTTPS_PROXY", "REQUESTS_CA_BUNDLE", "CURL_CA_BUNDLE"):
        os.environ.pop(name, None)
    os.umask(0o077)
    with Directory() as directory:
        state = directory + "/state"
        os.mkdir(state)
        users = make_users(polaiga_web, directory)
        certificate, key = make_identity(directory)
        engine = Engine(polaiga, directory)
        engine.feed(slow(1), slow(2), slow(1, 0))
        listen = ("--listen", "127.0.0.1:0")
        with_users = (*listen, "--users", users, "--state", state, "--push-attempts", "2", "--push-local")
        has_read = lambda web: web.ask(ENTRIES)[0] == 200 and web.get(ENTRIES)["Members@odata.count"] == 2

        web = Web(polaiga_web, polaiga, engine, *listen)
        until("the server has read the ledger", lambda: web.ask(ENTRIES, user=None)[0] == 200)
        look(web)
        sushy_looks(sushy.Sushy(web.url, auth=NoLogin()))
        web.end()

        for options, authority in (((), None), (("--tls-cert", certificate, "--tls-key", key), certificate)):
            web = Web(polaiga_web, polaiga, engine, *with_users, *options, authority=authority)
            assert web.url.startswith("https://" if authority else "http://")
            until("the server has read the ledger", lambda: has_read(web))
            sessions(web)
            sushy_acts(web)
            refusals(web)
            web.end()
        engine.end()
    print("All is well.")


class NoLogin(auth.AuthBase):
    def _do_authenticate(self):
        pass

    def can_refresh_session(self):
        return False


if __name__ == "__main__":
    main()
