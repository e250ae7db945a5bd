"""The board of the simulated server: some forty sensors of all kinds, and the faults that each of them stands for."""
import dataclasses

CONTROLLER = 0x20  # its slave address
THRESHOLD, SENSOR_SPECIFIC = 0x01, 0x6F  # event/reading types
SEVERITY, PREDICTIVE, STATE, PRESENCE, REDUNDANCY = 0x07, 0x04, 0x03, 0x08, 0x0B
# Sensor types and entity ids of IPMI 2.0, tables 42-3 and 43-13.
TEMPERATURE, VOLTAGE, CURRENT, FAN, INTRUSION, PROCESSOR, SUPPLY = 0x01, 0x02, 0x03, 0x04, 0x05, 0x07, 0x08
POWER_UNIT, OTHER_UNITS, MEMORY, DRIVE, FIRMWARE, SLOT, LAN, VENDOR = 0x09, 0x0B, 0x0C, 0x0D, 0x0F, 0x21, 0x27, 0xC0
E_PROCESSOR, E_DISK, E_BOARD, E_SUPPLY, E_ADD_IN, E_PANEL, E_BACKPLANE, E_CHASSIS, E_FAN, E_MEMORY, E_FIRMWARE = (
    3, 4, 7, 10, 11, 12, 15, 23, 29, 32, 34)
E_RISER, E_NETWORK = 16, 38

# The thresholds of every threshold sensor, raw: lower non-critical, critical, non-recoverable; upper the same.
THRESHOLDS = (0x40, 0x30, 0x20, 0xA0, 0xB0, 0xC0)
NORMAL = 0x70
LOW, UP = (0x38, 0x28, 0x18), (0xA8, 0xB8, 0xC8)  # readings beyond one threshold, two and three


@dataclasses.dataclass(frozen=True)
class Sensor:
    """`healthy` is a reading, or the bits that are set, while nothing is wrong. `ladders` are the ways to get worse; each
    rung is a reading, or the bits that are set, with the faults that are active then. While one of the unit `part_of` is
    missing, which sensors with `tells_presence` tell, its other sensors tell nothing. What sensors with `only_logged` tell
    is known from the log alone, in whole or in part."""
    number: int
    name: str
    type: int
    reading_type: int
    entity: int
    instance: int
    healthy: object
    ladders: tuple
    unit: str = "unspecified"
    factor: int = 1
    event_only: bool = False
    part_of: str = ""
    tells_presence: bool = False
    only_logged: bool = False

    @property
    def is_threshold(self):
        return self.reading_type == THRESHOLD


def at(place, *codes):
    """Each of the faults alone, in order."""
    return [frozenset({f"sys/rack-unit-1{place}/fault-{code}"}) for code in codes]


def readings(values, faults):
    return tuple(zip(values, faults))


def bits(*rungs):
    """A ladder of a discrete sensor: pairs of the bits that are set and the faults."""
    return tuple((frozenset(some), faults) for some, faults in rungs)


