#!/usr/bin/env python3
"""Kills every part of a cluster in turn, and counts what has arrived.

Three NATS servers on addresses of the loopback range, two spool folders with four writing processes
and a shipper each, two collectors. At the end every situation whose call had returned has to be in
exactly one log, once, in the order of its process.

    cluster_test.py ZMU WRITER PROXY [SECONDS-A-STEP]
"""

import collections
import os
import pathlib
import re
import shutil
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import time

RATE = 250  # situations a second of each writer
ADDRESSES = ["127.0.0.2", "127.0.0.3", "127.0.0.4"]
PATIENCE = 100  # seconds until all has to have arrived

started = time.monotonic()


def say(text):
    print(f"{time.monotonic() - started:6.1f} s  {text}", flush=True)


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
    """A process that is started again as often as it is killed."""

    def __init__(self, name, command, folder, environment=None):
        self.name, self.command, self.folder = name, command, folder
        self.environment = environment
        self.process = None
        self.start()

    def start(self):
        log = open(self.folder / f"{self.name}.err", "ab")
        self.process = subprocess.Popen(
            [str(word) for word in self.command], stdin=subprocess.DEVNULL, stdout=log, stderr=log,
            env={**os.environ, **(self.environment or {})})

    def kill(self):
        if self.process.poll() is not None:
            raise SystemExit(f"{self.name} has ended by itself with {self.process.returncode}:\n"
                             + self.told())
        self.process.kill()
        self.process.wait()

    def end(self):
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGCONT)
            self.process.terminate()
            try:
                self.process.wait(15)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()

    def told(self):
        text = (self.folder / f"{self.name}.err").read_text(errors="replace")
        return "\n".join(text.splitlines()[-15:])


class Cluster:
    def __init__(self, zmu, writer, proxy, folder):
        self.zmu, self.writer, self.proxy, self.folder = zmu, writer, proxy, folder
        self.writers = []
        self.writers_qty = 0
        self.stop_file = folder / "stop"
        port, route = free_port(), free_port()
        self.urls = ",".join(f"nats://{address}:{port}" for address in ADDRESSES)
        program = shutil.which("nats-server", path=os.environ["PATH"] + ":/usr/sbin")
        routes = ", ".join(f'"nats-route://{address}:{route}"' for address in ADDRESSES)
        self.servers = []
        for number, address in enumerate(ADDRESSES, 1):
            configuration = folder / f"server{number}.conf"
            configuration.write_text(
                f'server_name: "s{number}"\nlisten: "{address}:{port}"\n'
                f'jetstream {{ store_dir: "{folder}/store{number}" }}\n'
                f'cluster {{ name: "test", listen: "{address}:{route}", routes: [{routes}] }}\n')
            self.servers.append(Part(f"server{number}", [program, "-c", configuration], folder))
        self.collectors = []
        for number in (1, 2):
            (folder / f"logs{number}").mkdir()
            self.collectors.append(Part(
                f"collector{number}",
                [zmu, "collect", "--server", self.urls, "--log-dir", folder / f"logs{number}"],
                folder))
        self.shippers = []
        for number in (1, 2):
            (folder / f"spool{number}").mkdir()
            self.shippers.append(Part(
                f"shipper{number}",
                [zmu, "ship", folder / f"spool{number}", "--server", self.urls,
                 "--positions", folder / f"ship{number}.positions"], folder))

    def write(self):
        """Starts one more writer."""
        self.writers_qty += 1
        name = f"w{self.writers_qty}"
        spool = self.folder / f"spool{self.writers_qty % 2 + 1}"
        self.writers.append(Part(
            name, [self.writer, self.proxy, self.folder / f"{name}.count", name, RATE,
                   self.stop_file], self.folder, {"ZMU_SPOOL": str(spool)}))

    def reported(self):
        """How many calls have returned, by writer."""
        counts = {}
        for number in range(1, self.writers_qty + 1):
            count = (self.folder / f"w{number}.count")
            data = count.read_bytes() if count.exists() else b""
            counts[f"w{number}"] = struct.unpack("Q", data)[0] if len(data) == 8 else 0
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

    def total(self):
        return sum(len(numbers) for log in self.entries().values() for numbers in log.values())

    def parts(self):
        return self.servers + self.shippers + self.collectors + self.writers

    def end(self):
        for part in self.writers + self.shippers + self.collectors + self.servers:
            part.end()


def cut_off(address, is_cut):
    """Takes the way to an address away, or gives it back; false where that is not allowed."""
    command = ["ip", "route", "add" if is_cut else "del", "unreachable", address + "/32",
               "table", "local"]
    try:
        return subprocess.run(command, stderr=subprocess.DEVNULL).returncode == 0
    except OSError:
        return False


