#!/usr/bin/env python3
"""How a fleet holds out, with limits: fleet_bench.py [OPTIONS] PROGRAMS
Simulated controllers make changes while the leader of an inbox, a collector and the primary of the database are killed in
turn. Then: how many changes a second one, two and four collectors take; how much memory controllers cost; and how fast the
page's questions are answered from a database with many changes and alarms."""
import argparse
import signal
import sys
import tempfile
import time
import urllib.request
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "tests/support"))
sys.dont_write_bytecode = True
from figures import Figures
from processes import Process, until
from whole_fleet import Fleet

MIB = 1024 * 1024
figures = Figures()


def wait_for(simulation, seconds, after):
    """Waits so many seconds, as long as the simulation runs, and tells how changes were acknowledged meanwhile."""
    began = now = simulation.figures()
    slowest, end = [], time.monotonic() + seconds
    while time.monotonic() < end:
        assert not simulation.process.has_ended(), simulation.process.text()[-2000:]
        time.sleep(0.5)
        now = simulation.figures()
        slowest.append(now.get("p99_ms", 0))
    acked = now.get("acked", 0) - began.get("acked", 0)
    slowest.sort()
    print(f"{after}: {acked / seconds:.0f} changes a second acknowledged, 99 of 100 in a second within {slowest[len(slowest) // 2]} ms "
          f"(median of all seconds; {slowest[-1]} in the worst one), {now.get('waiting')} wait, {now.get('online')} online", flush=True)


def broker_memory(fleet):
    return sum(node.process.memory() for node in fleet.broker.nodes if node.process is not None)


def kills(place, options):
    """Changes come at the full rate, and everything is killed in turn."""
    with Fleet(place, options.programs) as fleet:
        before = broker_memory(fleet)
        simulation = fleet.simulate("--controllers", options.controllers, "--sites", 20, "--rate", options.rate, "--burst",
                                    "--connect-rate", 25, "--wait", 300)
        until("all controllers have connected", lambda: simulation.figures().get("made", 0) > 0, patience=600)
        wait_for(simulation, options.pause, "all is there")
        thousands = options.controllers / 1000
        figures.note("broker: MiB for 1,000 controllers, all nodes", (broker_memory(fleet) - before) / MIB / thousands)
        figures.note("a collector: MiB in all", max(one.memory() for one in fleet.collectors) / MIB)

        fleet.collectors.pop(0).kill()
        wait_for(simulation, options.pause, "a collector was killed")
        fleet.add_collector()

        leader = fleet.broker.leader_of("polaiga.inbox.0")
        leader.end(signal.SIGKILL)
        wait_for(simulation, options.pause, "the leader of an inbox was killed")
        # It takes the longer to come back, the more queues it has. The others do its work meanwhile.
        began = time.monotonic()
        leader.start()
        until("the node of the broker is back", leader.is_there, 900)
        figures.note("seconds until the node of the broker was back", time.monotonic() - began)
        wait_for(simulation, options.pause, "it is back")

        fleet.database.primary.end(signal.SIGKILL)
        fleet.database.promote()
        wait_for(simulation, options.pause, "the primary of the database was killed")

        end = simulation.stop()
        figures.note("changes made a second", end["made"] / max(1, end["seconds_of_changes"]))
        figures.note("changes told, of 100 that were made", 100 * end["told"] / max(1, end["made"]))
        figures.at_most("changes that were not acknowledged at the end", end["waiting"], 0)
        figures.at_least("acknowledged within 2 s, of 100", 100 * end["acked_within_2_s"] / max(1, end["acked"]), 99)
        differences = fleet.differences(simulation.record)
        for one in differences[:20]:
            print(one)
        figures.at_most("controllers whose changes or alarms differ in the database", len(differences), 0)


def throughput(place, options, collectors):
    """How many changes a second are acknowledged when there are more than can be."""
    with Fleet(place, options.programs, collectors=collectors) as fleet:
        simulation = fleet.simulate("--controllers", 200, "--sites", 20, "--rate", 20_000, "--duration", 15, "--wait", 600)
        until("changes are acknowledged", lambda: simulation.figures().get("acked", 0) > 0)
        before = simulation.figures()
        time.sleep(10)
        after = simulation.figures()
        figures.note(f"changes a second with {collectors} collectors",
                     (after["acked"] - before["acked"]) / (after["seconds"] - before["seconds"]))
        end = simulation.end()
        figures.at_most("changes that were not acknowledged at the end", end["waiting"], 0)


