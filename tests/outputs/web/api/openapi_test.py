"""The description of the API (OpenAPI 3.1) is held against what real servers answer, in both directions: each answer
that is seen here is described, and each address, method, status, media type and parameter that is described is seen.
openapi_test.py POLAIGA POLAIGA_WEB SOURCE"""
import base64
import concurrent.futures
import http.client
import json
import os
import pathlib
import pwd
import re
import sys

HERE = pathlib.Path(__file__).resolve().parent
sys.path[:0] = [str(HERE.parent / "redfish"), str(HERE.parents[2] / "support")]
from described import METHODS, Answer, Description, UnixConnection, ask, bad_values, check_form
from service import PASSWORD, PATIENCE, Directory, Engine, Process, Web, make_users, slow, until

FAN = "sys/rack-unit-1/fan-module-1-1/fan-1/fault-F0395"
NO_LEDGER = "0" * 32


class UnixWeb(Process):
    """A server at a Unix socket; see Web."""

    def __init__(self, program, path, *arguments):
        super().__init__(program, "--listen", "unix:" + path, *arguments)
        self.path = path
        self.wait_for("ready: ")

    def connection(self):
        return UnixConnection(self.path)


class TcpWeb(Web):
    def connection(self):
        return http.client.HTTPConnection(self.url.split("://")[1], timeout=PATIENCE)


def basic(user, password=PASSWORD):
    return {"Authorization": "Basic " + base64.b64encode(f"{user}:{password}".encode()).decode()}


def check_vocabulary(page, source):
    """What the commands' --json has is described as docs/schemas describes it, and nothing of it twice."""
    schemas = page.document["components"]["schemas"]
    own = json.loads((source / "outputs/web/api/openapi.json").read_text())["components"]["schemas"]
    definitions = json.loads((source / "docs/schemas/definitions.schema.json").read_text())["$defs"]
    assert not set(own) & set(definitions), set(own) & set(definitions)
    taken = set(schemas) - set(own) - set(definitions)
    assert taken == {"active", "catalog", "explain", "history", "maintenance", "missed", "stats", "tail"}, taken
    for name in taken:
        file = json.loads((source / f"docs/schemas/{name}.schema.json").read_text())
        assert name not in own and schemas[name]["description"] == file["description"], name
        assert list(schemas[name]["properties"]) == list(file["properties"]), name
    entity = json.loads((source / "docs/schemas/event.schema.json").read_text())["properties"]["entity"]
    assert schemas["entity"]["enum"] == entity["enum"]


def check_document(page, source):
    """The table of docs/web.md has the same addresses and parameters."""
    rows = re.findall(r"^\| `(/api/v1/[^`]*)`(?: \(POST\))? *\|([^|]*)\|", (source / "docs/web.md").read_text(), re.M)
    told = {address.replace("ID", "{alarm}"): set(re.findall("`([a-z_]+)`", names)) for address, names in rows if address != "/api/v1/"}
    described = {address: {one["name"] for one in page.parameters(operation, "query")} for address, _, operation in page.operations()}
    assert told == described, (told, described)


def check_parameters(page, web):
    for address, method, operation in page.operations():
        if method != "get":
            continue
        query = page.parameters(operation, "query")
        target = page.good_target(address)
        glue = "&" if "?" in target else "?"
        path = target.split("?")[0]
        for one in query:
            if one["name"] in ("at", "before", "fault_dn", "after"):  # do not go with all others, or are needed
                page.ask(web, "GET", address, f"{path}?{one['name']}={one['example']}", status=200)
            needed = glue + "after=0" if address.endswith("/changes") and one["name"] != "after" else ""
            base = target + needed + ("&" if needed else glue)
            if one["name"] not in target:
                page.ask(web, "GET", address, f"{base}{one['name']}={one['example']}", status=200)
            schema = page.whole(one["schema"])
            for bound in [schema[name] for name in ("minimum", "maximum") if name in schema]:
                page.ask(web, "GET", address, f"{base}{one['name']}={bound}", status=200)
            for value in schema.get("enum", []):
                page.ask(web, "GET", address, f"{base}{one['name']}={value}", status=200)
            for value in bad_values(page, one["schema"]):
                page.ask(web, "GET", address, f"{base}{one['name']}={value}", status=400)
            if one.get("required"):
                page.ask(web, "GET", address, path, status=400)
        told = page.ask(web, "GET", address, target + glue + "nonsense=1", status=400).json()["detail"]
        known = re.fullmatch(r"There is no parameter 'nonsense'; (?:this address takes none|there are (.*))\.", told)
        assert known, told
        assert set((known[1] or "").split(", ")) - {""} == {one["name"] for one in query}, (address, told)


