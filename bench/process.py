"""The experiments with whole processes. Each gives the results of one or more rows: medians over the rounds, in which
the sides take turns, so that a busy moment of the machine hits all of them."""
import json
import shutil
import statistics
import time

from processes import BIN, Broken, Missing, ask, processor_seconds, resident_bytes
from servers import FORM, EpollServer, Host, Wrk, kamailio, mosquitto, nginx, sysman_environment, wrk
from table import Result

ROUNDS = 5
ROUND_S = 2
EVENT_READERS = 1000
EVENT_ROUNDS = 30  # in each round
STARTS = 15
MOST_FAILED, MOST_UNDER_WAY = 0.01, 64  # answers of contacts.lua: what is under way when a run ends is lost
GROUP = "/drivers/agent/commands/getGroup"


def median(values):
    return statistics.median(values)


def take_turns(sides, rounds=ROUNDS):
    """`sides` are functions by name; their values of all rounds by name."""
    values = {name: [] for name in sides}
    for _ in range(rounds):
        for name, measure in sides.items():
            values[name].append(measure())
    return values


def optional(make, *arguments):
    """The peer, or why there is none."""
    try:
        return make(*arguments), ""
    except Missing as missing:
        return None, str(missing)


def ratio_of(values, ours, reference, field):
    if reference not in values:
        return None
    return Result(*(median([value[field] for value in values[side]]) for side in (ours, reference)))


def load(workplace, server, script, connections, arguments=()):
    """One run of wrk; with the processor time that the server took for each command."""
    before = processor_seconds(server.process.pid)
    report = wrk(workplace, server.port, script, ROUND_S, connections, arguments)
    report["cpu"] = (processor_seconds(server.process.pid) - before) / report["requests"]
    return report


def group_and_peers(workplace, connections, makers):
    """getGroup on the host and its like on the peers in turn; the values, and why peers are missing."""
    host = Host(workplace)
    status, body = ask(host.port, "POST", GROUP, "groupId=0", FORM)
    if status != 200 or b"<device>" not in body:
        raise Broken("getGroup answered %d: %s" % (status, body))
    servers, missing = {"ours": (host, "get_group.lua")}, {}
    for name, (make, script) in makers.items():
        server, missing[name] = optional(make, workplace, body)
        if server:
            servers[name] = (server, script)
    sides = {name: lambda server=server, script=script: load(
        workplace, server, script, connections, [GROUP] if script == "get_group.lua" else [])
        for name, (server, script) in servers.items()}
    take_turns(sides, 1)  # warm
    values = take_turns(sides)
    for server, _ in servers.values():
        server.stop()
    return values, missing


def http_64(workplace):
    values, missing = group_and_peers(workplace, 64, {"nginx": (nginx, "get_group.lua"),
                                                      "kamailio": (kamailio, "rpc.lua")})
    return {"http_64": ratio_of(values, "ours", "nginx", "rate") or Result(not_run=missing["nginx"]),
            "http_64_cpu": ratio_of(values, "ours", "nginx", "cpu") or Result(not_run=missing["nginx"]),
            "rpc_64": ratio_of(values, "ours", "kamailio", "rate") or Result(not_run=missing["kamailio"])}


def http_1(workplace):
    values, missing = group_and_peers(workplace, 1, {"epoll": (epoll_like_host, "get_group.lua"),
                                                     "kamailio": (kamailio, "rpc.lua")})
    p50 = ratio_of(values, "ours", "epoll", "p50")
    return {"http_1_p50": Result(p50.ours / 1e6, p50.reference / 1e6),
            "rpc_1": ratio_of(values, "ours", "kamailio", "rate") or Result(not_run=missing["kamailio"])}


def epoll_like_host(workplace, body):
    head = ("HTTP/1.1 200 OK\r\nContent-Type: application/xml\r\nContent-Length: %d\r\nCache-Control: no-store\r\n"
            "X-Content-Type-Options: nosniff\r\nConnection: keep-alive\r\n\r\n" % len(body))
    return EpollServer(workplace, head.encode() + body)


def begin_changes(workplace, host, connections, seconds):
    return Wrk(workplace, host.port, "contacts.lua", seconds, connections, [host.oldest])


