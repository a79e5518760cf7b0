"""The processes of a run: started on loopback and free ports, ended by their ids, whatever happens."""
import http.client
import os
import pathlib
import resource
import shutil
import signal
import socket
import subprocess
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
BENCH = ROOT / "bench"
BUILD = ROOT / "build" / "bench"
BIN = BUILD / "bin"
START_S, END_S, RUN_S = 20, 10, 300
TICKS_PER_SECOND = os.sysconf("SC_CLK_TCK")


class Missing(Exception):
    """A peer is not installed, so its rows are not run."""


class Broken(Exception):
    """Something did not do what it is there for."""


def take_all_descriptors():
    most = resource.getrlimit(resource.RLIMIT_NOFILE)[1]
    resource.setrlimit(resource.RLIMIT_NOFILE, (most, most))


def free_port():
    with socket.socket() as taken:
        taken.bind(("127.0.0.1", 0))
        return taken.getsockname()[1]


def program(name):
    """Where Debian puts servers is not on everybody's path."""
    found = shutil.which(name, path=os.environ["PATH"] + ":/usr/sbin:/usr/local/sbin")
    if not found:
        raise Missing("%s is not installed" % name)
    return found


class Workplace:
    """A folder on the disk of the build folder, and the processes that use it."""

    def __init__(self):
        BUILD.mkdir(parents=True, exist_ok=True)
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="work-", dir=BUILD))
        self.folder.chmod(0o755)  # servers give up their rights and still look into it
        self.running = []

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for process in list(self.running):
            self.end(process)
        shutil.rmtree(self.folder, ignore_errors=True)

    def make_folder(self, name):
        return pathlib.Path(tempfile.mkdtemp(prefix=name + "-", dir=self.folder))

    def start(self, command, name, **more):
        with open(self.folder / (name + ".log"), "ab") as log:
            more.setdefault("stdout", log)
            process = subprocess.Popen([str(word) for word in command], stdin=subprocess.DEVNULL, stderr=log,
                                       start_new_session=True, **more)
        process.name = name
        self.running.append(process)
        return process

    def end(self, process):
        """In order, or by force; a server's own children go with it."""
        children = descendants(process.pid) if process.poll() is None else []
        process.poll() is None and process.send_signal(signal.SIGTERM)
        try:
            process.wait(END_S)
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait()
            for child in children:
                kill_quietly(child)
        self.running.remove(process)

    def log_of(self, process):
        return (self.folder / (process.name + ".log")).read_text(errors="replace")[-2000:]

    def await_port(self, process, port):
        end = time.monotonic() + START_S
        while time.monotonic() < end and process.poll() is None:
            try:
                socket.create_connection(("127.0.0.1", port), 1).close()
                return
            except OSError:
                time.sleep(0.01)
        raise Broken("%s does not answer on port %d:\n%s" % (process.name, port, self.log_of(process)))

    def run(self, command, name, **more):
        return self.output_of(self.start(command, name, stdout=subprocess.PIPE, text=True, **more))

    def output_of(self, process):
        """Its standard output, a pipe, when it has ended well."""
        try:
            output, _ = process.communicate(timeout=RUN_S)
        finally:
            self.end(process)
        if process.returncode != 0:
            raise Broken("%s ended with %s:\n%s%s" % (process.name, process.returncode, output, self.log_of(process)))
        return output


def kill_quietly(pid):
    try:
        os.kill(pid, signal.SIGKILL)
    except ProcessLookupError:
        pass


def stat_fields(pid):
    """Those of /proc/PID/stat from field 3 on; none when it is gone."""
    try:
        return pathlib.Path("/proc/%d/stat" % pid).read_text().rpartition(")")[2].split()
    except OSError:
        return None


def descendants(pid):
    parents = {}
    for entry in pathlib.Path("/proc").iterdir():
        fields = stat_fields(int(entry.name)) if entry.name.isdigit() else None
        if fields:
            parents.setdefault(int(fields[1]), []).append(int(entry.name))
    found, left = [], [pid]
    while left:
        children = parents.get(left.pop(), [])
        found += children
        left += children
    return found


def processor_seconds(pid):
    """Of all processes of the server."""
    every = [stat_fields(one) for one in [pid] + descendants(pid)]
    return sum(int(fields[11]) + int(fields[12]) for fields in every if fields) / TICKS_PER_SECOND


def resident_bytes(pid):
    for line in pathlib.Path("/proc/%d/status" % pid).read_text().splitlines():
        if line.startswith("VmRSS:"):
            return int(line.split()[1]) * 1024
    raise Broken("process %d is gone" % pid)


def ask(port, method, path, body=None, headers=None):
    connection = http.client.HTTPConnection("127.0.0.1", port, timeout=START_S)
    try:
        connection.request(method, path, body, headers or {})
        answer = connection.getresponse()
        return answer.status, answer.read()
    finally:
        connection.close()
