#!/usr/bin/env python3
"""Measures how many situations a second a collector of one machine writes, and how many come from
the spools of a machine into logs by way of three servers, with the memory that each program had.

    rate.py ZMU WRITER PROXY [SITUATIONS]
"""

import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time

from cluster import Cluster, enter_network_of_its_own, judge

PROCESSES = 8


def figure(what, qty, seconds, usage=None):
    """The time of processors tells more than that of clocks where others are at work."""
    more = ""
    if usage:
        worked = usage.ru_utime + usage.ru_stime
        more = f"; {worked:.2f} s of a processor, {usage.ru_maxrss / 1024:.0f} MiB at most"
    print(f"{what:46} {qty / seconds:9.0f} a second ({qty} in {seconds:.2f} s{more})", flush=True)


def measured(command, folder):
    """Runs a program to its end; how many seconds that took, and what it used."""
    begun = time.monotonic()
    with open(folder / "measured.err", "ab") as errors:
        process = subprocess.Popen([str(word) for word in command], stdin=subprocess.DEVNULL,
                                   stdout=errors, stderr=errors)
        _, status, usage = os.wait4(process.pid, 0)
    if status:
        raise SystemExit(f"{' '.join(map(str, command))} has ended with {status}:\n"
                         + (folder / "measured.err").read_text())
    return time.monotonic() - begun, usage


def settled(cluster):
    """Waits until all that was reported is in logs; reads them only when they rest."""
    size = -1
    while True:
        time.sleep(0.25)
        before, size = size, sum(log.stat().st_size for log in cluster.folder.glob("logs*/*.html"))
        if size == before and cluster.total() >= sum(cluster.reported().values()):
            return


def collect_alone(cluster, qty):
    spools = []
    for number in range(1, PROCESSES + 1):
        spool = cluster.folder / f"alone{number}"
        spool.mkdir()
        spools.append(spool)
        subprocess.run([cluster.writer, cluster.proxy, cluster.folder / "alone.count", "w0", "0",
                        cluster.stop_file, str(qty // PROCESSES)], check=True,
                       env={**os.environ, "ZMU_SPOOL": str(spool)})
    logs = cluster.folder / "alone"
    logs.mkdir()
    seconds, usage = measured([cluster.zmu, "collect", *spools, "--log-dir", logs, "--once"],
                             cluster.folder)
    figure("zmu collect, eight spools into a log", qty, seconds, usage)


def in_steps(cluster, qty):
    """Each program by itself: what waits in the spools, then what waits with the servers."""
    for _ in range(PROCESSES):
        cluster.write(0, qty // PROCESSES)
    begun = time.monotonic()
    for part in cluster.writers:
        part.process.wait()
    figure("eight processes report", qty, time.monotonic() - begun)
    spools = [cluster.folder / "spool1", cluster.folder / "spool2"]
    seconds, usage = measured([cluster.zmu, "ship", *spools, "--server", cluster.urls, "--positions",
                              cluster.folder / "ship.positions", "--once"], cluster.folder)
    figure("zmu ship, to three copies", qty, seconds, usage)
    seconds, usage = measured([cluster.zmu, "collect", "--server", cluster.urls, "--log-dir",
                              cluster.folder / "logs1", "--once"], cluster.folder)
    figure("zmu collect --server, into a log", qty, seconds, usage)


def at_once(cluster, qty):
    cluster.collect()
    cluster.ship()
    before = sum(cluster.reported().values())
    begun = time.monotonic()
    for _ in range(PROCESSES):
        cluster.write(0, qty // PROCESSES)
    for part in cluster.writers:
        part.process.wait()
    settled(cluster)
    figure("end to end, two shippers and two collectors", sum(cluster.reported().values()) - before,
           time.monotonic() - begun)


def main():
    enter_network_of_its_own()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit("it was told to end"))
    zmu, writer, proxy = (pathlib.Path(word).resolve() for word in sys.argv[1:4])
    qty = int(sys.argv[4]) if len(sys.argv) > 4 else 400000
    folder = pathlib.Path(tempfile.mkdtemp(prefix="zmu-rate-"))
    cluster = Cluster(zmu, writer, proxy, folder)
    try:
        print(f"load before: {os.getloadavg()[0]:.1f}")
        collect_alone(cluster, qty)
        cluster.serve()
        in_steps(cluster, qty)
        at_once(cluster, qty)
        wrong = judge(cluster)
        for line in wrong:
            print("WRONG:", line)
    finally:
        cluster.end()
        shutil.rmtree(folder)
    raise SystemExit(bool(wrong))


if __name__ == "__main__":
    main()
