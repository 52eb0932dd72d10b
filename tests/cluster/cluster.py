"""Three NATS servers on addresses of the loopback range, two spool folders with a shipper each, two
collectors, and processes that report: the parts that the tests in this folder start, kill and count.
"""

import collections
import ctypes
import json
import os
import re
import shutil
import signal
import socket
import struct
import subprocess
import sys
import time
import urllib.error
import urllib.request

import stream

ADDRESSES = ["127.0.0.2", "127.0.0.3", "127.0.0.4"]
STEP_PATIENCE = 90  # seconds for anything that takes moments on a machine with nothing else to do

started = time.monotonic()
libc = ctypes.CDLL(None)


def say(text):
    print(f"{time.monotonic() - started:6.1f} s  {text}", flush=True)


def await_that(what, condition, patience=STEP_PATIENCE):
    """Waits until the condition returns something true, which is returned."""
    end = time.monotonic() + patience
    while True:
        answer = condition()
        if answer:
            return answer
        if time.monotonic() > end:
            raise SystemExit(f"after {patience} seconds it is still not so that {what}")
        time.sleep(0.2)


def enter_network_of_its_own():
    """Runs the program again where routes and ports are nobody else's, if the system lets it. They
    are gone with it, however it ends."""
    mark = "ZMU_CLUSTER_NETWORK"
    if mark in os.environ:
        return
    for rights in (["--net"], ["--net", "--map-root-user"]):
        enter = ["unshare", *rights, "sh", "-c", 'ip link set lo up && exec "$@"', "sh"]
        try:
            works = subprocess.run([*enter, "ip", "route", "add", "unreachable", "127.0.0.99/32",
                                    "table", "local"], stderr=subprocess.DEVNULL).returncode == 0
        except OSError:
            return
        if works:
            os.environ[mark] = "1"
            os.execvp(enter[0], [*enter, sys.executable, *sys.argv])


def cut_off(address, is_cut):
    """Takes the way to an address away, or gives it back; false where that is not allowed."""
    command = ["ip", "route", "add" if is_cut else "del", "unreachable", address + "/32",
               "table", "local"]
    try:
        return subprocess.run(command, stderr=subprocess.DEVNULL).returncode == 0
    except OSError:
        return False


def free_port():
    """A port that is free on all of the addresses."""
    while True:
        with socket.socket() as first:
            first.bind((ADDRESSES[0], 0))
            port = first.getsockname()[1]
            try:
                for address in ADDRESSES[1:]:
                    with socket.socket() as other:
                        other.bind((address, port))
                return port
            except OSError:
                continue


class Part:
    """A process that is started again as often as it is killed, and does not outlive this one."""

    def __init__(self, name, command, folder, environment=None):
        self.name, self.folder = name, folder
        self.command = [str(word) for word in command]
        self.environment = {**os.environ, **(environment or {})}
        self.process = None
        self.start()

    def start(self):
        die_with_parent = 1  # PR_SET_PDEATHSIG
        with open(self.folder / f"{self.name}.err", "ab") as log:
            self.process = subprocess.Popen(
                self.command, stdin=subprocess.DEVNULL, stdout=log, stderr=log,
                env=self.environment,
                preexec_fn=lambda: libc.prctl(die_with_parent, signal.SIGKILL))

    def require_running(self):
        if self.process.poll() is not None:
            raise SystemExit(f"{self.name} has ended by itself with {self.process.returncode}")

    def kill(self):
        self.require_running()
        self.process.kill()
        self.process.wait()

    def end(self):
        """Ends it in the usual way; what is wrong with how it ends, if anything is."""
        if self.process.poll() is not None:
            return f"{self.name} had ended by itself with {self.process.returncode}"
        self.process.send_signal(signal.SIGCONT)
        self.process.terminate()
        try:
            status = self.process.wait(STEP_PATIENCE)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
            return f"{self.name} did not end within {STEP_PATIENCE} seconds"
        return f"{self.name} has ended with {status}" if status else None

    def told(self):
        text = (self.folder / f"{self.name}.err").read_text(errors="replace")
        return "\n".join("    " + line for line in text.splitlines()[-15:])


