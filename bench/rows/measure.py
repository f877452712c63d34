#!/usr/bin/env python3
"""Measures one mounted tree of small files, and one big file, as a program sees them.

usage: measure.py TREE [BIG_FILE]
       measure.py --opens TREE      only opens small files, as many as the other one does first

The mount must be fresh: what is called cold here is what nobody has asked it for before. Prints a line for each figure:
its name, a tab, its value. Times are in seconds, speeds in things per second.
"""
import os
import random
import statistics
import sys
import threading
import time

COLD_OPENS = 400
READERS = 8
CHUNK = 1 << 20


def report(figure, value):
    print(f"{figure}\t{value:.9g}", flush=True)


def timed(work, *arguments):
    start = time.perf_counter()
    result = work(*arguments)
    return time.perf_counter() - start, result


def walk(folder):
    """How many entries lie below the folder; each folder is listed once, and each entry asked for its attributes."""
    entries = 0
    folders = [folder]
    while folders:
        with os.scandir(folders.pop()) as listing:
            for entry in listing:
                entries += 1
                os.lstat(entry.path)
                if entry.is_dir(follow_symlinks=False):
                    folders.append(entry.path)
    return entries


def read_whole(path):
    file = os.open(path, os.O_RDONLY)
    try:
        while os.read(file, CHUNK):
            pass
    finally:
        os.close(file)


def small_files(folder):
    return sorted(os.path.join(parent, name) for parent, _, names in os.walk(folder) for name in names)


def open_times(paths):
    return [timed(read_whole, path)[0] for path in paths]


def read_by_several(paths):
    def reader(number):
        for path in paths[number::READERS]:
            read_whole(path)

    readers = [threading.Thread(target=reader, args=(number,)) for number in range(READERS)]
    for thread in readers:
        thread.start()
    for thread in readers:
        thread.join()


def shuffled_files(tree):
    paths = small_files(tree)
    random.Random(4).shuffle(paths)
    return paths


def main():
    if sys.argv[1] == "--opens":
        report("small cold p50", statistics.median(open_times(shuffled_files(sys.argv[2])[:COLD_OPENS])))
        return

    tree = sys.argv[1]
    for figure in ("walk lstat", "walk lstat again"):
        seconds, entries = timed(walk, tree)
        report(figure, entries / seconds)

    paths = shuffled_files(tree)
    first, rest = paths[:COLD_OPENS], paths[COLD_OPENS : 3 * COLD_OPENS]
    cold = open_times(first)
    report("small cold p50", statistics.median(cold))
    report("small cold p99", statistics.quantiles(cold, n=100)[-1])
    report("small warm p50", statistics.median(open_times(first)))
    report("small cold by eight", len(rest) / timed(read_by_several, rest)[0])

    if len(sys.argv) > 2:
        big = sys.argv[2]
        size = os.path.getsize(big)
        report("big cold", size / timed(read_whole, big)[0])
        report("big warm", size / timed(read_whole, big)[0])


main()
