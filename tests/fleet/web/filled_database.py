"""A fleet's database that is filled by SQL, for tests of what shows it. Run by itself it starts one, fills it and stays, to be
looked at:  filled_database.py MAKE_SCHEMA [CONTROLLERS [ACTIVE [OVER [CHANGES]]]]"""
import signal
import sys
import tempfile
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "support"))
from fleet import POSTGRESQL, Postgres
from processes import run

# Sites A, B and so on have the same number of controllers: srv-1, srv-2, ... Active alarms are dealt out to the controllers of
# all sites in turn; every tenth is acknowledged by bob, and every fiftieth is shelved.
FILL = """
set search_path = polaiga;
insert into site (name) select 'hall-' || chr(96 + i) from generate_series(1, {sites}) i;
insert into controller (site_id, name, is_online, is_engine_answering, version, heard)
  select 1 + (i - 1) % {sites}, 'srv-' || lpad((1 + (i - 1) / {sites})::text, 4, '0'), true, true, '1.0', now()
  from generate_series(1, {controllers}) i;
insert into ledger (controller_id, ledger_id, through, wanted_through, is_list_wanted)
  select controller_id, md5(controller_id::text), 5000, 5000, false from controller;
update controller c set ledger_no = l.ledger_no from ledger l where l.controller_id = c.controller_id;
insert into alarm (controller_id, site_id, ledger_no, number, fault, last_change, fault_dn, dn, code, name, sensor, description,
                   severity, worst, created, since, updated, cleared, ended, is_acknowledged, acknowledged_by, is_shelved,
                   is_grouping_due)
  select c.controller_id, c.site_id, c.ledger_no, i, i, i, 'sys/rack-unit-1/fan-' || i % 7 || '/fault-F0397',
    'sys/rack-unit-1/fan-' || i % 7, 397 + i % 5, 'fltEquipmentFanPerfThresholdLowerCritical', 'FAN' || i % 7 || '_TACH',
    'Fan ' || i % 7 || ' is slow', 1 + i % 5, 5, now() - make_interval(secs => {over} + {active} - i), now(), now(),
    case when i > {over} then null else now() - make_interval(secs => ({over} - i) / 10.0) end,
    case when i > {over} then '' else 'cleared' end, i % 10 = 0, case when i % 10 = 0 then 'bob' else '' end, i % 50 = 1, false
  from generate_series(1, {over} + {active}) i join controller c on c.controller_id = 1 + i % {controllers};
select make_change_partition(current_date);
insert into change (ledger_no, number, at, kind, alarm, fault_dn, dn, severity_before, severity_after, sequence, body)
  select 1 + (i - 1) % {controllers}, 1 + (i - 1) / {controllers}, now(), 'raised', 1 + (i - 1) / {controllers},
    'sys/rack-unit-1/fan-1/fault-F0397', 'sys/rack-unit-1/fan-1', 0, 4, i,
    '{{"number":' || 1 + (i - 1) / {controllers} || ',"change":"raised"}}'
  from generate_series(1, {changes}) i;
insert into collector (name, begun, version, queues, messages, changes, repeats, early, dead_letters)
  values ('collector-1', now(), '1.0', 4, 1000, 900, 7, 3, 2);
analyze;
"""


class FilledDatabase(Postgres):
    def __init__(self, place, make_schema, controllers=30, sites=3, active=90, over=60, changes=300):
        super().__init__(place, settings=("fsync=off", "max_wal_size=4GB", "shared_buffers=512MB"))
        self.execute("alter database polaiga set search_path = polaiga")
        run(make_schema, self.url("postgres"))
        numbers = {"controllers": controllers, "sites": sites, "active": active, "over": over, "changes": changes}
        script = Path(place) / "fill.sql"
        script.write_text(FILL.format(**numbers))
        run(POSTGRESQL / "psql", "-h", "127.0.0.1", "-p", str(self.primary.port), "-U", "postgres", "-d", "polaiga", "-X", "-q", "-v",
            "ON_ERROR_STOP=1", "-f", script)

    def viewer(self):
        return self.url("polaiga_viewer")

    def operator(self):
        return self.url("polaiga_operator")

    def make_silent(self, name, site):
        self.execute(f"""with one as (update controller c set silent_since = now() - interval '5 minutes', is_online = false
            from site s where s.site_id = c.site_id and c.name = '{name}' and s.name = '{site}' returning c.*)
            insert into alarm (controller_id, site_id, fault_dn, dn, code, name, description, severity, worst, created, since, updated)
            select controller_id, site_id, 'site/{site}/controller/{name}/fault-F0000', 'site/{site}/controller/{name}', 0,
              'fltFleetControllerSilent', 'Nothing was heard of controller {name} for 300 s', 4, 4, now(), now(), now() from one""")

    def make_group(self, site, description, controllers):
        """Answers with its number. The alarms are those of the first controllers of the site."""
        return int(self.query(f"""with s as (select site_id from site where name = '{site}'),
            g as (insert into alarm_group (site_id, code, name, description, first_created, last_created, first_alarm_no, alarms,
              controllers, worst) select site_id, 9, 'fltPowerSupplyInputLost', '{description}', now() - interval '40 s', now(), 1,
              {controllers}, {controllers}, 5 from s returning *),
            a as (insert into alarm (controller_id, site_id, ledger_no, number, fault, fault_dn, dn, code, name, description, severity,
              worst, created, since, updated, group_no, is_grouping_due)
              select c.controller_id, c.site_id, c.ledger_no, 1000000, 1, 'sys/psu-1/fault-F0009', 'sys/psu-1', 9,
                'fltPowerSupplyInputLost', g.description, 5, 5, now(), now(), now(), g.group_no, false
              from g join controller c on c.site_id = g.site_id order by c.name limit {controllers} returning 1)
            select group_no from g, (select count(*) from a) n""")[0])


if __name__ == "__main__":
    numbers = dict(zip(("controllers", "active", "over", "changes"), map(int, sys.argv[2:]), strict=False))
    with tempfile.TemporaryDirectory(dir="/tmp") as directory:
        Path(directory).chmod(0o755)
        with FilledDatabase(directory + "/database", sys.argv[1], **numbers) as database:
            if numbers.get("controllers", 30) >= 9:
                database.make_silent("srv-0002", "hall-b")
                database.make_group("hall-b", "Input power lost", min(212, numbers.get("controllers", 30) // 3))
            print(database.operator(), flush=True)
            signal.pause()
