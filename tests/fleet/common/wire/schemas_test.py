#!/usr/bin/env python3
"""schemas_test.py ROOT: messages of a fleet, as its programs write and read them, against docs/schemas: those that are right
are accepted, and none is with a member missing, with one that is not known, or with one that holds what it never may."""
import copy
import json
import subprocess
import sys
import unittest

ROOT = sys.argv.pop(1)
LEDGER = "0123456789abcdef0123456789abcdef"
ORIGIN = {"site": "lab", "controller": "rack-1", "version": "1.0.0"}
ALARM = {"alarm": f"{LEDGER}-5", "fault": 8, "fault_dn": "sys/board/fault-F0409", "dn": "sys/board", "code": 409,
         "name": "fltHot", "severity": "major", "created": "2025-03-12T09:03:00Z", "since": "2025-03-12T09:06:00Z",
         "updated": "2025-03-12T09:07:00Z", "count": 2, "reporters": 2, "operator_state": "none", "out_of_service": False,
         "sensor": "RISER2_INLET_TMP", "description": "too hot", "cause": "thermal-problem", "oid": "1.3.6",
         "event_type": None, "probable_cause": None, "probable_cause_number": None}
LIST = {"ledger_id": LEDGER, "replay": "list-1", "number": 40, "after": 3, "through": 17, "last": False, "alarms": [ALARM],
        **ORIGIN}
DONE = {"ledger_id": LEDGER, "done": True, "through": 40, "previous": 38, "replay": "changes-1", **ORIGIN}
CHANGES_REQUEST = {"ledger_id": LEDGER, "first": 17, "last": 40, "id": "changes-1"}
LIST_REQUEST = {"ledger_id": LEDGER, "alarms": True, "after": 12, "id": "list-2"}
ACTION = {"id": "fleet-17", "ledger_id": LEDGER, "expires": "2026-01-31T12:00:00Z", "person": "anna",
          "request": {"do": "acknowledge", "alarms": "3,4", "comment": "seen"}}
ACTED = {"id": "fleet-17", "done": True, **ORIGIN}
REFUSED = {"id": "fleet-17", "done": False, "why": "Alarm 3 is over", **ORIGIN}


def spoiled(message, optional=()):
    """The message without a member, with one too many, and with each member spoiled."""
    yield dict(message, unknown=1)
    for name in message:
        if name not in optional:
            yield {other: value for other, value in message.items() if other != name}
        yield dict(message, **{name: {"unknown": 1}})


class Schemas(unittest.TestCase):
    def expect(self, schema, accepted, refused):
        messages = [*accepted, *refused]
        ended = subprocess.run(["/usr/bin/python3", f"{ROOT}/tests/engine/support/validate_json.py",
                                f"{ROOT}/docs/schemas/{schema}.schema.json"],
                               input="".join(json.dumps(message) + "\n" for message in messages), text=True, check=True,
                               stdout=subprocess.PIPE)
        told = ended.stdout.splitlines()
        self.assertEqual(len(told), len(messages))
        for message, verdict in zip(messages, told):
            self.assertEqual(verdict == "accepted", message in accepted, (message, verdict))

    def test_requests(self):
        self.expect("mqtt_replay", [CHANGES_REQUEST, LIST_REQUEST],
                    [*spoiled(CHANGES_REQUEST, {"id"}), *spoiled(LIST_REQUEST, {"id", "after"}),
                     dict(CHANGES_REQUEST, alarms=True), dict(LIST_REQUEST, alarms=False)])

    def test_answers(self):
        spoiled_alarm = copy.deepcopy(LIST)
        spoiled_alarm["alarms"][0]["severity"] = "bad"
        self.expect("mqtt_replayed", [LIST, DONE, dict(LIST, alarms=[], last=True)],
                    [*spoiled(LIST), *spoiled(DONE), spoiled_alarm, dict(LIST, number=-1)])

    def test_actions(self):
        maintain = dict(ACTION, request={"do": "maintain", "dn": "sys", "comment": "swap", "for": 600})
        until = dict(ACTION, request={"do": "shelve", "alarms": "3,+1", "selection": True, "comment": "noise",
                                      "until": "2026-01-31T12:00:00Z"})
        missed = dict(ACTION, request={"do": "acknowledge_missed", "through": 412})
        settle = dict(ACTION, request={"do": "settle", "dn": "sys/fault-F0001"})
        gateway = dict(ACTION, request=dict(ACTION["request"], on_behalf_of="eve"))
        self.expect("mqtt_action", [ACTION, maintain, until, missed], [*spoiled(ACTION), settle, gateway])

    def test_outcomes_of_actions(self):
        self.expect("mqtt_acted", [ACTED, REFUSED],
                    [*spoiled(ACTED), *spoiled(REFUSED), dict(ACTED, why="but"), dict(REFUSED, done=True)])


if __name__ == "__main__":
    unittest.main()
