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
import socket
import sys
import warnings

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "redfish"))
from service import PASSWORD, PATIENCE, Directory, Engine, Process, Web, make_users, slow, until

warnings.simplefilter("ignore", DeprecationWarning)  # newer versions of jsonschema have another way to find schemas
import jsonschema

METHODS = ["get", "put", "post", "delete", "options", "head", "patch"]
FAN = "sys/rack-unit-1/fan-module-1-1/fan-1/fault-F0395"
NO_LEDGER = "0" * 32


class UnixConnection(http.client.HTTPConnection):
    def __init__(self, path):
        super().__init__("localhost", timeout=PATIENCE)
        self.path = path

    def connect(self):
        self.sock = socket.socket(socket.AF_UNIX)
        self.sock.settimeout(self.timeout)
        self.sock.connect(self.path)


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


class Answer:
    def __init__(self, answer, with_body=True):
        self.status, self.headers = answer.status, answer.headers
        self.type = answer.headers.get_content_type() if "Content-Type" in answer.headers else None
        self.body = answer.read() if with_body else b""

    def json(self):
        return json.loads(self.body)


def ask(web, method, target, headers=None, body=None):
    connection = web.connection()
    try:
        connection.request(method, target, body, headers or {})
        return Answer(connection.getresponse())
    finally:
        connection.close()


def basic(user, password=PASSWORD):
    return {"Authorization": "Basic " + base64.b64encode(f"{user}:{password}".encode()).decode()}


class Description:
    def __init__(self, document):
        self.document = document
        self.resolver = jsonschema.RefResolver("", document)
        self.seen = set()  # address, method, status, media type

    def whole(self, part):
        """What a reference refers to."""
        return self.resolver.resolve(part["$ref"])[1] if "$ref" in part else part

    def problems(self, schema, value):
        checker = jsonschema.FormatChecker()
        return jsonschema.exceptions.best_match(
            jsonschema.Draft202012Validator(schema, resolver=self.resolver, format_checker=checker).iter_errors(value))

    def expect(self, schema, value, what):
        problem = self.problems(schema, value)
        assert problem is None, f"{what}: {problem.json_path}: {problem.message[:300]}"

    def operations(self):
        for address, item in self.document["paths"].items():
            for method, operation in item.items():
                yield address, method, operation

    def parameters(self, operation, place):
        return [one for one in map(self.whole, operation.get("parameters", [])) if one["in"] == place]

    def take(self, address, method, answer):
        """Holds an answer against the description."""
        what = f"{method} {address}: {answer.status} {answer.body[:300]}"
        operations = self.document["paths"][address]
        allowed = [one.upper() for one in operations] + (["HEAD"] if "get" in operations else [])
        if method not in allowed:
            assert answer.status == 405 and answer.headers["Allow"] == ", ".join(allowed), what
            if method != "HEAD":
                self.expect({"$ref": "#/components/schemas/problem"}, answer.json(), what)
            return answer
        operation = operations["get" if method == "HEAD" else method.lower()]
        response = operation["responses"].get(str(answer.status))
        assert response, what + " is not described"
        response = self.whole(response)
        for name, header in response.get("headers", {}).items():
            header = self.whole(header)
            value = answer.headers[name]
            assert value is not None or not header.get("required"), f"{what}: {name} is missing"
            if value is not None:
                number = header["schema"].get("type") == "integer"
                self.expect(header["schema"], int(value) if number else value, what + ": " + name)
        if method == "HEAD" or answer.type is None:
            assert answer.body == b"", what
        else:
            assert answer.type in response.get("content", {}), f"{what}: {answer.type} is not described"
            schema = response["content"][answer.type]["schema"]
            self.expect(schema, answer.json() if "json" in answer.type else answer.body.decode(), what)
        if method != "HEAD":
            self.seen.add((address, method.lower(), answer.status, answer.type))
        return answer

    def ask(self, web, method, address, target=None, headers=None, body=None, status=None):
        answer = self.take(address, method, ask(web, method, target or self.good_target(address), headers, body))
        assert status is None or answer.status == status, (method, target or address, status, answer.status, answer.body)
        return answer

    def good_target(self, address):
        """The address with what it cannot do without."""
        for method, operation in self.document["paths"][address].items():
            for one in self.parameters(operation, "path"):
                address = address.replace("{" + one["name"] + "}", one["example"])
            needed = [one for one in self.parameters(operation, "query") if one.get("required")]
            return address + "".join("?" + one["name"] + "=" + one["example"] for one in needed)

    def not_seen(self):
        for address, method, operation in self.operations():
            for status, response in operation["responses"].items():
                for kind in self.whole(response).get("content", {None: None}):
                    if (address, method, int(status), kind) not in self.seen:
                        yield f"{method} {address}: {status} {kind or ''}"


