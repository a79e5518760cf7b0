"""The table that bench/run prints: every row, what it is held against, and its goal.

Goals are ratios against a reference that is measured in the same run, since machines differ and are never quiet.
They are told, never asserted. Units: seconds, commands a second, bytes, shares of a processor, counts.
"""
import dataclasses
import json

SECONDS, RATE, BYTES, SHARE, COUNT = "s", "/s", "B", "%", ""


@dataclasses.dataclass(frozen=True)
class Goal:
    """`most` or `least` bound the ratio of ours to the reference; or their difference, or ours alone."""
    bound: str = "most"
    value: float = 1.0
    of: str = "ratio"  # or difference, ours

    def measure(self, ours, reference):
        if self.of == "ours":
            return ours
        if self.of == "difference":
            return ours - reference
        return ours / reference

    def is_met(self, ours, reference):
        measured = self.measure(ours, reference)
        return measured <= self.value if self.bound == "most" else measured >= self.value

    def text(self, unit):
        sign = "<=" if self.bound == "most" else ">="
        if self.of == "ratio":
            return "%s %g" % (sign, self.value)
        return "%s %s%s" % (sign, "+" if self.of == "difference" else "", amount(self.value, unit))


def most(value):
    return Goal("most", value)


def least(value):
    return Goal("least", value)


def ours_most(value):
    return Goal("most", value, "ours")


@dataclasses.dataclass(frozen=True)
class Row:
    """`kind` names what measures it: "micro" (the two benchmarks ROW/ours and ROW/reference), "micro, apart" (the
    same, each in processes of its own), or an experiment of process.py or real_calls.py, which may give several rows."""
    id: str
    what: str
    reference: str
    goal: Goal
    kind: str = "micro"
    unit: str = SECONDS


ROWS = [
    Row("persist_1000", "state to text, 1,000 contacts", "pugixml, the same document", most(1.0)),
    Row("persist_10000", "state to text, 10,000 contacts", "pugixml, the same document", most(1.0)),
    Row("next_document", "the next one, a contact changed", "pugixml, the same document", most(0.25)),
    Row("read_1000", "text to tree, 1,000 contacts", "expat's bare pass, no tree", most(1.7)),
    Row("read_10000", "text to tree, 10,000 contacts", "expat's bare pass, no tree", most(1.7)),
    Row("persist_aged", "state to text, heap aged by 10^6 commands", "in a fresh process", most(1.2),
        "micro, apart"),
    Row("read_aged", "text to tree, heap aged by 10^6 commands", "in a fresh process", most(1.2),
        "micro, apart"),
    Row("get_popup_timeout", "getPopupTimeout in process", "its handler called",
        Goal("most", 150e-9, "difference")),
    Row("small_get_device_state", "getDeviceState in process", "its handler called",
        Goal("most", 150e-9, "difference")),
    Row("regular_call", "SIP_REGULAR_CALL, 100,000 devices", "with 10 devices", most(2)),
    Row("get_device_state", "getDeviceState, 100,000 devices", "with 10 devices", most(2)),
    Row("device_changed", "OnDeviceChanged, 100,000 devices", "with 10 devices", most(2)),
    Row("device_list", "getDeviceList, per device of 100,000", "per device of 100", most(1.5)),
    Row("broadcast_all", "broadcast to all, per device of 100,000", "per device of 100", most(1.5)),
    Row("room_rename", "room rename, per device of 100,000", "per device of 100", most(1.5)),
    Row("add_contact", "the 100,000th addContact", "the 100th", most(3)),
    Row("add_group", "the 100,000th addGroup", "the 100th", most(3)),
    Row("add_route", "the 100,000th addRoute", "the 100th", most(3)),
    Row("load_state", "loading 100,000 contacts, per contact", "1,000 contacts", most(1.5)),

    Row("http_64", "getGroup, 64 connections: rate", "nginx, a fixed reply, one worker", least(0.8), "http_64", RATE),
    Row("http_64_cpu", "getGroup, 64 connections: processor time", "nginx, a fixed reply, one worker", most(1.5),
        "http_64"),  # of the server's processes, per command
    Row("rpc_64", "getGroup, 64 connections: rate", "Kamailio, htable.get, one worker", least(2.5), "http_64", RATE),
    Row("http_1_p50", "getGroup, 1 connection: p50", "a bare epoll loop, a fixed answer", most(1.2), "http_1"),
    Row("rpc_1", "getGroup, 1 connection: rate", "Kamailio, htable.get, one worker", least(1.5), "http_1", RATE),
    # Both change a state of 100 KB, which keeps its size so.
    Row("durable_1", "addContact, deleteContact in turn: p50", "write, fsync, rename, fsync folder", most(1.5),
        "durable_1"),
    Row("durable_64", "addContact, deleteContact, 64 clients: rate", "one such write per change", least(15), "durable_64", RATE),
    Row("p99_while_writing", "getGroup: p99, store writes all the time", "store idle", most(1.5),
        "p99_while_writing"),
    Row("events_1000", "one event, until the last of 1,000 has it", "Mosquitto, 1,000 subscribers", most(0.8),
        "events_1000"),
    Row("events_dead_reader", "one event to 1,000 beside one not reading", "without it", most(1.1), "events_dead_reader"),
    Row("sysman", "restart of the SIP proxy: 2 requests", "2 x popen of the same program", most(1.05), "sysman"),
    Row("start_time", "agent and 20 panels: until /health is 200", "", Goal("most", 0.060, "ours"), "start"),
    Row("start_memory", "the same: resident memory", "", Goal("most", 20e6, "ours"), "start", BYTES),

    # Real calls, from the agent's command until each phone of the pair has the other's sound. "Bare" is Kamailio with
    # a registrar, digest and nothing else, where one phone dials the other.
    Row("call_baresip", "command to sound at both, baresip", "dialled through a bare Kamailio", ours_most(0.015),
        "sound_baresip"),
    Row("call_baresip_direct", "the same", "dialled through a bare Kamailio", most(2), "sound_baresip"),
    Row("call_linphone", "command to sound at both, linphone", "dialled through a bare Kamailio", ours_most(0.065),
        "sound_linphone"),
    Row("call_linphone_direct", "the same", "dialled through a bare Kamailio", most(2), "sound_linphone"),
    Row("doorbell_20", "doorbell until the last of 20 rings", "Kamailio forks, no call control", ours_most(0.040),
        "doorbell"),
    Row("broadcast_20", "command until all of 20 listeners are up", "", ours_most(0.030), "broadcast"),
    Row("broadcast_20_cpu", "the broadcast: callcontrol and rtpengine", "", ours_most(0.03), "broadcast", SHARE),
    Row("proxy_restart", "applySIPProxyChanges until a REGISTER is let in", "a bare Kamailio ended and started",
        ours_most(0.150), "proxy_restart"),
    Row("proxy_restart_calls", "the same, 5 times 10 calls: calls lost", "", ours_most(0), "proxy_restart", COUNT),
    Row("proxy_restart_phones", "the same: registrations lost", "", ours_most(0), "proxy_restart", COUNT),
    Row("host_killed", "host killed: 20 sessions known again", "", ours_most(1), "host_killed"),
    Row("host_killed_calls", "the same, 5 times 10 calls: calls lost", "", ours_most(0), "host_killed", COUNT),
    Row("host_killed_sessions", "the same: sessions lost", "", ours_most(0), "host_killed", COUNT),
    Row("calls_50_lost", "50 calls, 10 s: packets lost", "", ours_most(0), "fifty_calls", COUNT),
    Row("calls_50_cpu", "the same: callcontrol and rtpengine", "", ours_most(0.6), "fifty_calls", SHARE),
    Row("call_rate", "calls set up and ended, 10 under way", "", Goal("least", 80, "ours"), "call_rate", RATE),
    Row("calls_memory", "programs of calls, idle: PSS", "Kamailio and rtpengine of them", ours_most(90e6),
        "idle_memory", BYTES),
]


