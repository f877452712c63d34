#!/usr/bin/env python3
"""The row "memory" of scripts/bench: what holding a Warp of 1,000,000 files takes.

usage: python3 bench/rows/memory.py BUILD_FOLDER
"""
import os
import subprocess
import sys

from table import at_most, row

lines = subprocess.run([os.path.join(sys.argv[1], "bench", "memory_bench")], check=True, stdout=subprocess.PIPE, text=True)
figures = dict(line.split("\t") for line in lines.stdout.splitlines())
text = f"{figures['allocated']} bytes ({figures['resident']} resident)"
row("memory per entry held, of 1,000,000", "", at_most(400, "bytes"), text, float(figures["allocated"]))