def references(part):
    if isinstance(part, dict):
        if isinstance(part.get("$ref"), str):
            yield part["$ref"]
        for one in part.values():
            yield from references(one)
    elif isinstance(part, list):
        for one in part:
            yield from references(one)


def open_objects(part, place):
    if isinstance(part, dict):
        if isinstance(part.get("properties"), dict) and part.get("additionalProperties") is not False:
            yield place
        for name, one in part.items():
            yield from open_objects(one, f"{place}/{name}")
    elif isinstance(part, list):
        for one in part:
            yield from open_objects(one, place)


def check_form(page):
    """What OpenAPI 3.1 demands of the parts that are used here."""
    document = page.document
    assert re.fullmatch(r"3\.1\.[0-9]+", document["openapi"])
    assert set(document) == {"openapi", "info", "servers", "security", "tags", "paths", "components"}
    assert set(document["info"]) == {"title", "version", "description"} and all(document["info"].values())
    tags = [tag["name"] for tag in document["tags"]]
    ids = []
    for address, method, operation in page.operations():
        what = method + " " + address
        assert address.startswith("/") and method in METHODS, what
        assert set(operation) <= {"operationId", "tags", "summary", "description", "parameters", "requestBody", "responses"}, what
        ids.append(operation["operationId"])
        assert operation["summary"] and set(operation["tags"]) <= set(tags), what
        in_path = [one["name"] for one in page.parameters(operation, "path")]
        assert in_path == re.findall(r"{(\w+)}", address), what
        names = []
        for one in map(page.whole, operation.get("parameters", [])):
            assert one["in"] in ("path", "query", "header") and one["description"], what
            assert one["in"] != "path" or one["required"] is True, what
            assert one["in"] == "header" or "example" in one, (what, one["name"])
            jsonschema.Draft202012Validator.check_schema(one["schema"])
            if "example" in one:
                page.expect(one["schema"], one["example"], what + ": example of " + one["name"])
            names.append((one["in"], one["name"]))
        assert len(set(names)) == len(names), what
        for status, response in operation["responses"].items():
            assert re.fullmatch("[1-5][0-9][0-9]", status) and page.whole(response)["description"], (what, status)
    assert len(set(ids)) == len(ids), ids
    schemes = document["components"]["securitySchemes"]
    for requirement in document["security"]:
        assert set(requirement) <= set(schemes)
    assert {name for requirement in document["security"] for name in requirement} == set(schemes)
    for schema in document["components"]["schemas"].values():
        jsonschema.Draft202012Validator.check_schema(schema)
    found = list(open_objects(document["components"]["schemas"], ""))
    assert not found, f"additionalProperties is not false: {found}"
    used = set(references(document))
    for one in used:
        assert one.startswith("#/"), one
        page.resolver.resolve(one)
    for kind in ("parameters", "headers", "responses"):
        unused = [name for name in document["components"][kind] if f"#/components/{kind}/{name}" not in used]
        assert not unused, f"nothing refers to these {kind}: {unused}"


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


def bad_values(page, schema):
    """Values of a parameter that its schema refuses."""
    schema = page.whole(schema)
    if schema.get("type") == "integer":
        yield from (schema["minimum"] - 1, schema["maximum"] + 1, "x", "1.5", "")
    elif "enum" in schema or "pattern" in schema or "format" in schema:
        yield "nonsense"


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
