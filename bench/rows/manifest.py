#!/usr/bin/env python3
"""The row "manifest" of scripts/bench: decoding manifests, and asking the domain, at scale.

usage: python3 bench/rows/manifest.py BUILD_FOLDER
"""
import sys

from table import NO_TARGET, Figures, Target, at_least, at_most, row, time_text

MILLION = "1,000,000 entries"
# A hundred times the entries; what grew with them would not stay below twice the time.
NOT_GROWING = Target("not growing with the Warp", lambda growth: growth < 2)


def decoding(build):
    figures = Figures(build, "manifest_bench", 7)
    for entries, text in ((1000, "1,000"), (100000, "100,000")):
        speed = figures.ratio(f"bareSweep/{entries}", f"decode/{entries}")
        row(f"decode and validate {text} entries, speed", "bare simdjson sweep", at_least(0.6, "×"), f"{speed:.2f} ×", speed)


def domain(build):
    figures = Figures(build, "provider_bench", 5, "--benchmark_min_time=0.2")
    seconds, ratio = figures.seconds, figures.ratio

    def row_of(what, against, target, name, anchor):
        row(what, against, target, f"{time_text(seconds(name))}, {ratio(anchor, name):,.0f} × as fast", seconds(name) * 1000)

    everything = "reading all"
    row_of(f"reload, nothing changed, one Warp of {MILLION}", everything, at_most(5, "ms"),
           "reloadOneWarpOfAMillion/real_time", "readOneWarpOfAMillion/real_time")
    row_of("reload, nothing changed, 1,000 Warps of 1,000", everything, at_most(5, "ms"),
           "reload1000Warps/real_time", "read1000Warps/real_time")
    row_of("reload, one of 1,000 Warps of 1,000 changed", everything, NO_TARGET,
           "reloadOneOf1000Changed/real_time", "read1000Warps/real_time")
    row_of(f"list one folder of 100 in {MILLION}", "scan of all entries", at_most(0.3, "ms"),
           "listFolderOf100/1000000", "scanForFolderOf100/1000000")
    for what, name in (("the same", "listFolderOf100"), (f"look up one item in {MILLION}", "lookUpItem")):
        growth = ratio(f"{name}/1000000", f"{name}/10000")
        row(f"{what}, time", "in 10,000 entries", NOT_GROWING, f"{growth:.2f} × ({time_text(seconds(f'{name}/1000000'))})", growth)
    speed = figures.medians["wholeDomain/1000000"]["items_per_second"]
    journals = figures.medians["readJournal/1000000"]["items_per_second"]
    row("the whole domain of 1,000,000 items, journal of 20,000 records", "one journal read per item",
        at_least(500000, "items/s"), f"{speed:,.0f} items/s, {speed / journals:,.0f} × as fast", speed)
    for what, name in (("sync anchor", "anchorOf1000Warps"), ("list the folder that holds them", "listFolderHolding1000Warps"),
                       ("look up one Warp", "lookUpAmong1000Warps")):
        row(f"1,000 Warps: {what}", "", NO_TARGET, time_text(seconds(name)))


decoding(sys.argv[1])
domain(sys.argv[1])