def check_methods(page, web):
    for address in page.document["paths"]:
        for method in METHODS:
            page.take(address, method.upper(), ask(web, method.upper(), page.good_target(address)))
    nothing = ask(web, "GET", "/api/v1/nothing")
    assert nothing.status == 404 and nothing.type == "application/problem+json"


def check_questions(page, web, change):
    """With a ledger, an engine and nobody who has logged in."""
    page.ask(web, "GET", "/api/v1/changes", "/api/v1/changes?after=0", status=200)
    page.ask(web, "GET", "/api/v1/changes", f"/api/v1/changes?after={change}&wait=1", status=200)
    gap = page.ask(web, "GET", "/api/v1/changes", "/api/v1/changes?after=999", status=200).json()["gap"]
    assert gap == {"first": change + 1, "last": 999}, gap
    for address, method, operation in page.operations():
        if method == "get":
            target = page.good_target(address)
            page.ask(web, "GET", address, target.replace("{alarm}", "1") + "?x=%zz", status=400)
            if address != "/api/v1/changes":
                etag = page.ask(web, "GET", address, target, status=200).headers["ETag"]
                if "304" in operation["responses"] and address != "/api/v1/stats":
                    page.ask(web, "GET", address, target, {"If-None-Match": etag}, status=304)
    until("the measures are asked for twice within a second", lambda: page.ask(
        web, "GET", "/api/v1/stats", headers={"If-None-Match": page.ask(web, "GET", "/api/v1/stats").headers["ETag"]}).status == 304)
    page.ask(web, "GET", "/api/v1/alarms/{alarm}", "/api/v1/alarms/99", status=404)
    page.ask(web, "GET", "/api/v1/explain", "/api/v1/explain?fault_dn=sys/none/fault-F0001", status=404)
    page.ask(web, "GET", "/api/v1/history", f"/api/v1/history?before=3&fault_dn={FAN}", status=400)


def events_of(web, target, headers=None):
    """Events as they come, as pairs of a name and its data."""
    connection = web.connection()
    connection.request("GET", target, headers={"Accept": "text/event-stream", **(headers or {})})
    answer = connection.getresponse()
    yield Answer(answer, with_body=False)
    name, data = None, None
    for line in answer:
        field, _, value = line.decode().rstrip("\n").partition(": ")
        if field == "event":
            name = value
        elif field == "data":
            data = value
        elif field == "" and name:
            yield name, json.loads(data)
            name = None


def check_stream(page, web):
    address = "/api/v1/changes"
    response = page.document["paths"][address]["get"]["responses"]["200"]["content"]["text/event-stream"]
    forms = response["schema"]["x-events"]
    seen = set()
    for last_id, query in ((NO_LEDGER + "-7", ""), ("", "?after=999"), ("", "?after=0")):
        events = events_of(web, address + query, {"Last-Event-ID": last_id} if last_id else {})
        head = next(events)
        assert (head.status, head.type) == (200, "text/event-stream")
        page.seen.add((address, "get", 200, head.type))
        wanted = {"gap"} if query != "?after=0" else {"change", "view", "engine"}
        for name, data in events:
            page.expect(forms[name], data, "event " + name)
            seen.add(name)
            wanted.discard(name)
            if not wanted:
                break
        events.close()
    assert seen == set(forms), (seen, set(forms))


