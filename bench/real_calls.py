"""The experiments with real calls: call_figures starts a whole home and phones, in a network of its own. Sides take turns,
each with programs of its own."""
import json
import os
import pathlib
import shutil
import statistics
import tempfile

from processes import BIN, Missing
from table import Result

SOUND_ROUNDS = 4  # of six calls each
# ./run keeps sockets and the journal of calls in memory, too.
MEMORY = pathlib.Path("/dev/shm")


def measure(workplace, figure):
    """What call_figures prints."""
    folder = tempfile.mkdtemp(prefix="intercom-bench-", dir=MEMORY if MEMORY.is_dir() else None)
    try:
        output = workplace.run([BIN / "call_figures", figure], "call_figures", env=dict(os.environ, TMPDIR=folder))
    finally:
        shutil.rmtree(folder, ignore_errors=True)
    values = json.loads(output)
    if "not_run" in values:
        raise Missing(values["not_run"])
    return values


def median(values):
    return statistics.median(values)


def sound(workplace, pair):
    ours, direct = [], []
    for _ in range(SOUND_ROUNDS):
        ours += measure(workplace, "sound-" + pair)["seconds"]
        direct += measure(workplace, "sound-%s-direct" % pair)["seconds"]
    result = Result(median(ours), median(direct))
    return {"call_" + pair: result, "call_%s_direct" % pair: result}


def sound_baresip(workplace):
    return sound(workplace, "baresip")


def sound_linphone(workplace):
    return sound(workplace, "linphone")


def doorbell(workplace):
    values = measure(workplace, "doorbell")
    return {"doorbell_20": Result(median(values["seconds"]), median(values["reference"]))}


def broadcast(workplace):
    values = measure(workplace, "broadcast")
    return {"broadcast_20": Result(median(values["seconds"])),
            "broadcast_20_cpu": Result(median(values["cores"]))}


def proxy_restart(workplace):
    values = measure(workplace, "proxy-restart")
    bare = measure(workplace, "bare-restart")
    return {"proxy_restart": Result(median(values["seconds"]), median(bare["seconds"])),
            "proxy_restart_calls": Result(values["calls_lost"]),
            "proxy_restart_phones": Result(values["registrations_lost"])}


def host_killed(workplace):
    values = measure(workplace, "host-killed")
    return {"host_killed": Result(median(values["seconds"])),
            "host_killed_calls": Result(values["calls_lost"]),
            "host_killed_sessions": Result(values["sessions_lost"])}


def fifty_calls(workplace):
    values = measure(workplace, "fifty-calls")
    return {"calls_50_lost": Result(values["lost"]), "calls_50_cpu": Result(median(values["cores"]))}


def call_rate(workplace):
    return {"call_rate": Result(median(measure(workplace, "call-rate")["rate"]))}


def idle_memory(workplace):
    values = measure(workplace, "idle-memory")
    return {"calls_memory": Result(median(values["bytes"]), median(values["reference"]))}


EXPERIMENTS = {function.__name__: function for function in (
    sound_baresip, sound_linphone, doorbell, broadcast, proxy_restart, host_killed, fifty_calls, call_rate,
    idle_memory)}
