"""The driver host as the suite runs it, and the servers that it is held against."""
import json
import os
import subprocess
import time
import urllib.parse

from processes import BENCH, BIN, Broken, ask, free_port, program

PANELS = 20
STATE_BYTES = 100_000
WINDOW = 128  # of bench/wrk/contacts.lua
FORM = {"Content-Type": "application/x-www-form-urlencoded"}


def home_file(folder):
    """As in examples/: the agent and touch panels."""
    panels = "".join(
        "  <driver><id>%d</id><name>panel%d</name><library>panel</library>\n"
        "    <config><key>panel%d</key><name>Room %d</name><display>true</display>"
        "<speakerVolume>50</speakerVolume></config>\n  </driver>\n" % (100 + n, n, n, n) for n in range(1, PANELS + 1))
    path = folder / "home.xml"
    path.write_text("<home>\n  <controller><address>127.0.0.1</address></controller>\n"
                    "  <driver><id>1</id><name>agent</name><library>intercom_agent</library></driver>\n"
                    "%s</home>\n" % panels)
    return path


class Host:
    """The driver host with a home of its own."""

    def __init__(self, workplace):
        self.workplace = workplace
        self.folder = workplace.make_folder("host")
        self.home = home_file(self.folder)
        self.state = self.folder / "state"
        self.environment = sysman_environment(self.folder)
        self.oldest = 1  # contact that contacts.lua deletes next
        self.start()
        workplace.await_port(self.process, self.port)

    def start(self):
        self.port = free_port()
        self.process = self.workplace.start(
            [BIN / "driverhost", "--home", self.home, "--state-dir", self.state, "--log-level", "3", "--listen",
             "127.0.0.1:%d" % self.port], "driverhost", env=self.environment)

    def stop(self):
        self.workplace.end(self.process)

    def command(self, driver, command, **fields):
        status, body = ask(self.port, "POST", "/drivers/%s/commands/%s" % (driver, command),
                           urllib.parse.urlencode(fields), FORM)
        if status != 200:
            raise Broken("%s answered %d: %s" % (command, status, body))
        return body

    def fill_state(self):
        """Contacts until the stored document has its size, WINDOW of them for contacts.lua."""
        for number in range(1, WINDOW + 1):
            self.add_contact(number)
        spare = -1
        while len(self.document()) < STATE_BYTES:
            for _ in range(20):
                self.add_contact(spare)
                spare -= 1

    def add_contact(self, number):
        self.command("agent", "addContact", contactId=number, displayName="Contact %07d" % number, firstName="First",
                     lastName="Last", phoneType="<phoneTypeList/>")

    def document(self):
        return ask(self.port, "GET", "/drivers/agent/state")[1]

    def fill_events(self):
        """More bytes of kept events than any socket takes."""
        self.command("panel1", "setProperty", name="currentState", value="x" * 500_000)
        for _ in range(20):
            self.command("panel1", "notifyChanged", property=5)

    def event_readers(self):
        for line in ask(self.port, "GET", "/metrics")[1].decode().splitlines():
            if line.startswith("driverhost_event_readers "):
                return int(line.split()[1])
        raise Broken("the metrics tell no event readers")


def sysman_environment(folder):
    return dict(os.environ, PATH="%s:%s" % (BIN, os.environ["PATH"]), SYSMAN_STATE_DIR=str(folder / "sysman"))


def configuration(place, name, **values):
    text = (BENCH / "peers" / name).read_text()
    for key, value in values.items():
        text = text.replace("@%s@" % key.upper(), str(value))
    path = place / name
    path.write_text(text)
    return path


class Peer:
    """A server of others, with a configuration of bench/peers/."""

    def __init__(self, workplace, name, template, command, **values):
        self.workplace = workplace
        self.port = free_port()
        folder = workplace.make_folder(name)
        folder.chmod(0o755)
        path = configuration(folder, template, port=self.port, folder=folder, **values)
        words = [word.format(program=program(name), folder=folder, file=path) for word in command]
        self.process = workplace.start(words, name)
        workplace.await_port(self.process, self.port)

    def stop(self):
        self.workplace.end(self.process)


def nginx(workplace, body):
    quoted = body.decode().replace("\\", "\\\\").replace("'", "\\'")
    return Peer(workplace, "nginx", "nginx.conf", ["{program}", "-p", "{folder}", "-e", "stderr", "-c", "{file}"],
                body=quoted)


def kamailio(workplace, body):
    return Peer(workplace, "kamailio", "kamailio.cfg",
                ["{program}", "-f", "{file}", "-DD", "-E", "-m", "64", "-M", "8", "-Y", "{folder}", "-P",
                 "{folder}/pid"], body=body.decode().replace("'", "\\'"))


def mosquitto(workplace):
    return Peer(workplace, "mosquitto", "mosquitto.conf", ["{program}", "-c", "{file}"])


class EpollServer:
    """Gives the answer that the driver host gives, as it stands."""

    def __init__(self, workplace, answer):
        self.workplace = workplace
        folder = workplace.make_folder("epoll")
        (folder / "answer").write_bytes(answer)
        with open(folder / "port", "wb") as port:
            self.process = workplace.start([BIN / "epoll_server", folder / "answer"], "epoll_server", stdout=port)
        while not (folder / "port").read_text() and self.process.poll() is None:
            time.sleep(0.01)
        self.port = int((folder / "port").read_text())

    def stop(self):
        self.workplace.end(self.process)


class Wrk:
    """A run of wrk with a script of bench/wrk/; `report` waits for its end."""

    def __init__(self, workplace, port, script, seconds, connections=1, arguments=()):
        self.workplace = workplace
        self.script = script
        command = [program("wrk"), "-t1", "-c%d" % connections, "-d%ds" % seconds, "-s", script,
                   "http://127.0.0.1:%d" % port, "--", *arguments]
        self.process = workplace.start(command, "wrk", cwd=BENCH / "wrk", stdout=subprocess.PIPE, text=True)

    def report(self):
        """What bench/wrk/report.lua tells."""
        output = self.workplace.output_of(self.process)
        report = json.loads(output.splitlines()[-1])
        if report["bad"] or not report["requests"]:
            raise Broken("wrk %s: %s" % (self.script, output))
        report["rate"] = report["requests"] * 1e6 / report["duration"]
        return report


def wrk(*arguments):
    return Wrk(*arguments).report()