@dataclasses.dataclass
class Result:
    """Medians over the rounds, in the row's unit; or why there are none."""
    ours: float = 0
    reference: float = 0
    not_run: str = ""


def amount(value, unit):
    steps = {SECONDS: [(1, "s"), (1e-3, "ms"), (1e-6, "us"), (1e-9, "ns")],
             RATE: [(1e3, "k/s"), (1, "/s")], BYTES: [(1e6, "MB"), (1, "B")], SHARE: [(0.01, "%")],
             COUNT: [(1, "")]}[unit]
    size, name = next((step for step in steps if abs(value) >= step[0]), steps[-1])
    return ("%.3g %s" % (value / size, name)).rstrip()


def cells(row, result):
    goal = row.goal.text(row.unit)
    if result.not_run:
        return [row.id, row.what, row.reference, "", "", "", goal, "not run: " + result.not_run]
    alone = not row.reference
    return [row.id, row.what, row.reference or "-", amount(result.ours, row.unit),
            "-" if alone else amount(result.reference, row.unit),
            "-" if alone else "%.2f" % (result.ours / result.reference), goal,
            "met" if row.goal.is_met(result.ours, result.reference) else "NOT MET"]


def print_table(rows, results):
    lines = [["row", "what", "reference", "ours", "reference", "ratio", "goal", ""]]
    lines += [cells(row, results[row.id]) for row in rows]
    widths = [max(len(line[column]) for line in lines) for column in range(len(lines[0]))]
    for line in lines:
        print("  ".join(cell.ljust(width) for cell, width in zip(line, widths)).rstrip())


def write_json(path, rows, results):
    entries = []
    for row in rows:
        result = results[row.id]
        entry = {"row": row.id, "what": row.what, "reference": row.reference, "goal": row.goal.text(row.unit)}
        if result.not_run:
            entry["not_run"] = result.not_run
        else:
            entry.update(unit=row.unit, ours=result.ours, met=row.goal.is_met(result.ours, result.reference))
            if row.reference:
                entry.update(measured=result.reference, ratio=result.ours / result.reference)
        entries.append(entry)
    path.write_text(json.dumps(entries, indent=2) + "\n")
