"""openapi_test.py POLAIGA_WEB_FLEET POLAIGA_WEB MAKE_SCHEMA SOURCE: the description of the API of a fleet (OpenAPI 3.1) is held
against what real servers answer, in both directions: each answer that is seen here is described, and each address, method,
status, media type and parameter that is described is seen."""
import concurrent.futures
import http.client
import json
import os
import pwd
import re
import subprocess
import sys
import tempfile
import urllib.parse
from pathlib import Path

from filled_database import FilledDatabase
from web_fleet import PASSWORD, WebFleet, add_user, basic
from described import METHODS, Answer, Description, UnixConnection, ask, bad_values, check_form
from processes import PATIENCE, Process, until

program, web, make_schema, source = sys.argv[1:5]
ACTIONS = "/api/v1/actions"
# A change as a controller sends it. Its ledger and its number stand in the database, too.
CHANGE = {"change": "raised", "at": "2026-03-12T09:12:20Z", "seq": 7, "shown_seq": 7, "quiet": False, "folded": False,
          "fault_dn": "sys/rack-unit-1/fan-1/fault-F0397", "before": "cleared", "after": "major", "reporters": 1,
          "event": {"seq": 7, "received": "2026-03-12T09:12:21Z", "at": "2026-03-12T09:12:20Z", "entity": "fan", "sensor": "FAN1_TACH1",
                    "instance": 1, "group": 0, "entity_id": 0, "entity_subtype": 0, "reading_type": 0, "offset": 3, "state": 1},
          "site": "hall-a", "controller": "srv-0001", "version": "1.0"}


class TcpWeb(WebFleet):
    def connection(self):
        return http.client.HTTPConnection(self.place, timeout=PATIENCE)


class UnixWeb(Process):
    """A server at a Unix socket."""

    def __init__(self, url, path, *options):
        super().__init__(program, "--fleet", url, "--listen", "unix:" + path, *options)
        self.path = path
        self.wait_for("ready: ")

    def connection(self):
        return UnixConnection(self.path)


def check_document(page):
    """The table of docs/fleet.md has the same addresses and parameters."""
    text = (Path(source) / "docs/fleet.md").read_text()
    told = {}
    for addresses, names in re.findall(r"^\| (`/api/v1/[^|]*)\|([^|]*)\|", text, re.M):
        for address in re.findall("`([^`]+)`", addresses):
            address = address if address.startswith("/api/v1/") else "/api/v1" + address
            address = re.sub("/(ID|N)$", lambda found: {"ID": "/{alarm}", "N": "/{group}"}[found[1]], address)
            told.setdefault(address, set()).update(re.findall("`([a-z_]+)`", re.sub(r"\([^)]*\)", "", names)))
    described = {}
    for address, _, operation in page.operations():
        described.setdefault(address, set()).update(one["name"] for one in page.parameters(operation, "query"))
    assert told == described, (told, described)


def needed(page, operation):
    return {one["name"]: one["example"] for one in page.parameters(operation, "query") if one.get("required")}


def check_questions(page, site):
    """Each parameter by itself with all its values, good and bad, and all of them together."""
    for address, method, operation in page.operations():
        if method != "get":
            continue
        path = page.good_target(address).split("?")[0]
        base = needed(page, operation)

        def get(status, without=(), path=path, address=address, base=base, **query):
            query = {name: value for name, value in {**base, **query}.items() if name not in without}
            return page.ask(site, "GET", address, path + "?" + urllib.parse.urlencode(query), status=status)

        etag = get(200).headers["ETag"]
        page.ask(site, "GET", address, path + "?" + urllib.parse.urlencode(base), {"If-None-Match": etag}, status=304)
        page.ask(site, "GET", address, path + "?x=%zz", status=400)
        query = page.parameters(operation, "query")
        for one in query:
            name, schema = one["name"], page.whole(one["schema"])
            beside = {"controller": "srv-0001"} if name == "fault_dn" else {}
            for value in [one["example"], *(schema[bound] for bound in ("minimum", "maximum") if bound in schema), *schema.get("enum", [])]:
                get(200, **{**beside, name: value})
            for value in bad_values(page, one["schema"]):
                get(400, **{name: value if "pattern" not in schema or name == "id" else value + "!"})
            if "maxLength" in schema:
                get(400, **{name: "x" * (schema["maxLength"] + 1)})
            if one.get("required"):
                get(400, without=[name])
        get(200, **{one["name"]: one["example"] for one in query})
        told = get(400, without=base, nonsense=1).json()["detail"]
        known = re.fullmatch(r"There is no parameter 'nonsense'; (?:this address takes none|there are (.*))\.", told)
        assert known, told
        assert set((known[1] or "").split(", ")) - {""} == {one["name"] for one in query}, (address, told)


