#!/usr/bin/env python3
"""The row "open" of scripts/bench: what the journal and the badge file add to opening a file of 4 KiB without a mount.
What they may add to an opening through the mount is a target of the row "mount".

usage: python3 bench/rows/open.py BUILD_FOLDER
"""
import sys

from table import NO_TARGET, Figures, row, time_text

figures = Figures(sys.argv[1], "open_cost_bench", 7)
empty, full, alone = "open/0/real_time", "open/20000/real_time", "downloadAlone/0/real_time"


def compare(what, name, anchor_name, anchor):
    times = f"{time_text(figures.seconds(name))} to {time_text(figures.seconds(anchor))}"
    row(what, anchor_name, NO_TARGET, f"{figures.ratio(name, anchor):.2f} × ({times})")


compare("open 4 KiB with 20,000 journal records and 20,000 badge paths, time", full, "with none", empty)
compare("open 4 KiB with none, time", empty, "its two requests alone", alone)