FILL = """
set search_path = polaiga;
insert into site (name) select 'hall-' || n from generate_series(1, 20) n;
insert into controller (site_id, name, is_online)
  select site_id, 'rack-' || lpad(n::text, 5, '0'), true from generate_series(1, {controllers}) n
  join site on site.name = 'hall-' || (n % 20 + 1);
insert into ledger (controller_id, ledger_id, through, is_list_wanted)
  select controller_id, md5(controller_id::text), 1000000, false from controller;
update controller set ledger_no = ledger.ledger_no from ledger where ledger.controller_id = controller.controller_id;
select make_change_partition(current_date);
insert into alarm (controller_id, site_id, ledger_no, number, fault, last_change, fault_dn, dn, code, name, description, severity,
                   worst, created, since, updated, cleared, ended, is_grouping_due)
  select controller_id, site_id, ledger_no, n, n, n, 'sys/rack-unit-1/fan-' || n % 8 || '/fault-F0' || 100 + n % 300,
         'sys/rack-unit-1/fan-' || n % 8, 100 + n % 300, 'fltFault' || n % 300, 'Something is wrong with the part ' || n % 1000,
         1 + n % 5, 1 + n % 5, at, at, at, case when n % 10 > 0 then at + interval '5 minutes' end,
         case when n % 10 > 0 then 'cleared' else '' end, false
  from generate_series(1, {alarms}) n
  cross join lateral (select now() - interval '80 days' * (n::float / {alarms}) as at) moments
  join controller on controller_id = n % {controllers} + 1;
insert into change (ledger_no, number, at, kind, alarm, fault_dn, severity_before, severity_after, sequence, body)
  select n % {controllers} + 1, n / {controllers} + 1, now(), 'raised', n / {controllers} + 1, 'sys/rack-unit-1/fan/fault-F0395', 0, 3, n,
         '{{"number":' || n || ',"change":"raised","at":"2026-01-01T00:00:00Z","fault_dn":"sys/rack-unit-1/fan/fault-F0395"}}'
  from generate_series(0, {changes} - 1) n;
analyze;
"""

# What the page asks for.
QUESTIONS = ("/api/v1/sites", "/api/v1/controllers", "/api/v1/alarms", "/api/v1/alarms?site=hall-3&severity=major",
             "/api/v1/alarms?text=part%2017", "/api/v1/history", "/api/v1/history?site=hall-7",
             "/api/v1/changes?site=hall-2&controller=rack-00001&after=0", "/api/v1/groups", "/api/v1/status", "/metrics", "/")


def questions(place, options):
    program = options.programs / "polaiga-web-fleet"
    if not program.exists():
        print("polaiga-web-fleet is not built: its questions are not timed", file=sys.stderr)
        figures.missed += 1
        return
    with Fleet(place, options.programs, nodes=1, with_standby=False, collectors=0) as fleet:
        began = time.monotonic()
        fleet.database.execute_long(FILL.format(controllers=options.filled_controllers, alarms=options.alarms, changes=options.changes))
        figures.note("seconds to fill the database", time.monotonic() - began)
        page = Process(str(program), "--fleet", fleet.database.url("polaiga_viewer"), "--listen", "127.0.0.1:0")
        fleet.others.append(page)
        page.wait_for("ready: ")
        address = page.text().split("ready: ")[1].split()[0].rstrip("/")
        for question in QUESTIONS:
            times = []
            for _ in range(10):
                began = time.monotonic()
                with urllib.request.urlopen(address + question, timeout=60) as answer:
                    answer.read()
                times.append(time.monotonic() - began)
            figures.at_most(f"ms for {question}", sorted(times)[8] * 1000, 200)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--controllers", type=int, default=2000)
    parser.add_argument("--rate", type=float, default=830, help="changes a second")
    parser.add_argument("--pause", type=float, default=60, help="seconds between two kills")
    parser.add_argument("--changes", type=int, default=10_000_000, help="in the filled database")
    parser.add_argument("--alarms", type=int, default=1_000_000, help="in the filled database")
    parser.add_argument("--filled-controllers", type=int, default=10_000, help="in the filled database")
    parser.add_argument("--only", choices=["kills", "throughput", "questions"])
    parser.add_argument("programs", type=Path)
    options = parser.parse_args()
    parts = []
    if options.only in (None, "kills"):
        parts.append(lambda place: kills(place, options))
    if options.only in (None, "throughput"):
        parts += [lambda place, count=count: throughput(place, options, count) for count in (1, 2, 4)]
    if options.only in (None, "questions"):
        parts.append(lambda place: questions(place, options))
    for part in parts:
        with tempfile.TemporaryDirectory(prefix="polaiga-fleet-") as place:
            part(place)
    return 1 if figures.missed else 0


if __name__ == "__main__":
    sys.exit(main())