def check_content(page, site, group):
    """Answers in which each member that may be there is there."""
    seen = set()

    def note(form, name):
        seen.update((name, member) for member in form)

    for one in page.ask(site, "GET", "/api/v1/alarms", "/api/v1/alarms?all=1&limit=1000", status=200).json()["alarms"]:
        note(one, "fleet_alarm")
    history = page.ask(site, "GET", "/api/v1/history", "/api/v1/history?limit=1000", status=200).json()
    for one in history["alarms"]:
        note(one, "fleet_alarm")
        whole = page.ask(site, "GET", "/api/v1/alarms/{alarm}", f"/api/v1/alarms/{one['id']}", status=200).json()
        note(whole, "alarm_with_changes")
        for step in whole["changes"]:
            note(step, "alarm_change")
        if "alarm" in one:
            page.ask(site, "GET", "/api/v1/alarms/{alarm}", f"/api/v1/alarms/{one['alarm']}", status=200)
    address = "/api/v1/history?limit=40&site=hall-a"
    while address:
        part = page.ask(site, "GET", "/api/v1/history", address, status=200).json()
        note(part, "history_page")
        address = part.get("next")
    for one in page.ask(site, "GET", "/api/v1/controllers", status=200).json()["controllers"]:
        note(one, "controller")
        changes = page.ask(site, "GET", "/api/v1/changes", f"/api/v1/changes?site={one['site']}&controller={one['controller']}&after=0",
                           status=200).json()["changes"]
        assert len(changes) == 10, (one, changes)
    whole = page.ask(site, "GET", "/api/v1/groups/{group}", f"/api/v1/groups/{group}", status=200).json()
    note(whole, "group_with_alarms")
    for one in page.ask(site, "GET", "/api/v1/collectors", status=200).json()["collectors"]:
        note(one, "collector")
    for one in page.ask(site, "GET", ACTIONS, status=200).json()["actions"]:
        note(one, "asked_action")
    schemas = page.document["components"]["schemas"]
    names = {name for name, _ in seen}
    missing = {(name, member) for name in names for member in schemas[name]["properties"]} - seen
    assert not missing, f"described, but in no answer: {sorted(missing)}"


def check_nothing_there(page, site):
    for address, target in (("/api/v1/alarms/{alarm}", "/api/v1/alarms/999999"), ("/api/v1/alarms/{alarm}", "/api/v1/alarms/x"),
                            ("/api/v1/groups/{group}", "/api/v1/groups/999999"),
                            ("/api/v1/changes", "/api/v1/changes?site=hall-a&controller=none&after=0")):
        page.ask(site, "GET", address, target, status=404)
    nothing = ask(site, "GET", "/api/v1/nothing")
    assert nothing.status == 404 and nothing.type == "application/problem+json"


def check_methods(page, site):
    for address in page.document["paths"]:
        for method in METHODS:
            page.take(address, method.upper(), ask(site, method.upper(), page.good_target(address)))


