#!/usr/bin/env python3
"""The row "materialize" of scripts/bench: `tovrin fetch` of large files in every form in which they are stored, beside
what the network, the disk, the hash and the decoder take alone for the same data.

usage: python3 bench/rows/materialize.py BUILD_FOLDER [MIB]
"""
import filecmp
import glob
import json
import os
import random
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

import peers
from table import NO_TARGET, row

ROUNDS = 3
MIB = 1 << 20


def write_random(path, mib):
    with open(path, "wb") as file:
        for _ in range(mib):
            file.write(os.urandom(MIB))


def write_words(path, mib):
    """Text that packs as documents do; what repeats is farther away than a decoder looks back."""
    chooser = random.Random(11)
    words = ["".join(chooser.choices("abcdefghilmnoprstuvw", k=chooser.randint(2, 9))) for _ in range(4096)]
    text = " ".join(chooser.choices(words, weights=[1 / (rank + 5) for rank in range(len(words))], k=2_000_000)).encode()
    with open(path, "wb") as file:
        for _ in range(mib):
            start = chooser.randrange(len(text) - MIB)
            file.write(text[start : start + MIB])


def write_with_holes(path, mib):
    with open(path, "wb") as file:
        for offset in range(0, mib, 2):
            file.seek(offset * MIB)
            file.write(os.urandom(MIB))
        file.truncate(mib * MIB)


# What is stored how: how the file is made, and what the Warp is made with.
FORMS = {
    "raw": (write_random, ["--encoding", "raw", "--layout", "object"]),
    "in parts of 16 MiB": (write_random, ["--encoding", "raw", "--layout", "parts", "--part-size", "16MiB"]),
    "in a bundle": (write_random, ["--encoding", "raw", "--layout", "bundle", "--bundle-size", "16GiB"]),
    "with holes": (write_with_holes, ["--encoding", "raw", "--layout", "object"]),
    "as LZFSE": (write_words, ["--encoding", "lzfse", "--layout", "object"]),
}


class Stored:
    """A file in one of the forms, all in a folder that is the caller's to remove."""

    def __init__(self, build, folder, form, mib):
        self.build, self.folder = build, folder
        self.container, self.objects = os.path.join(folder, "container"), os.path.join(folder, "objects")
        source = os.path.join(folder, "source")
        os.makedirs(source)
        self.original = os.path.join(source, "file")
        write, layout = FORMS[form]
        write(self.original, mib)
        # So that a bundle holds more than the one file.
        write_random(os.path.join(source, "another"), 1)
        self.warp("make", source, *layout, "--objects", self.objects, "--warp-id", "W1", "--original-path", "/Users/ann/W1")

    def warp(self, *words):
        program = os.path.join(self.build, "tools", "tovrin-warp", "tovrin-warp")
        environment = dict(os.environ, TOVRIN_WORKER_PASSWORD="password")
        subprocess.run([program, *words, "--container", self.container], check=True, env=environment, stdout=subprocess.DEVNULL)

    def object_paths(self):
        """Those that the file is made of, which are downloaded whole."""
        with open(os.path.join(self.container, "Warp", "ManifestMirror", "W1.json")) as text:
            entry = next(entry for entry in json.load(text)["entries"] if entry["absolutePath"].endswith("/file"))
        keys = [part["key"] for part in entry.get("payloadParts") or []] or [entry["payloadKey"]]
        return [path for key in keys for path in glob.glob(os.path.join(self.objects, "*", key))]

    def download(self, address):
        places = (os.path.relpath(path, self.objects).split("/", 1) for path in self.object_paths())
        urls = [f"http://{address}/api/worker/object/{key}?bucket={bucket}" for bucket, key in places]
        return seconds_of("curl", "-s", "--fail", *urls)

    def write(self):
        """As many bytes as the file has outside of its holes, into a fresh file, without waiting for the disk."""
        path = os.path.join(self.folder, "written")
        mib = os.stat(self.original).st_blocks * 512 // MIB
        seconds = seconds_of("dd", "if=/dev/zero", f"of={path}", "bs=1M", f"count={mib}", "status=none")
        os.remove(path)
        return seconds

    def digest(self):
        return seconds_of("openssl", "sha256", self.original)

    def decode(self):
        return sum(seconds_of(os.path.join(self.build, "bench", "decode_file"), path) for path in self.object_paths())

    def fetch(self):
        """The seconds, and the bytes of memory at most."""
        path = os.path.join(self.folder, "fetched")
        state = {f"XDG_{kind}": os.path.join(self.folder, kind) for kind in ("CACHE_HOME", "STATE_HOME", "RUNTIME_DIR")}
        words = ["--container", self.container, "fetch", "/Warped Files/Users/ann/W1/file", "-o", path]
        start = time.perf_counter()
        process = subprocess.Popen(
            [os.path.join(self.build, "tovrin"), *words], env=dict(os.environ, **state), stdout=subprocess.DEVNULL
        )
        _, status, usage = os.wait4(process.pid, 0)
        seconds = time.perf_counter() - start
        process.returncode = os.waitstatus_to_exitcode(status)
        if process.returncode != 0 or not filecmp.cmp(path, self.original, shallow=False):
            raise RuntimeError("tovrin fetch does not bring back the file")
        os.remove(path)
        return seconds, usage.ru_maxrss * 1024


def seconds_of(*command):
    start = time.perf_counter()
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL)
    return time.perf_counter() - start


def measure(build, form, mib):
    """Prints the row of one form."""
    with tempfile.TemporaryDirectory(prefix="tovrin-bench-") as folder:
        stored = Stored(build, folder, form, mib)
        with peers.nginx(os.path.join(folder, "nginx"), stored.objects, os.path.join(folder, "source")) as address:
            stored.warp("connect", "--address", address)
            alone = {"network": lambda: stored.download(address), "disk": stored.write, "hash": stored.digest}
            if form == "as LZFSE":
                alone["decoder"] = stored.decode
            rounds = []
            for _ in range(ROUNDS):
                seconds = {}
                for name, run in alone.items():
                    os.sync()
                    seconds[name] = run()
                os.sync()
                seconds["whole"], memory = stored.fetch()
                rounds.append((seconds, memory))
                print(form, seconds, f"{memory / MIB:.0f} MiB", file=sys.stderr, flush=True)

    median = {name: statistics.median(seconds[name] for seconds, _ in rounds) for name in rounds[0][0]}
    slowest = max(alone, key=median.get)
    ratio = statistics.median(seconds[slowest] / seconds["whole"] for seconds, _ in rounds)
    speeds = ", ".join(f"{name} {mib * MIB / 1e9 / seconds:.2f}" for name, seconds in median.items())
    peak = max(memory for _, memory in rounds) / MIB
    row(f"fetch {mib} MiB stored {form}, speed", f"the {slowest} alone", NO_TARGET, f"{ratio:.2f} × (GB/s: {speeds}; memory {peak:.0f} MiB)")


def main():
    build = os.path.abspath(sys.argv[1])
    mib = int(sys.argv[2]) if len(sys.argv) > 2 else 1024
    needed = 5 * mib * MIB
    if shutil.disk_usage(tempfile.gettempdir()).free < needed:
        sys.exit(f"materialize needs {needed >> 30} GiB in {tempfile.gettempdir()}")
    for form in FORMS:
        measure(build, form, mib)


main()
