"""What tests of descriptions of APIs (OpenAPI 3.1) share: each answer of a server is held against the description, and what is
described must have been seen at the end."""
import http.client
import json
import re
import socket
import sys
import warnings
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent))
from processes import PATIENCE

warnings.simplefilter("ignore", DeprecationWarning)  # newer versions of jsonschema have another way to find schemas
import jsonschema

METHODS = ["get", "put", "post", "delete", "options", "head", "patch"]


class UnixConnection(http.client.HTTPConnection):
    def __init__(self, path):
        super().__init__("localhost", timeout=PATIENCE)
        self.path = path

    def connect(self):
        self.sock = socket.socket(socket.AF_UNIX)
        self.sock.settimeout(self.timeout)
        self.sock.connect(self.path)


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
            assert answer.status == 405 and sorted(answer.headers["Allow"].split(", ")) == sorted(allowed), what
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
                address = address.replace("{" + one["name"] + "}", str(one["example"]))
            needed = [f"{one['name']}={one['example']}" for one in self.parameters(operation, "query") if one.get("required")]
            return address + ("?" + "&".join(needed) if needed else "")

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


def bad_values(page, schema):
    """Values of a parameter that its schema refuses."""
    schema = page.whole(schema)
    if schema.get("type") == "integer":
        yield from (schema["minimum"] - 1, schema["maximum"] + 1, "x", "1.5", "")
    elif "enum" in schema or "pattern" in schema or "format" in schema:
        yield "nonsense"