def make_board():
    sensors = []

    def add(name, type, reading_type, entity, instance, healthy, *ladders, **more):
        healthy = frozenset(healthy) if isinstance(healthy, set) else healthy
        sensors.append(Sensor(len(sensors) + 1, name, type, reading_type, entity, instance, healthy, ladders, **more))

    def threshold(name, type, entity, instance, *ladders, **more):
        add(name, type, THRESHOLD, entity, instance, NORMAL, *ladders, **more)

    # Fans: each module has two; what is wrong with its presence is told of both.
    for fan in range(1, 5):
        threshold(f"FAN{fan}_TACH1", FAN, E_FAN, fan,
                  readings(LOW, at(f"/fan-module-1-{fan}/fan-1", "F0395", "F0396", "F0397")), unit="RPM", factor=100,
                  part_of=f"fan {fan}")
    threshold("FAN4_TACH2", FAN, E_FAN, 4, readings(LOW, at("/fan-module-1-4/fan-2", "F0395", "F0396", "F0397")),
              unit="RPM", factor=100)
    for fan in (1, 3):
        both = frozenset(f"sys/rack-unit-1/fan-module-1-{fan}/fan-{tach}/fault-F0434" for tach in (1, 2))
        add(f"FAN{fan}_PRESENT", FAN, PRESENCE, E_FAN, fan, {1}, bits(({0}, both)), part_of=f"fan {fan}", tells_presence=True)

    # Power supplies.
    for supply in (1, 2):
        missing, error, inoperable, identity = at(f"/psu-{supply}", "F0378", "F0883", "F0374", "F0407")
        add(f"PSU{supply}_STATUS", SUPPLY, SENSOR_SPECIFIC, E_SUPPLY, supply, {0}, bits(((), missing)),
            bits(({0, 1}, error)), bits(({0, 3}, inoperable)), bits(({0, 6}, identity)), part_of=f"supply {supply}",
            tells_presence=True)
    threshold("PSU1_TEMP", TEMPERATURE, E_SUPPLY, 1, readings(UP, at("/psu-1", "F0381", "F0383", "F0385")),
              unit="degrees_C", part_of="supply 1")
    power = at("/psu-2", "F0392", "F0393", "F0394")
    threshold("PSU2_PIN", OTHER_UNITS, E_SUPPLY, 2, readings(LOW, power), unit="Watts", factor=4, part_of="supply 2")
    threshold("PSU2_POUT", OTHER_UNITS, E_SUPPLY, 2, readings(UP, power), unit="Watts", factor=4, part_of="supply 2")
    threshold("PSU1_IOUT", CURRENT, E_SUPPLY, 1, readings(UP, at("/psu-1", "F0882", "F0882", "F0882")), unit="Amps",
              part_of="supply 1")
    threshold("PSU2_VOUT", VOLTAGE, E_SUPPLY, 2, readings(UP[1:], at("/psu-2", "F0389", "F0391")), unit="Volts",
              part_of="supply 2")
    lost = at("", "F0743")[0]
    add("PSU_REDUNDANCY", SUPPLY, REDUNDANCY, E_SUPPLY, 1, {0}, bits(({1}, lost)), bits(({2}, lost)), bits(({5}, lost)))

    # The board: voltages, temperatures, and whether it can be powered.
    for name in ("P12V_V_MOIN", "P5V_V_MOIN", "P1V8_AUX"):
        threshold(name, VOLTAGE, E_BOARD, 1, readings(LOW, at("/board", "F0921", "F0921", "F0919")),
                  readings(UP, at("/board", "F0920", "F0920", "F0918")), unit="Volts")
    threshold("P3V3_BAT_V_MOIN", VOLTAGE, E_BOARD, 1, readings(LOW, at("/board", "F0424", "F0424", "F0425")),
              unit="Volts")
    for riser in (1, 2):
        threshold(f"RISER{riser}_INLET_TMP", TEMPERATURE, E_BOARD, riser,
                  readings(UP, at("/board", "F0410", "F0409", "F0411")), unit="degrees_C")
    add("POWER_ON_FAIL", POWER_UNIT, SENSOR_SPECIFIC, E_BOARD, 1, set(), bits(({6}, at("/board", "F0868")[0])))

    # Processors.
    for processor in (1, 2):
        add(f"P{processor}_PRESENT", PROCESSOR, SENSOR_SPECIFIC, E_PROCESSOR, processor, {7},
            bits(((), at(f"/board/cpu-{processor}", "F0842")[0])))
    add("P1_PROCHOT", PROCESSOR, STATE, E_PROCESSOR, 1, {0}, bits(({1}, at("/board/cpu-1", "F0174")[0])))
    add("P1_THERMTRIP_N", PROCESSOR, STATE, E_PROCESSOR, 1, {0}, bits(({1}, at("/board/cpu-1", "F0174")[0])))
    threshold("P2_TEMP_SENS", TEMPERATURE, E_PROCESSOR, 2,
              readings(UP, at("/board/cpu-2", "F0175", "F0176", "F0177")), unit="degrees_C")
    threshold("PVDDQ_AB", VOLTAGE, E_PROCESSOR, 1, readings(LOW, at("/board/cpu-1", "F0178", "F0179", "F0180")),
              unit="Volts")

    # Memory, drives, and what else there is.
    add("P1_DIMM_A1", MEMORY, SENSOR_SPECIFIC, E_MEMORY, 1, {6},
        bits(((), at("/board/memarray-1/mem-1", "F0502")[0])), only_logged=True)
    threshold("P1_DIMM_A1_TEMP", TEMPERATURE, E_MEMORY, 1,
              readings(UP, at("/board/memarray-1/mem-1", "F0186", "F0187", "F0188")), unit="degrees_C")
    missing, failed, predicted, rebuilding = at("/board/storage-SAS-SLOT-2/pd-1", "F1256", "F0181", "F0996", "F1005")
    add("SAS2_DISK1", DRIVE, SENSOR_SPECIFIC, E_DISK, 1, {0}, bits(((), missing)), bits(({0, 1}, failed)),
        bits(({0, 2}, predicted)), bits(({0, 8}, rebuilding)), only_logged=True)
    threshold("HDD_BP1_TEMP", TEMPERATURE, E_BACKPLANE, 1,
              readings(UP, at("/drive-backplane-1", "F1310", "F1311", "F1312")), unit="degrees_C")
    add("CHASSIS_INTR", INTRUSION, SENSOR_SPECIFIC, E_CHASSIS, 1, set(), bits(({0}, at("", "F0320")[0])))
    threshold("FP_TEMP_SENSOR", TEMPERATURE, E_PANEL, 1, readings(UP, at("", "F0154", "F0153", "F0155")),
              unit="degrees_C")
    add("MGMT_LINK", LAN, SENSOR_SPECIFIC, E_NETWORK, 1, set(), bits(({0}, at("/mgmt/if-1", "F0717")[0])))
    threshold("PCI2_TEMP", TEMPERATURE, E_RISER, 2, readings(UP, at("/equipped-slot-2", "F0729", "F0730", "F0731")),
              unit="degrees_C")
    threshold("ADAPTOR1_TEMP", TEMPERATURE, E_ADD_IN, 1, readings(UP, at("/adaptor-1", "F0729", "F0730", "F0731")),
              unit="degrees_C")
    # No row of the mapping takes this one.
    add("VENDOR_STATE", VENDOR, 0x70, E_BOARD, 1, set(), bits(({0}, frozenset())))
    # This one has no state: only the log tells of it.
    add("BIOSPOST_TIMEOUT", FIRMWARE, STATE, E_FIRMWARE, 1, set(), bits(({1}, at("/board", "F0313")[0])), event_only=True,
        only_logged=True)
    return tuple(sensors)


