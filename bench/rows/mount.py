#!/usr/bin/env python3
"""The row "mount" of scripts/bench: `tovrin mount` beside others' file systems over the same files, in the same run.

usage: python3 bench/rows/mount.py BUILD_FOLDER

All is on loopback: one nginx is the worker for Tovrin, the web server for rclone, and what curl downloads from;
squashfuse_ll has the tree as an image. Prints rows of a Markdown table, medians of interleaved rounds as ratios, with
the least and the most; the figures of each round go to standard error.
"""
import json
import os
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

import peers
from table import NO_TARGET, at_least, at_most, row

ROUNDS = 5
REMEMBERED = 20000  # records in the journal, and paths in the badge file
FOLDERS, FILES_PER_FOLDER, FILE_BYTES = 200, 100, 4096
MIB, GIB = 1 << 20, 1 << 30
HOUR_SECONDS = 3600
# What the largest file takes on disk besides the others, as the original, its object and its local copy.
HUGE_BYTES, DISK_FOR_HUGE = 4 * GIB, 20 * GIB


def say(text):
    print(text, file=sys.stderr, flush=True)


def write_random(path, size):
    with open(path, "wb") as file:
        for _ in range(size // MIB):
            file.write(os.urandom(MIB))


def make_files(folder):
    """The folders that become Warps; returns the size of the huge file."""
    for number in range(FOLDERS):
        parent = os.path.join(folder, "tree", f"folder {number:03}")
        os.makedirs(parent)
        for index in range(FILES_PER_FOLDER):
            with open(os.path.join(parent, f"file {index:02}.txt"), "wb") as file:
                file.write(os.urandom(FILE_BYTES))
    huge_bytes = HUGE_BYTES if shutil.disk_usage(folder).free > DISK_FOR_HUGE else GIB
    for name, size in (("big", GIB), ("huge", huge_bytes)):
        os.makedirs(os.path.join(folder, name))
        write_random(os.path.join(folder, name, "file"), size)
    return huge_bytes


def make_warps(programs, files, objects, container):
    maker = os.path.join(programs, "tools", "tovrin-warp", "tovrin-warp")
    for name in ("tree", "big", "huge"):
        layout = ["--encoding", "raw", "--layout", "object", "--objects", objects]
        names = ["--warp-id", name, "--original-path", f"/Users/ann/{name}", "--container", container]
        subprocess.run([maker, "make", os.path.join(files, name), *layout, *names], check=True, stdout=subprocess.DEVNULL)


def connect(programs, container, address):
    maker = os.path.join(programs, "tools", "tovrin-warp", "tovrin-warp")
    environment = dict(os.environ, TOVRIN_WORKER_PASSWORD="password")
    words = ["connect", "--address", address, "--container", container]
    subprocess.run([maker, *words], check=True, env=environment, stdout=subprocess.DEVNULL)


def remember_others(container):
    """Gives journal and badge file what as many opened files leave in them."""
    now = time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime())
    paths = [f"/Users/ann/Documents/Album {number // 100}/IMG_{number}.jpeg" for number in range(REMEMBERED)]
    records = [{"warpID": "another", "relativePath": path, "size": 4096, "cachedAt": now} for path in paths]
    badges = {"createdAt": now, "badgeStatesByPath": {path: "cached" for path in paths}, "clearPaths": []}
    for name, value in (
        ("file-provider-cached-items", {"version": 1, "updatedAt": now, "records": records}),
        ("finder-badge-update", badges),
    ):
        path = os.path.join(container, "Warp", name + ".json")
        with open(path, "w") as file:
            json.dump(value, file)
        # Written long ago: a file that is a moment old is read again each time, as it may still change unseen.
        os.utime(path, (time.time() - HOUR_SECONDS,) * 2)


def object_of_big(objects):
    for parent, _, names in os.walk(objects):
        for name in names:
            path = os.path.join(parent, name)
            if os.path.getsize(path) == GIB:
                return os.path.relpath(path, objects)
    raise RuntimeError("the object of the big file is missing")


def seconds_of(*command):
    start = time.perf_counter()
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return time.perf_counter() - start


def curl_then_openssl(address, big_object, folder):
    bucket, key = big_object.split("/", 1)
    path = os.path.join(folder, "downloaded")
    seconds = seconds_of("curl", "-s", "-o", path, f"http://{address}/api/worker/object/{key}?bucket={bucket}")
    seconds += seconds_of("openssl", "sha256", path)
    os.remove(path)
    return GIB / seconds


def measure(*words):
    script = os.path.join(os.path.dirname(__file__), "measure.py")
    lines = subprocess.run([sys.executable, script, *words], check=True, capture_output=True, text=True).stdout
    return {figure: float(value) for figure, value in (line.split("\t") for line in lines.splitlines())}


def memory_of(process, name):
    with open(f"/proc/{process}/status") as status:
        return next(int(line.split()[1]) * 1024 for line in status if line.startswith(name + ":"))