def end_changes(host, changes):
    report = changes.report()
    host.oldest = report["oldest"]
    if report["failed"] > report["requests"] * MOST_FAILED + MOST_UNDER_WAY:
        raise Broken("%d of %d changes failed" % (report["failed"], report["requests"]))
    return report


def write_bare(workplace, host):
    """The bytes of the host's newest document, beside its state."""
    folder = workplace.make_folder("bare")
    newest = max((host.state / "agent").glob("*.xml"))
    copy = shutil.copy(newest, folder / "bytes")
    output = workplace.run([BIN / "durable_write", copy, folder, ROUND_S * 1000], "durable_write")
    return json.loads(output)["seconds"]


def durable(workplace, connections):
    """The seconds of each change, and of each bare write."""
    host = Host(workplace)
    host.fill_state()
    values = take_turns({"ours": lambda: end_changes(host, begin_changes(workplace, host, connections, ROUND_S)),
                         "bare": lambda: write_bare(workplace, host)})
    host.stop()
    return values["ours"], values["bare"]


def durable_1(workplace):
    ours, bare = durable(workplace, 1)
    return {"durable_1": Result(median([run["p50"] / 1e6 for run in ours]), median([median(run) for run in bare]))}


def durable_64(workplace):
    ours, bare = durable(workplace, 64)
    return {"durable_64": Result(median([run["rate"] for run in ours]),
                                 median([len(run) / sum(run) for run in bare]))}


def p99_while_writing(workplace):
    host = Host(workplace)
    host.fill_state()

    def ask_group():
        return wrk(workplace, host.port, "get_group.lua", ROUND_S, 1, [GROUP])["p99"] / 1e6

    def ask_while_writing():
        changes = begin_changes(workplace, host, 1, ROUND_S + 1)
        p99 = ask_group()
        end_changes(host, changes)
        return p99

    values = take_turns({"idle": ask_group, "writing": ask_while_writing})
    host.stop()
    return {"p99_while_writing": Result(median(values["writing"]), median(values["idle"]))}


def tell_readers(workplace, protocol, port, *more):
    output = workplace.run([BIN / "event_readers", protocol, port, EVENT_READERS, EVENT_ROUNDS, *more],
                           "event_readers")
    return median(json.loads(output)["seconds"])


def events_1000(workplace):
    broker, missing = optional(mosquitto, workplace)
    if not broker:
        return {"events_1000": Result(not_run=missing)}
    host = Host(workplace)
    values = take_turns({"ours": lambda: tell_readers(workplace, "sse", host.port),
                         "mosquitto": lambda: tell_readers(workplace, "mqtt", broker.port)})
    host.stop()
    broker.stop()
    return {"events_1000": Result(median(values["ours"]), median(values["mosquitto"]))}


def events_dead_reader(workplace):
    host = Host(workplace)
    host.fill_events()
    values = take_turns({"without": lambda: tell_readers(workplace, "sse", host.port),
                         "with": lambda: tell_readers(workplace, "sse", host.port, "dead")})
    host.stop()
    return {"events_dead_reader": Result(median(values["with"]), median(values["without"]))}


def sysman(workplace):
    host = Host(workplace)
    environment = sysman_environment(workplace.make_folder("bare"))

    def ours():
        return wrk(workplace, host.port, "restart_proxy.lua", 1)["p50"] / 1e6

    def bare():
        output = workplace.run([BIN / "bare_popen", 1000], "bare_popen", env=environment)
        return median(json.loads(output)["seconds"])

    values = take_turns({"ours": ours, "bare": bare}, 2 * ROUNDS)
    host.stop()
    return {"sysman": Result(median(values["ours"]), median(values["bare"]))}


def start(workplace):
    host = Host(workplace)
    seconds, memory = [], []
    for _ in range(STARTS):
        host.stop()
        began = time.monotonic()
        host.start()
        while not is_healthy(host.port):
            time.sleep(0.0005)
        seconds.append(time.monotonic() - began)
        memory.append(resident_bytes(host.process.pid))
    host.stop()
    return {"start_time": Result(median(seconds)), "start_memory": Result(median(memory))}


def is_healthy(port):
    try:
        return ask(port, "GET", "/health")[0] == 200
    except OSError:
        return False


EXPERIMENTS = {function.__name__: function for function in (
    http_64, http_1, durable_1, durable_64, p99_while_writing, events_1000, events_dead_reader, sysman, start)}