def torment(cluster, step):
    """Kills each part once, in turn."""
    figures = collections.Counter()
    for server in cluster.servers:
        server.kill()
        time.sleep(step)
        server.start()
        figures["servers killed"] += 1
        time.sleep(step)
        say(f"{server.name} was killed")
    for part in cluster.shippers + cluster.collectors + cluster.shippers + cluster.collectors:
        part.kill()
        time.sleep(step / 4)
        part.start()
        figures["shippers and collectors killed"] += 1
        time.sleep(step / 2)
        say(f"{part.name} was killed")
    for writer in list(cluster.writers):
        writer.kill()
        figures["writers killed"] += 1
        cluster.write()
    say("each writer was killed")
    server = cluster.servers[1]
    server.process.send_signal(signal.SIGSTOP)
    time.sleep(10)
    server.process.send_signal(signal.SIGCONT)
    figures["servers stopped for ten seconds"] += 1
    say(f"{server.name} was stopped for ten seconds")
    if cut_off(ADDRESSES[2], True):
        try:
            time.sleep(10)
        finally:
            cut_off(ADDRESSES[2], False)
        figures["servers cut off for ten seconds"] += 1
        say(f"{cluster.servers[2].name} was cut off for ten seconds")
    else:
        say("no server is cut off: changing routes takes root's rights")
    # A shipper, a collector and a server at once.
    for part in (cluster.shippers[0], cluster.collectors[0], cluster.servers[2]):
        part.kill()
    time.sleep(step)
    for part in (cluster.servers[2], cluster.collectors[0], cluster.shippers[0]):
        part.start()
    figures["killed at once"] += 3
    say("three were killed at once")
    return figures


def judge(cluster):
    """What is wrong, in a list of lines."""
    wrong = []
    entries = cluster.entries()
    for writer, count in cluster.reported().items():
        logs = [number for number, log in entries.items() if log.get(writer)]
        if count and len(logs) != 1:
            wrong.append(f"{writer}: {count} reported, in {len(logs)} logs")
            continue
        numbers = entries[logs[0]][writer] if logs else []
        # The last call may have been under way when its process was killed.
        if numbers not in (list(range(1, count + 1)), list(range(1, count + 2))):
            wanted, seen = set(range(1, count + 1)), collections.Counter(numbers)
            wrong.append(f"{writer}: {count} reported; {len(wanted - set(seen))} missing, "
                         f"{sum(1 for n in seen.values() if n > 1)} more than once, "
                         f"{'in' if numbers == sorted(numbers) else 'NOT in'} order")
    for number, log in entries.items():
        if not any(log.values()):
            wrong.append(f"collector {number} has taken no share of the work")
    for number in (1, 2):
        left = list((cluster.folder / f"spool{number}").glob("*.spool"))
        if left:
            wrong.append(f"{len(left)} spool files are left, such as {left[0].name}")
    return wrong


def main():
    zmu, writer, proxy = (pathlib.Path(word).resolve() for word in sys.argv[1:4])
    step = float(sys.argv[4]) if len(sys.argv) > 4 else 3
    folder = pathlib.Path(tempfile.mkdtemp(prefix="zmu-cluster-"))
    cluster = Cluster(zmu, writer, proxy, folder)
    wrong = ["it was ended too soon"]
    try:
        time.sleep(12)  # by then servers and collectors know of each other
        for _ in range(8):
            cluster.write()
        waited = time.monotonic()
        while cluster.total() == 0:
            if time.monotonic() - waited > PATIENCE:
                raise SystemExit("nothing arrives:\n" +
                                 "\n".join(f"{p.name}: {p.told()}" for p in cluster.parts()))
            time.sleep(0.5)
        say("the first situations are in a log")
        figures = torment(cluster, step)
        cluster.stop_file.touch()
        for part in cluster.writers:
            part.process.wait()
        reported = sum(cluster.reported().values())
        before, since = cluster.total(), time.monotonic()
        say(f"{reported} situations were reported by {cluster.writers_qty} processes; "
            f"{before} are in logs")
        while time.monotonic() - since < PATIENCE:
            wrong = judge(cluster)
            if not wrong:
                break
            time.sleep(1)
        caught_up = time.monotonic() - since
        total = cluster.total()
        say(f"{total} are in logs, after {caught_up:.1f} s more")
        for what, qty in figures.items():
            print(f"{qty:8} {what}")
        for number, log in cluster.entries().items():
            print(f"{sum(map(len, log.values())):8} situations of {len(log)} processes in the logs "
                  f"of collector {number}")
        if caught_up > 2 and total > before:
            print(f"{(total - before) / caught_up:8.0f} situations a second, end to end, while it "
                  "caught up")
    finally:
        cluster.end()
    for line in wrong:
        print("WRONG:", line)
    if wrong:
        print(f"what they have told is in {folder}")
        raise SystemExit(1)
    shutil.rmtree(folder)
    say("every situation whose call had returned is in exactly one log, once, in its order")


if __name__ == "__main__":
    main()
