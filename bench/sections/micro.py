"""Single pieces by Google Benchmark, each beside the least that does the same."""
import json
import pathlib
import shutil
import subprocess

from benchlib import median, ratio, spread, table

TITLE = "Single pieces"
ORDER = 60
KEYRING = pathlib.Path(__file__).resolve().parents[2] / "tests/support/with-keyring"
UNITS = {"ns": 1, "us": 1e3, "ms": 1e6}


def measured(bench, name, prefix=()):
    """Results by benchmark: lists of (CPU ns, wall ns), the pairs interleaved at random."""
    command = [*prefix, bench.program(name), "--benchmark_format=json", f"--benchmark_repetitions={bench.rounds}",
               "--benchmark_enable_random_interleaving=true", f"--benchmark_min_time={0.01 if bench.brief else 0.1}"]
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False)
    if done.returncode:
        raise SystemExit(f"bench/run: {name} failed:\n" + done.stderr.decode()[-1000:])
    results = {}
    for one in json.loads(done.stdout)["benchmarks"]:
        if one["run_type"] == "iteration":
            what, who = one["run_name"].split("/")[:2]
            unit = UNITS[one["time_unit"]]
            values = results.setdefault(what, {}).setdefault(who, {"cpu": [], "wall": []})
            values["cpu"].append(one["cpu_time"] * unit)
            values["wall"].append(one["real_time"] * unit)
    return results


def row(what, sides):
    ours, floor = sides["corvane"], sides.get("floor")
    text = lambda values: f"{median(values) / 1000:.3g} ± {spread(values):.0%}"
    both = lambda key: ([text(floor[key]), text(ours[key]), ratio(ours[key], floor[key])] if floor else
                        ["", text(ours[key]), ""])
    return [what, *both("cpu"), *both("wall")]


def run(bench):
    results = measured(bench, "bench-micro") | measured(bench, "bench-keychain")
    note = ""
    if shutil.which("gnome-keyring-daemon") and shutil.which("dbus-run-session"):
        results |= measured(bench, "bench-keyring", [str(KEYRING)])
    else:
        note = "\n\nThe keyring was not measured: it needs gnome-keyring-daemon and dbus-run-session."
    return table(["µs", "floor, CPU", "Corvane, CPU", "ratio", "floor, wall", "Corvane, wall", "ratio"],
                 [row(what, sides) for what, sides in results.items()]) + note