BOARD = make_board()


def faults_of(sensors, asserted):
    """The faults that sensors stand for; `asserted` has the reading, or the bits that are set, of each name."""
    found = {sensor.name: [faults for ladder in sensor.ladders for to, faults in ladder if to == asserted[sensor.name]]
             for sensor in sensors}
    # That a unit is missing is what its sensor tells when no bit, or that of its absence, is set.
    missing = {sensor.part_of: sensor.name for sensor in sensors
               if sensor.tells_presence and asserted[sensor.name] == sensor.ladders[0][0][0]}
    return set().union(*(faults for sensor in sensors for faults in found[sensor.name]
                         if missing.get(sensor.part_of, sensor.name) == sensor.name))


def sdr_source(sensors=BOARD):
    """The sensor data records, as sdrcomp reads them."""
    lines = []
    for sensor in sensors:
        kind = 1 if sensor.is_threshold else 3 if sensor.event_only else 2
        members = {
            "sensor_owner_id": CONTROLLER, "sensor_owner_lun": 0, "channel_number": 0, "sensor_number": sensor.number,
            "entity_id": sensor.entity, "entity_instance": sensor.instance, "sensor_type": sensor.type,
            "event_reading_type_code": sensor.reading_type, "id_string": f'"{sensor.name}"'}
        if kind != 3:
            members |= {"default_event_gen_on": "true", "default_sensor_scan_on": "true"}
        if kind == 1:
            members |= {"base_unit": sensor.unit, "m": sensor.factor, "sensor_threshold_access": 1}
        assert len(sensor.name) <= 16, sensor.name
        lines += [f"sdr type {kind}", *(f"  {name} {value}" for name, value in members.items()), "endsdr"]
    return "\n".join(lines) + "\n"


def emulator_commands(log_entries, sensors=BOARD):
    """The controller with its sensors, all healthy, as ipmi_sim reads it."""
    lines = [f"mc_setbmc {CONTROLLER:#x}",
             f"mc_add {CONTROLLER:#x} 0 no-device-sdrs 0x23 9 8 0x9f 0x1291 0xf02 persist_sdr",
             f"sel_enable {CONTROLLER:#x} {log_entries} 0x0a"]
    for sensor in sensors:
        where = f"{CONTROLLER:#x} 0 {sensor.number}"
        only = " event-only" if sensor.event_only else ""
        lines.append(f"sensor_add {where} {sensor.type:#x} {sensor.reading_type:#x}{only}")
        if sensor.is_threshold:
            thresholds = " ".join(f"{value:#x}" for value in reversed(THRESHOLDS))
            lines.append(f"sensor_set_threshold {where} settable 111111 {thresholds}")
        events = " ".join(["000111111111111" if sensor.is_threshold else "111111111111111"] * 4)
        lines.append(f"sensor_set_event_support {where} enable scanning per-state {events}")
        if sensor.is_threshold:
            lines.append(f"sensor_set_value {where} {sensor.healthy:#x} 0")
        else:
            lines += [f"sensor_set_bit {where} {bit} 1 0" for bit in sorted(sensor.healthy)]
    return "\n".join([*lines, f"mc_enable {CONTROLLER:#x}"]) + "\n"
