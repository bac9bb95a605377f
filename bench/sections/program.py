"""The corvane program listing to nowhere: memory and time from ten thousand files to a million."""
import os
import subprocess
import time

from benchlib import Server, median, spread, table
from signin import Home

TITLE = "`corvane ls --json > /dev/null`"
ORDER = 20


class Listing:
    """One size. Short listings are repeated until they have run about as long as the longest one, and averaged: the machine's
    speed changes within seconds, and each size should meet the same mixture."""

    def __init__(self, bench, server, home, email, repeats):
        self.repeats = repeats
        self.command = bench.on_client_core([bench.program("corvane"), "--google", server.url, "--ca-file", server.ca,
                                             "--keychain", "file", "--json", "ls", email])
        self.environment = {**os.environ, **home.environment}

    def __call__(self):
        results = [self.once() for _ in range(self.repeats)]
        mean = lambda key: sum(one[key] for one in results) / len(results)
        return {"cpu": mean("cpu"), "wall": mean("wall"), "peak": max(one["peak"] for one in results)}

    def once(self):
        begin = time.monotonic()
        program = subprocess.Popen(self.command, stdout=subprocess.DEVNULL, env=self.environment)
        peak = self.watch(program)
        _, status, used = os.wait4(program.pid, 0)
        program.returncode = os.waitstatus_to_exitcode(status)
        if program.returncode:
            raise SystemExit(f"bench/run: corvane ls ended with {program.returncode}")
        return {"cpu": (used.ru_utime + used.ru_stime) * 1000, "wall": (time.monotonic() - begin) * 1000, "peak": peak}

    @staticmethod
    def watch(program):
        """The peak in KiB while it runs; ru_maxrss would count what this interpreter had when it forked."""
        peak = 0
        while not os.waitid(os.P_PID, program.pid, os.WEXITED | os.WNOWAIT | os.WNOHANG):
            try:
                with open(f"/proc/{program.pid}/status", encoding="ascii") as status:
                    peak = max([peak, *(int(line.split()[1]) for line in status if line.startswith("VmHWM:"))])
            except OSError:
                pass
            time.sleep(0.01)
        return peak


def run(bench):
    counts = [1_000, 10_000] if bench.brief else [10_000, 100_000, 1_000_000]
    accounts = {f"files{count}@example.com": count for count in counts}
    with Server(bench, accounts) as server, Home() as home:
        for email in accounts:
            home.sign_in(bench, server, email)
        rounds = bench.interleaved({count: Listing(bench, server, home, email, min(counts[-1] // count, 40))
                                    for email, count in accounts.items()}, rounds=min(bench.rounds, 5))
    values = {count: {key: [one[key] for one in results] for key in results[0]} for count, results in rounds.items()}
    rows = []
    base = None
    for before, count in zip([None, *counts], counts):
        now = values[count]
        row = [f"{count:,}", f"{median(now['cpu']):.0f} ± {spread(now['cpu']):.0%}", f"{median(now['wall']):.0f}",
               f"{max(now['peak']) / 1024:.1f}"]
        if before is None:
            row += ["", ""]
        else:
            slope = lambda key: (median(now[key]) - median(values[before][key])) / (count - before) * 1000
            base = base or {key: slope(key) for key in ("cpu", "wall")}
            row += [f"{slope('cpu'):.2f} ({slope('cpu') / base['cpu']:.2f})",
                    f"{slope('wall'):.2f} ({slope('wall') / base['wall']:.2f})"]
        rows.append(row)
    return (table(["files", "CPU ms", "wall ms", "peak MiB", "CPU ms per 1,000 more", "wall ms per 1,000 more"], rows) +
            "\n\nIn brackets: to the first step's. The files come over TLS from another process and are printed in full.")
