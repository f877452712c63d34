"""What the rows share: lines of the table, and figures of Google Benchmark programs."""
import json
import os
import subprocess

SECONDS = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}


class Target:
    def __init__(self, text, is_met):
        self.text, self.is_met = text, is_met


def at_least(bound, unit):
    return Target(f"≥ {bound:,} {unit}", lambda value: value >= bound)


def at_most(bound, unit):
    return Target(f"≤ {bound:,} {unit}", lambda value: value <= bound)


NO_TARGET = Target("", lambda value: True)


def row(what, against, target, measured, value=None):
    """`value` is what the target judges, in its unit."""
    verdict = "" if target.is_met(value) else ", **missed**"
    print(f"| {what} | {against} | {target.text} | {measured}{verdict} |", flush=True)


def time_text(seconds):
    for unit, size in (("s", 1), ("ms", 1e-3), ("µs", 1e-6)):
        if seconds >= size:
            break
    return f"{seconds / size:.3g} {unit}"


class Figures:
    """The medians of a program's benchmarks, whose rounds took turns in random order."""

    def __init__(self, build, program, rounds, *words):
        command = [os.path.join(build, "bench", program), "--benchmark_format=json", f"--benchmark_repetitions={rounds}"]
        command += ["--benchmark_enable_random_interleaving=true", "--benchmark_report_aggregates_only=true", *words]
        results = json.loads(subprocess.run(command, check=True, stdout=subprocess.PIPE).stdout)["benchmarks"]
        failed = {result["name"]: result["error_message"] for result in results if result.get("error_occurred")}
        if failed:
            raise RuntimeError(f"{program}: {failed}")
        self.medians = {result["run_name"]: result for result in results if result.get("aggregate_name") == "median"}

    def seconds(self, name):
        """Of the processor, or of the clock for what uses several threads or waits."""
        median = self.medians[name]
        return median["real_time" if name.endswith("/real_time") else "cpu_time"] * SECONDS[median["time_unit"]]

    def ratio(self, above, below):
        return self.seconds(above) / self.seconds(below)