def check_actions(page, web):
    address = "/api/v1/actions"
    media = page.document["paths"][address]["post"]["requestBody"]["content"]["application/json"]
    operator = {**basic("operator"), "Content-Type": "application/json"}

    def act(request, status, headers=operator):
        return page.ask(web, "POST", address, headers=headers, body=json.dumps(request), status=status)

    for name, example in media["examples"].items():
        request = example["value"]
        page.expect(media["schema"], request, "example " + name)
        spoiled = [{**request, "nonsense": 1}, {**request, "on_behalf_of": "somebody"}]
        needed = {"do", "alarms", "dn", "through", "for"} | ({"comment"} if request["do"] in ("close", "comment", "shelve", "maintain") else set())
        spoiled += [{key: value for key, value in request.items() if key != gone} for gone in needed & set(request)]
        for one in spoiled:
            assert page.problems(media["schema"], one), one
            assert act(one, None).status in (400, 409), one
        act(request, 200)
    first = act({"do": "comment", "alarms": "1", "comment": "once", "id": "once"}, 200).json()
    again = act({"do": "comment", "alarms": "1", "comment": "once", "id": "once"}, 200).json()
    assert again == {"seq": first["seq"], "duplicate": True}, (first, again)
    act({"do": "acknowledge", "alarms": "1", "ledger_id": NO_LEDGER}, 409)
    act({"do": "acknowledge", "alarms": "99"}, 409)
    act({"do": "dance", "alarms": "1"}, 400)
    act({"do": "acknowledge", "alarms": "1"}, 415, basic("operator"))
    act({"do": "acknowledge", "alarms": "1"}, 403, {**basic("viewer"), "Content-Type": "application/json"})
    page.ask(web, "POST", address, address + "?x=%zz", operator, "{}", 400)
    connection = web.connection()
    connection.putrequest("POST", address)
    for name, value in {**operator, "Content-Length": "1000000"}.items():
        connection.putheader(name, value)
    connection.endheaders()
    page.take(address, "POST", Answer(connection.getresponse()))
    connection.close()
    # A browser: with the cookie of a session, and with its token.
    login = ask(web, "POST", "/login", {"Content-Type": "application/json"}, json.dumps({"name": "operator", "password": PASSWORD}))
    cookie = {"Cookie": login.headers["Set-Cookie"].split(";")[0], "Content-Type": "application/json"}
    me = page.ask(web, "GET", "/api/v1/me", headers=cookie, status=200).json()
    assert me == {"name": "operator", "role": "operator", "csrf": login.json()["csrf"]}, me
    comment = {"do": "comment", "alarms": "1", "comment": "from a browser"}
    act(comment, 403, cookie)
    act(comment, 200, {**cookie, "X-CSRF-Token": me["csrf"]})
    alarm = page.ask(web, "GET", "/api/v1/alarms/{alarm}", headers=cookie, status=200).json()
    assert {action["on_behalf_of"] for action in alarm["actions"]} == {"operator"}, alarm


def check_refusals(page, users, proxied):
    for address, method, _ in page.operations():
        wrong = basic("viewer:") if address == "/api/v1/me" else None  # which tells who has not logged in, too
        page.ask(users, method.upper(), address, headers=wrong, status=401)
        page.ask(proxied, method.upper(), address, headers={"X-Remote-User": "stranger"}, status=403)
        page.ask(users, method.upper(), address, headers={"Host": "another.example"}, status=421)
    me = page.ask(users, "GET", "/api/v1/me", status=200).json()
    assert me == {"name": "", "role": "nobody"}, me
    for address, method, _ in page.operations():
        until("the login has to wait", lambda: page.ask(
            users, method.upper(), address, headers=basic("stranger", "wrong password")).status == 429)


# These answer whatever is gone.
ALWAYS_THERE = ("/api/v1/me", "/api/v1/status", "/api/v1/openapi.json")


