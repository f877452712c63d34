#!/usr/bin/env python3
"""The row "lzfse" of scripts/bench: the decoder beside zstd and memcpy, and so beside the reference decoder, which cannot
be had here: where it was measured, zstd was measured with it, on data of the same kinds.

usage: python3 bench/rows/lzfse.py BUILD_FOLDER
"""
import sys

from table import NO_TARGET, Figures, at_least, row

figures = Figures(sys.argv[1], "lzfse_bench", 11)
for name, median in sorted(figures.medians.items()):  # they took turns in random order
    corpus = name.split("/")[0]
    peers = f"{median['of_zstd1']:.2f} × zstd -1, {median['of_zstd3']:.2f} × zstd -3, {median['of_memcpy']:.2f} × memcpy"
    if "of_reference" in median:
        speed = median["of_reference"]
        row(f"decode {corpus}, speed", "reference decoder, estimated", at_least(1.3, "×"), f"{speed:.2f} × ({peers})", speed)
    else:
        row(f"decode {corpus}, speed", "zstd, memcpy", NO_TARGET, peers)