def check_actions(page, site, database, group):
    media = page.document["paths"][ACTIONS]["post"]["requestBody"]["content"]["application/json"]
    operator = {**basic("anna"), "Content-Type": "application/json"}
    active = database.query("select min(alarm_no) from alarm where ended = '' and ledger_no is not null and not is_shelved")[0]
    soon = database.query("select to_char(now() at time zone 'utc' + interval '1 hour', 'YYYY-MM-DD\"T\"HH24:MI:SS\"Z\"')")[0]

    def act(request, status, headers=operator):
        return page.ask(site, "POST", ACTIONS, headers=headers, body=json.dumps(request), status=status)

    for name, example in media["examples"].items():
        request = example["value"]
        page.expect(media["schema"], request, "example " + name)
        # The same with alarms that are there, and with a time to come.
        request = {**request, **({"alarms": active + request["alarms"].lstrip("0123456789").replace("+4", "+1")} if "alarms" in request else {}),
                   **({"group": group} if "group" in request else {}), **({"expires": soon} if "expires" in request else {}), "selection": True}
        spoiled = [{**request, "nonsense": 1}, {**request, "person": "bob"}, {**request, "alarms": active, "group": group}, {**request, "expires": 7},
                   {**request, "selection": "yes"}, {**request, "do": "dance"}]
        must = {"do", "alarms", "group", "for"} | ({"comment"} if request["do"] in ("close", "comment", "shelve") else set())
        spoiled += [{key: value for key, value in request.items() if key != gone} for gone in must & set(request)]
        for one in spoiled:
            assert page.problems(media["schema"], one), one
            act(one, 400)
        page.expect(media["schema"], request, "request " + name)
        act(request, 202)
    silent = database.query("select alarm_no from alarm where ledger_no is null and ended = ''")[0]
    act({"do": "acknowledge", "alarms": silent}, 202)
    act({"do": "acknowledge", "alarms": "999999"}, 409)
    act({"do": "acknowledge", "alarms": active}, 415, basic("anna"))
    act({"do": "acknowledge", "alarms": active}, 403, {**basic("victor"), "Content-Type": "application/json"})
    connection = site.connection()
    connection.putrequest("POST", ACTIONS)
    for name, value in {**operator, "Content-Length": "1000000"}.items():
        connection.putheader(name, value)
    connection.endheaders()
    page.take(ACTIONS, "POST", Answer(connection.getresponse()))
    connection.close()
    # A browser: with the cookie of a session, and with its token.
    login = ask(site, "POST", "/login", {"Content-Type": "application/json"}, json.dumps({"name": "anna", "password": PASSWORD}))
    cookie = {"Cookie": login.headers["Set-Cookie"].split(";")[0], "Content-Type": "application/json"}
    me = page.ask(site, "GET", "/api/v1/me", headers=cookie, status=200).json()
    assert me == {"name": "anna", "role": "operator", "csrf": login.json()["csrf"]}, me
    comment = {"do": "comment", "alarms": active, "comment": "from a browser"}
    act(comment, 403, cookie)
    act(comment, 202, {**cookie, "X-CSRF-Token": me["csrf"]})
    # What becomes of actions later.
    database.execute("""update action set state = (array['done', 'refused', 'expired', 'waiting'])[1 + action_no % 4], sent = now(),
        ended = case when action_no % 4 < 3 then now() end, why = case when action_no % 4 = 1 then 'Alarm 3 is over' else '' end""")


def check_refusals(page, users, proxied):
    for address, method, _ in page.operations():
        wrong = basic("anna", "") if address == "/api/v1/me" else None  # which tells who has not logged in, too
        page.ask(users, method.upper(), address, headers=wrong, status=401)
        page.ask(proxied, method.upper(), address, headers={"X-Remote-User": "stranger"}, status=403)
        page.ask(users, method.upper(), address, headers={"Host": "another.example"}, status=421)
    me = page.ask(users, "GET", "/api/v1/me", status=200).json()
    assert me == {"name": "", "role": "nobody"}, me
    for address, method, _ in page.operations():
        until("the login has to wait", lambda a=address, m=method: page.ask(
            users, m.upper(), a, headers=basic("stranger", "wrong password")).status == 429)


ALWAYS_THERE = ("/api/v1/me", "/api/v1/openapi.json")


