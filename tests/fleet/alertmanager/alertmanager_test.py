"""What is in a fleet's database as alerts of a real Alertmanager: alertmanager_test.py ALERTMANAGER_PUBLISHER MAKE_SCHEMA
The first is polaiga-alertmanager, which runs polaiga-alertmanager-fleet. The database is filled by SQL."""
import shutil
import sys
import tempfile
import unittest
from pathlib import Path

TESTS = Path(__file__).resolve().parents[2]
sys.path[:0] = [str(TESTS / "fleet/web"), str(TESTS / "outputs/alertmanager/support"), str(TESTS / "support")]
from filled_database import FilledDatabase
from peers import Alertmanager, until
from processes import Process

program, make_schema = sys.argv[1:3]


class Place:
    """A directory, in which an Alertmanager keeps its files."""

    def __init__(self, directory):
        self.directory = Path(directory)

    def file(self, name):
        return str(self.directory / name)

    def write(self, name, text):
        Path(self.file(name)).write_text(text)
        return self.file(name)


def group_labels(number, site):
    return {"alertname": "fltPowerSupplyInputLost", "code": "F0009", "severity": "critical", "site": site, "group": str(number)}


def silence_labels(controller, site):
    return {"alertname": "fltFleetControllerSilent", "severity": "major", "controller": controller, "site": site}


class AlertmanagerTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        directory = tempfile.TemporaryDirectory(dir="/tmp")
        cls.addClassCleanup(directory.cleanup)
        Path(directory.name).chmod(0o755)
        cls.database = FilledDatabase(directory.name + "/database", make_schema, controllers=12, sites=3, active=0, over=6, changes=0)
        cls.addClassCleanup(cls.database.close)
        cls.alertmanager = Alertmanager(Place(directory.name))
        cls.addClassCleanup(cls.alertmanager.kill)
        cls.publisher = Process(program, "--fleet", cls.database.viewer(), "--url", cls.alertmanager.url, "--every", "1",
                                "--resend", "1s")
        cls.addClassCleanup(cls.publisher.end)
        cls.publisher.wait_for("ready: ")

    def tearDown(self):
        self.database.execute("update polaiga.alarm set ended = 'cleared', cleared = now() where ended = ''")
        self.wait_for_labels()

    def make_silent(self, controller, site):
        """As a collector does that has looked already whether this belongs to a group."""
        self.database.make_silent(controller, site)
        self.database.execute("update polaiga.alarm set is_grouping_due = false where is_grouping_due")

    def wait_for_labels(self, *wanted):
        """Waits until the active alerts are those with these labels, and nothing else; answers with them in this order."""
        def alerts():
            found = self.alertmanager.alerts()
            as_wanted = [next((one for one in found if one["labels"] == labels), None) for labels in wanted]
            return (as_wanted,) if len(found) == len(wanted) and None not in as_wanted else None
        try:
            return until("the alerts are as they should be", alerts, patience=30)[0]
        except AssertionError:
            raise AssertionError(f"the alerts are {[one['labels'] for one in self.alertmanager.alerts()]}, not {wanted}; the "
                                 f"program says: {self.publisher.text()}") from None

    def test_a_group_is_one_alert_until_its_last_alarm_ends(self):
        number = self.database.make_group("hall-b", "Input power lost", 4)
        labels = group_labels(number, "hall-b")
        alert = self.wait_for_labels(labels)[0]
        self.assertEqual(alert["annotations"], {
            "summary": "critical alarm F0009 on 4 controllers of the site hall-b", "alarms": "4", "controllers": "4",
            "description": "Input power lost"})
        # The end of one alarm changes what the alert says, and its labels stay.
        self.database.execute(f"""update polaiga.alarm set ended = 'cleared', cleared = now()
            where alarm_no = (select min(alarm_no) from polaiga.alarm where group_no = {number})""")
        until("3 controllers are left", lambda: self.wait_for_labels(labels)[0]["annotations"]["controllers"] == "3")
        self.database.execute(f"update polaiga.alarm set ended = 'cleared', cleared = now() where group_no = {number} and ended = ''")
        self.wait_for_labels()

    def test_a_silent_controller_is_an_alert_until_it_is_heard(self):
        self.make_silent("srv-0002", "hall-c")
        alert = self.wait_for_labels(silence_labels("srv-0002", "hall-c"))[0]
        self.assertEqual(alert["annotations"]["summary"], "The controller srv-0002 is silent; its alarms are as it told them last")
        self.database.execute("""update polaiga.alarm set ended = 'cleared', cleared = now()
            where name = 'fltFleetControllerSilent' and ended = ''""")
        self.wait_for_labels()

    def test_an_alertmanager_that_has_lost_everything_is_told_all_again(self):
        number = self.database.make_group("hall-a", "Input power lost", 3)
        self.make_silent("srv-0001", "hall-c")
        wanted = group_labels(number, "hall-a"), silence_labels("srv-0001", "hall-c")
        begun = [one["startsAt"] for one in self.wait_for_labels(*wanted)]
        self.alertmanager.kill()
        shutil.rmtree(self.alertmanager.storage, ignore_errors=True)
        self.alertmanager.start()
        self.assertEqual([one["startsAt"] for one in self.wait_for_labels(*wanted)], begun)
        self.assertFalse(self.publisher.has_ended())


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