class Server(Part):
    def __init__(self, number, folder, port, route):
        self.address, self.port = ADDRESSES[number - 1], port
        program = shutil.which("nats-server", path=os.environ["PATH"] + ":/usr/sbin")
        if not program:
            raise SystemExit("there is no nats-server; ./dev cluster installs it")
        routes = ", ".join(f'"nats-route://{address}:{route}"' for address in ADDRESSES)
        configuration = folder / f"server{number}.conf"
        configuration.write_text(
            f'server_name: "s{number}"\nlisten: "{self.address}:{port}"\n'
            f'http: "{self.address}:{port + 1}"\n'
            f'jetstream {{ store_dir: "{folder}/store{number}" }}\n'
            f'cluster {{ name: "test", listen: "{self.address}:{route}", routes: [{routes}] }}\n')
        super().__init__(f"server{number}", [program, "-c", configuration], folder)

    def asked(self, path):
        """What it says of itself, or None."""
        try:
            url = f"http://{self.address}:{self.port + 1}/{path}"
            with urllib.request.urlopen(url, timeout=5) as answer:
                return json.load(answer)
        except (OSError, ValueError, urllib.error.URLError):
            return None

    def is_there(self):
        return (self.asked("healthz?js-server-only=true") or {}).get("status") == "ok"

    def await_return(self):
        """Waits until it is there, and a while for all that it keeps a copy of: of a consumer it
        may never say so."""
        await_that(f"{self.name} is there again", self.is_there)
        end = time.monotonic() + 10
        while time.monotonic() < end and (self.asked("healthz") or {}).get("status") != "ok":
            time.sleep(0.2)

    def messages_of(self, stream):
        accounts = (self.asked("jsz?accounts=true&streams=true") or {}).get("account_details", [])
        return sum(each["state"]["messages"] for account in accounts
                   for each in account.get("stream_detail", []) if each["name"] == stream)