def check_unavailable(page, web):
    """Without a ledger, an engine and the program; then with all connections taken."""
    for address, method, _ in page.operations():
        if address not in ALWAYS_THERE:
            target = "/api/v1/changes?after=0" if address == "/api/v1/changes" else None
            body = json.dumps({"do": "acknowledge", "alarms": "1"}) if method == "post" else None
            page.ask(web, method.upper(), address, target, {"Content-Type": "application/json"}, body, 503)
    for address in ALWAYS_THERE:
        page.ask(web, "GET", address, status=200)
    connections = []

    def refuses_one_more():
        assert len(connections) < 900, "one user may have that many connections"
        connections.append(web.connection())
        connections[-1].connect()
        return page.ask(web, "GET", "/api/v1/me").status == 503

    until("the server refuses one more", refuses_one_more)
    for connection in connections:
        connection.close()


def check_busy(page, start_web):
    """Many log in at once. A password that was right is remembered, so each try has a server of its own."""
    def is_refused(address):
        web = start_web()
        with concurrent.futures.ThreadPoolExecutor(16) as many:
            statuses = list(many.map(lambda _: page.ask(web, "GET", address, headers=basic("viewer")).status, range(16)))
        web.end()
        assert set(statuses) <= {200, 503}, statuses
        return 503 in statuses

    for address in ALWAYS_THERE:
        until("too many log in at once", lambda: is_refused(address))


def main():
    polaiga, polaiga_web, source = sys.argv[1], sys.argv[2], pathlib.Path(sys.argv[3])
    me = pwd.getpwuid(os.geteuid()).pw_name
    with Directory() as directory:
        engine = Engine(polaiga, directory, "--gateway", me)
        open_web = TcpWeb(polaiga_web, polaiga, engine, "--listen", "127.0.0.1:0")
        page = Description(ask(open_web, "GET", "/api/v1/openapi.json").json())
        check_form(page)
        check_vocabulary(page, source)
        check_document(page, source)
        version = ask(open_web, "GET", "/api/v1/status").json()["engine"]["library_version"]
        assert page.document["info"]["version"] == version, version
        engine.feed(slow(1), slow(2), slow(2, 0), *[slow(fan) for fan in range(3, 9)])
        until("the server has read the changes", lambda: ask(open_web, "GET", "/api/v1/alarms").json()["change"] == 9)
        page.ask(open_web, "POST", "/api/v1/actions", headers={"Content-Type": "application/json"},
                 body=json.dumps({"do": "acknowledge", "alarms": "1"}), status=403)
        check_questions(page, open_web, 9)
        check_parameters(page, open_web)
        check_methods(page, open_web)
        check_stream(page, open_web)
        users = make_users(polaiga_web, directory)
        with_users = TcpWeb(polaiga_web, polaiga, engine, "--listen", "127.0.0.1:0", "--users", users)
        check_actions(page, with_users)
        check_parameters(page, open_web)  # again, with all that operators have done
        proxied = UnixWeb(polaiga_web, directory + "/proxied", "--ledger", engine.ledger, "--control", engine.control,
                          "--program", polaiga, "--users", users, "--proxy-user", me, "--proxy-user-header", "X-Remote-User")
        check_refusals(page, with_users, proxied)
        check_busy(page, lambda: TcpWeb(polaiga_web, polaiga, engine, "--listen", "127.0.0.1:0", "--users", users))
        engine.end()
        silent = until("the server has noticed that the engine is gone", lambda: (
            lambda told: told if told["engine"] is None else None)(page.ask(open_web, "GET", "/api/v1/status").json()))
        assert silent["silence"], silent
        without = UnixWeb(polaiga_web, directory + "/without", "--ledger", directory + "/none.db", "--control",
                          directory + "/none.sock", "--program", directory + "/none")
        check_unavailable(page, without)
    missing = list(page.not_seen())
    assert not missing, "described, but not seen:\n" + "\n".join(missing)


main()
