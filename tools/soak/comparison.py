"""The ledger of the run beside one uninterrupted replay of the same events."""

import itertools
import re

import events
import ledger_copy

# A reload of the tables gives descriptions another number. Which number it is, is compared apart from the rest.
TABLES = re.compile(r"tables (\d{6})")

FAULT = ("fault", "fault_dn", "dn", "code", "name", "severity", "shown_seq", "count", "reporters")
REPORT = ("entity", "sensor", "instance", "since_seq", "last_seq", "count")


def without_tables(text):
    return TABLES.sub("tables", text) if isinstance(text, str) else text


def tables_in(text):
    found = TABLES.search(text)
    return int(found[1]) if found else None


def differences(what, got, want):
    """One complaint for each member that differs."""
    return [f"{what}: {name} is {got.get(name)!r}, but {value!r} in the replay"
            for name, value in want.items() if without_tables(got.get(name)) != without_tables(value)]


def alarm_number(alarm):
    """Of an alarm's id, which begins with the ledger's id if there is one."""
    return int(str(alarm).rsplit("-", 1)[-1])


def replayed_record(told):
    if "record" not in told:
        return None
    return {"change": told["change"], **{name: told["record"][name] for name in ledger_copy.RECORD[1:]}}


def replayed_change(told):
    change = {name: told[name] for name in ledger_copy.CHANGE if name in told}
    change["alarm"] = alarm_number(told["alarm"])
    change["other"] = alarm_number(told.get("merged_into", told.get("related", 0)))
    return change


def check_events(inputs, day):
    """Every input is an event that was sent, and none is there twice. Returns complaints and the number of each id."""
    complaints = []
    numbers = {}
    for expected, (number, event, _) in zip(itertools.count(1), inputs):
        if number != expected:
            complaints.append(f"the ledger has input {number} where input {expected} belongs")
            return complaints, numbers
        event_id = event["id"]
        sent = day.event(event_id or "")
        if sent is None:
            complaints.append(f"input {number}: nobody sent the event {event}")
            continue
        if event_id in numbers:
            complaints.append(f"event {event_id} is there twice, as input {numbers[event_id]} and as input {number}")
        numbers[event_id] = number
        sent.setdefault("instance", 1)
        for name in ledger_copy.EVENT:
            if event[name] != sent[name]:
                complaints.append(f"input {number}: {name} is {event[name]!r}, but {sent[name]!r} was sent")
    return complaints, numbers


def check_acknowledgements(numbers, acknowledged):
    """Every acknowledged event is there, under the number that its client was told."""
    complaints = []
    by_client = {}
    for event_id, number in numbers.items():
        by_client[events.parts_of(event_id)[:2]] = number
    for client, count, sent in acknowledged:
        there = by_client.get((client, count))
        if there is None:
            complaints.append(f"event {count} of client {client} was acknowledged as {sent.number}, but is not there")
        elif there != sent.number:
            complaints.append(f"event {count} of client {client} was acknowledged as {sent.number}, but is {there}")
    return complaints


def check_tables(inputs, sent_of):
    """Every record was made under tables that were in force between its event's sending and its acknowledgement."""
    complaints = []
    for number, event, record in inputs:
        used = tables_in(record["descr"]) if record else None
        sent = sent_of(event["id"])
        if used is None or sent is None or sent.newest_tables is None:
            continue
        if not sent.oldest_tables <= used <= sent.newest_tables:
            complaints.append(f"input {number} was handled under tables {used}, but from its sending to its "
                              f"acknowledgement tables {sent.oldest_tables} to {sent.newest_tables} were in force")
    return complaints


def check_records(inputs, changes, replayed):
    """Records, outcomes and changes are those of the replay. `replayed` are the objects that it printed, without its
    summary; an event of no interest has none."""
    complaints = []
    changes = iter(changes)
    last_change = 0
    told = next(replayed, None)
    for number, _, record in inputs:
        here = told if told is not None and told["seq"] == number else None
        if here is not None:
            told = next(replayed, None)
        want = replayed_record(here) if here else None
        if (record is None) != (want is None):
            complaints.append(f"input {number} has {'no' if record is None else 'a'} record, unlike in the replay")
        elif record is not None:
            complaints += differences(f"input {number}", record, want)
        for wanted in (replayed_change(change) for change in (here["changes"] if here else ())):
            got = next(changes, None)
            if got is None:
                complaints.append(f"change {wanted['number']} of input {number} is missing")
                continue
            if got["number"] != last_change + 1:
                complaints.append(f"after change {last_change} comes change {got['number']}")
                return complaints
            last_change = got["number"]
            complaints += differences(f"change {got['number']}", got, wanted)
    if told is not None:
        complaints.append(f"the replay has an input {told['seq']} that the ledger has not")
    further = next(changes, None)
    if further is not None:
        complaints.append(f"change {further['number']} is not in the replay")
    return complaints


def check_active(active, explained, summary):
    """The active faults, and who reports them, are those at the end of the replay. `explained` answers with the
    reports of a fault."""
    complaints = []
    got = {fault["fault_dn"]: fault for fault in active}
    want = {fault["fault_dn"]: fault for fault in summary["active"]}
    if len(got) != len(active):
        complaints.append("a fault is active twice")
    complaints += [f"{dn} is active, but not in the replay" for dn in sorted(got.keys() - want.keys())]
    complaints += [f"{dn} is active in the replay, but not in the ledger" for dn in sorted(want.keys() - got.keys())]
    for dn in sorted(got.keys() & want.keys()):
        complaints += differences(dn, got[dn], {name: want[dn][name] for name in FAULT})
        if alarm_number(got[dn]["alarm"]) != alarm_number(want[dn]["alarm"]):
            complaints.append(f"{dn} belongs to alarm {got[dn]['alarm']}, but to {want[dn]['alarm']} in the replay")
        complaints += differences(f"the record of {dn}", got[dn]["record"], {
            name: want[dn]["record"][name] for name in ledger_copy.RECORD[1:]})
        reports = [sorted(tuple(report[name] for name in REPORT) for report in reported)
                   for reported in (explained(dn), want[dn]["reports"])]
        if reports[0] != reports[1]:
            complaints.append(f"{dn} is reported by {reports[0]}, but by {reports[1]} in the replay")
    return complaints