class Cluster:
    def __init__(self, zmu, writer, proxy, folder):
        self.zmu, self.writer, self.proxy, self.folder = zmu, writer, proxy, folder
        self.servers, self.shippers, self.collectors, self.writers = [], [], [], []
        self.stop_file = folder / "stop"
        self.urls = ""
        for number in (1, 2):
            (folder / f"logs{number}").mkdir()
            (folder / f"spool{number}").mkdir()

    def serve(self):
        port, route = free_port(), free_port()
        self.urls = ",".join(f"nats://{address}:{port}" for address in ADDRESSES)
        for number in (1, 2, 3):
            self.servers.append(Server(number, self.folder, port, route))
        await_that("the servers know each other",
                   lambda: all(server.is_there() for server in self.servers))

    def collect(self):
        for number in (1, 2):
            self.collectors.append(Part(
                f"collector{number}",
                [self.zmu, "collect", "--server", self.urls, "--log-dir",
                 self.folder / f"logs{number}"], self.folder))
        await_that("both collectors have said that they are there",
                   lambda: max(server.messages_of("KV_zmu-members") for server in self.servers) == 2)
        time.sleep(6)  # each looks every five seconds who is

    def ship(self):
        for number in (1, 2):
            self.shippers.append(Part(
                f"shipper{number}",
                [self.zmu, "ship", self.folder / f"spool{number}", "--server", self.urls,
                 "--positions", self.folder / f"ship{number}.positions"], self.folder))

    def write(self, rate, limit=0):
        """Starts one more process that reports, without an end if there is no limit."""
        number = len(self.writers) + 1
        name = f"w{number}"
        self.writers.append(Part(
            name, [self.writer, self.proxy, self.folder / f"{name}.count", name, rate,
                   self.stop_file, limit], self.folder,
            {"ZMU_SPOOL": str(self.folder / f"spool{number % 2 + 1}")}))

    def reported(self):
        """How many calls have returned, by writer."""
        counts = {}
        for writer in self.writers:
            count = self.folder / f"{writer.name}.count"
            data = count.read_bytes() if count.exists() else b""
            counts[writer.name] = struct.unpack("Q", data)[0] if len(data) == 8 else 0
        return counts

    def entries(self):
        """What is in the logs: for each log folder and writer the numbers, as they stand there."""
        found = {}
        for number in (1, 2):
            numbers = found[number] = collections.defaultdict(list)
            for log in sorted((self.folder / f"logs{number}").glob("*.html")):
                text = log.read_bytes().decode("utf-16-le", errors="replace")
                for writer, situation in re.findall(r"writer (w\d+) situation (\d+) of many", text):
                    numbers[writer].append(int(situation))
        return found

    def lost_by_servers(self):
        """(Writer, number) of each call that has returned, and of which no server has a message any
        more. They differ, so each is asked several times: who answers is theirs to choose."""
        kept = set()
        for server in 3 * self.servers:
            kept |= stream.situations_of(stream.texts_of(server.address, server.port, "ZMU"))
        return {(writer, number) for writer, count in self.reported().items()
                for number in range(1, count + 1)} - kept

    def warnings(self):
        """What the logs tell of lines that are missing or left out: none is, since what a writer
        that is killed leaves half-written is not shipped."""
        return [f"{log.name}: {told}" for log in sorted(self.folder.glob("logs*/*.html"))
                for told in re.findall(r"Situations? \d[^<]* of this process [^<]*|Left out: [^<]*",
                                       log.read_bytes().decode("utf-16-le", errors="replace"))]

    def is_shared(self):
        """Whether each collector has taken processes."""
        return all(any(log.values()) for log in self.entries().values())

    def total(self):
        return sum(len(numbers) for log in self.entries().values() for numbers in log.values())

    def parts(self):
        return self.writers + self.shippers + self.collectors + self.servers

    def await_arrival(self, patience=STEP_PATIENCE):
        """Waits until as much is in the logs as was reported, as long as more comes; how much that
        is."""
        wanted, seen, since = sum(self.reported().values()), -1, time.monotonic()
        while time.monotonic() - since < patience:
            total = self.total()
            if total >= wanted:
                return total
            if total != seen:
                seen, since = total, time.monotonic()
            for part in self.shippers + self.collectors + self.servers:
                part.require_running()
            time.sleep(1)
        return seen

    def end_writers(self):
        """Lets those that were not killed come to their end."""
        self.stop_file.touch()
        for part in self.writers:
            part.process.wait(STEP_PATIENCE)

    def end(self):
        """Ends all. What is wrong with how shippers and collectors end, in a list of lines."""
        ended = [part.end() for part in self.shippers + self.collectors]
        for part in self.writers + self.servers:
            part.end()
        return [wrong for wrong in ended if wrong]

    def last_words(self):
        return "\n".join(f"{part.name}:\n{part.told()}" for part in self.parts())


def judge(cluster, lost=frozenset()):
    """What is wrong, in a list of lines. What follows one that the servers have lost is waiting."""
    wrong = cluster.warnings()
    entries = cluster.entries()
    for writer, count in cluster.reported().items():
        logs = [number for number, log in entries.items() if log.get(writer)]
        if count and len(logs) != 1:
            wrong.append(f"{writer}: {count} reported, in {len(logs)} logs")
            continue
        numbers = entries[logs[0]][writer] if logs else []
        # The last call may have been under way when its process was killed.
        whole = [list(range(1, count + 1)), list(range(1, count + 2))]
        if any(source == writer for source, _ in lost):
            whole = [list(range(1, min(number for source, number in lost if source == writer)))]
        if numbers not in whole:
            wanted, seen = set(range(1, count + 1)), collections.Counter(numbers)
            wrong.append(f"{writer}: {count} reported; {len(wanted - set(seen))} missing, "
                         f"{sum(1 for n in seen.values() if n > 1)} more than once, "
                         f"{'in' if numbers == sorted(numbers) else 'NOT in'} order")
    return wrong