def check_unavailable(page, site, database, start_web):
    """Without the database, and when too many log in at once."""
    active = database.query("select min(alarm_no) from alarm where ended = '' and ledger_no is not null")[0]
    database.primary.end()
    for address, method, _ in page.operations():
        if address not in ALWAYS_THERE:
            body = json.dumps({"do": "comment", "alarms": active, "comment": "x"}) if method == "post" else None
            headers = {**basic("anna"), "Content-Type": "application/json"}
            until(f"{address} is answered with status 503",
                  lambda a=address, m=method, h=headers, b=body: page.ask(site, m.upper(), a, None, h, b).status == 503)
    for address in ALWAYS_THERE:
        page.ask(site, "GET", address, headers=basic("anna"), status=200)

    def is_refused(address):
        # A password that was right is remembered, so each try has a server of its own.
        with start_web() as one, concurrent.futures.ThreadPoolExecutor(16) as many:
            statuses = list(many.map(lambda _: page.ask(one, "GET", address, headers=basic("victor")).status, range(16)))
        assert set(statuses) <= {200, 503}, statuses
        return 503 in statuses

    for address in ALWAYS_THERE:
        until("too many log in at once", lambda a=address: is_refused(a))


def fill(database):
    """What FilledDatabase leaves out, so that each member of an answer is there at least once."""
    body = json.dumps(CHANGE).replace("'", "''")
    database.execute(f"""update change c set body = ('{body}'::jsonb || jsonb_build_object('ledger_id', l.ledger_id, 'number', c.number,
        'previous', c.number - 1, 'alarm', l.ledger_id || '-' || c.number, 'fault', c.number))::text from ledger l where l.ledger_no = c.ledger_no""")
    database.execute("update change set person = 'bob', comment = 'seen' where number = 2")
    # Changes of alarms that are there.
    database.execute("""update change c set alarm = a.number from alarm a where a.ledger_no = c.ledger_no and a.number =
        (select max(number) from alarm where ledger_no = a.ledger_no)""")
    database.execute("update alarm set raises = 30 where alarm_no = 100")
    database.execute("""update alarm set ended = (array['cleared', 'withdrawn', 'merged', 'missing', 'ledger_gone'])[1 + alarm_no % 5]
        where ended <> ''""")
    database.execute("update collector set last_problem = 'The broker is away', last_problem_at = now()")


def main():
    me = pwd.getpwuid(os.geteuid()).pw_name
    with tempfile.TemporaryDirectory(dir="/tmp") as place:
        Path(place).chmod(0o755)
        with FilledDatabase(place + "/database", make_schema) as database:
            fill(database)
            database.make_silent("srv-0002", "hall-b")
            group = database.make_group("hall-b", "Input power lost", 4)
            users = place + "/users"
            add_user(web, users, "anna", "operator")
            add_user(web, users, "victor", "viewer")
            with TcpWeb(program, database.viewer()) as all_may_look, TcpWeb(program, database.operator(), "--users", users) as with_users:
                page = Description(ask(all_may_look, "GET", "/api/v1/openapi.json").json())
                check_form(page)
                check_document(page)
                version = subprocess.run([program, "--version"], capture_output=True, text=True, check=True).stdout.split()[-1]
                assert page.document["info"]["version"] == version, version
                check_actions(page, with_users, database, group)
                check_questions(page, all_may_look)
                check_content(page, all_may_look, group)
                check_nothing_there(page, all_may_look)
                check_methods(page, all_may_look)
                page.ask(all_may_look, "POST", ACTIONS, headers={"Content-Type": "application/json"},
                         body=json.dumps({"do": "acknowledge", "alarms": "1"}), status=403)
                with UnixWeb(database.viewer(), place + "/proxied", "--users", users, "--proxy-user", me, "--proxy-user-header",
                             "X-Remote-User") as proxied:
                    check_refusals(page, with_users, proxied)
            with TcpWeb(program, database.operator(), "--users", users) as site:
                check_unavailable(page, site, database, lambda: TcpWeb(program, database.operator(), "--users", users))
        missing = list(page.not_seen())
        assert not missing, "described, but not seen:\n" + "\n".join(missing)
    print(f"{len(page.seen)} kinds of answers are as they are described.")


main()