def growth_while_opening(process, path):
    with open(f"/proc/{process}/clear_refs", "w") as peak:
        peak.write("5")
    before = memory_of(process, "VmRSS")
    os.close(os.open(path, os.O_RDONLY))
    return (memory_of(process, "VmHWM") - before) / MIB


class Bench:
    def __init__(self, programs, folder):
        self.programs, self.folder = programs, folder
        self.files, self.objects = os.path.join(folder, "files"), os.path.join(folder, "objects")
        self.container, self.image = os.path.join(folder, "container"), os.path.join(folder, "image")
        self.mounts = 0

    def prepare(self):
        say("making the files")
        os.makedirs(self.files)
        self.huge_bytes = make_files(self.files)
        make_warps(self.programs, self.files, self.objects, self.container)
        subprocess.run(["mksquashfs", os.path.join(self.files, "tree"), self.image, "-quiet", "-no-progress"], check=True)
        self.big_object = object_of_big(self.objects)

    def state(self):
        self.mounts += 1
        return os.path.join(self.folder, f"state {self.mounts}")

    def fresh_container(self):
        """One in which nothing was opened yet: every record makes the next opening a little slower."""
        container = self.state() + " container"
        shutil.copytree(self.container, container)
        return container

    def measure_tovrin(self):
        with peers.tovrin(self.programs, self.state(), self.fresh_container()) as (mountpoint, _):
            warps = os.path.join(mountpoint, "Warped Files", "Users", "ann")
            return measure(os.path.join(warps, "tree"), os.path.join(warps, "big", "file"))

    def measure_remembering(self):
        container = self.fresh_container()
        remember_others(container)
        with peers.tovrin(self.programs, self.state(), container) as (mountpoint, _):
            return measure("--opens", os.path.join(mountpoint, "Warped Files", "Users", "ann", "tree"))

    def measure_growth(self):
        with peers.tovrin(self.programs, self.state(), self.container) as (mountpoint, process):
            return growth_while_opening(process, os.path.join(mountpoint, "Warped Files/Users/ann/huge/file"))

    def measure_rclone(self, address):
        with peers.rclone(self.state(), address) as (mountpoint, _):
            return measure(os.path.join(mountpoint, "tree"), os.path.join(mountpoint, "big", "file"))

    def measure_squashfuse(self):
        with peers.squashfuse(self.state(), self.image) as (mountpoint, _):
            return measure(mountpoint)

    def round(self, address):
        figures = {}
        for name, run in (
            ("curl", lambda: {"big cold": curl_then_openssl(address, self.big_object, self.folder)}),
            ("tovrin", self.measure_tovrin),
            ("tovrin remembering", self.measure_remembering),
            ("rclone", lambda: self.measure_rclone(address)),
            ("squashfuse_ll", self.measure_squashfuse),
        ):
            os.sync()
            for figure, value in run().items():
                figures[name, figure] = value
                say(f"{name}\t{figure}\t{value:.4g}")
        return figures


def compare(rounds, what, figure, anchor, anchor_name, target):
    ratios = [figures[figure] / figures[anchor] for figures in rounds]
    median = statistics.median(ratios)
    row(what, anchor_name, target, f"{median:.2f} × ({min(ratios):.2f} to {max(ratios):.2f})", median)


def print_rows(rounds):
    big, small, eight, lstat = "big cold", "small cold p50", "small cold by eight", "walk lstat"
    for what, who, figure, peer, anchor, target in (
        ("open and read a 1 GiB raw file, speed", "tovrin", big, "curl", "curl, then openssl", at_least(0.8, "×")),
        ("the same", "tovrin", big, "rclone", "rclone mount", at_least(4, "×")),
        ("open a 4 KiB file that is not here, p50 time", "tovrin", small, "rclone", "rclone mount", at_most(0.7, "×")),
        ("the same with 20,000 journal records and badge paths, p50 time", "tovrin remembering", small, "tovrin", "with none", at_most(2, "×")),
        ("the same with none, by eight readers at once, files per second", "tovrin", eight, "rclone", "rclone mount", NO_TARGET),
        ("walk 20,000 files with lstat for the first time, speed", "tovrin", lstat, "squashfuse_ll", "squashfuse_ll", at_least(5, "×")),
        ("the same", "tovrin", lstat, "rclone", "rclone mount", at_least(10, "×")),
    ):
        compare(rounds, what, (who, figure), (peer, figure), anchor, target)


def main():
    with tempfile.TemporaryDirectory(prefix="tovrin-bench-") as folder:
        bench = Bench(os.path.abspath(sys.argv[1]), folder)
        bench.prepare()
        with peers.nginx(os.path.join(folder, "nginx"), bench.objects, bench.files) as address:
            connect(bench.programs, bench.container, address)
            rounds = []
            for number in range(ROUNDS):
                say(f"round {number + 1} of {ROUNDS}")
                rounds.append(bench.round(address))
            growth = bench.measure_growth()
        print_rows(rounds)
        what = f"resident growth while opening a {bench.huge_bytes // GIB} GiB file"
        row(what, "", at_most(32, "MiB"), f"{growth:.1f} MiB", growth)


main()
