"""Listing through the public API against the best loop written by hand.

Marginal cost: what 1,000 files cost more in a long listing than in a short one, so that what a process costs once
(libraries, authorities, the first connection, the sign-in) does not count."""
import re
import subprocess
import tempfile

from benchlib import Server, median, ratio, spread, table

TITLE = "Listing: marginal cost of 1,000 files, pages kept"
ORDER = 10
CLIENTS = {"floor": "written by hand (the floor)", "listing": "Corvane, through the public API"}


class Rig:
    def __init__(self, bench, server):
        self.bench = bench
        self.server = server

    def arguments(self, client, email):
        who = self.server.token_file(email) if client == "floor" else email
        return [self.bench.program(f"bench-{client}"), self.server.url, self.server.ca, who]

    def once(self, client, email, **environment):
        before = self.server.cpu_ms()
        result = self.bench.measure(self.arguments(client, email), **environment)
        return {**result, "server": self.server.cpu_ms() - before}

    def marginal(self, client, few, many, **environment):
        """What 1,000 more files cost, in all that is measured."""
        short, long = self.once(client, few, **environment), self.once(client, many, **environment)
        thousands = (long["files"] - short["files"]) / 1000
        return {key: (long[key] - short[key]) / thousands for key in long if key != "files"}

    def instructions(self, client, email):
        """Instructions of a whole run, by callgrind."""
        with tempfile.TemporaryDirectory() as folder:
            done = subprocess.run(
                ["valgrind", "--tool=callgrind", f"--callgrind-out-file={folder}/out",
                 *self.arguments(client, email)], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
            if done.returncode:
                raise SystemExit("bench/run: callgrind failed:\n" + done.stdout.decode()[-2000:])
            return int(re.search(r"Collected : (\d+)", done.stdout.decode()).group(1))


def marginal_instructions(rig, client, few, many, more):
    return (rig.instructions(client, many) - rig.instructions(client, few)) / more


def run(bench):
    sizes = (1_000, 3_000) if bench.brief else (10_000, 100_000)
    accounts = {"few@example.com": sizes[0], "many@example.com": sizes[1]}
    accounts |= {"short@example.com": 1_000, "long@example.com": 2_000 if bench.brief else 6_000}
    with Server(bench, accounts) as server:
        rig = Rig(bench, server)
        rounds = bench.interleaved({client: lambda client=client: rig.marginal(client, "few@example.com",
                                                                               "many@example.com")
                                    for client in CLIENTS})
        preload = {"LD_PRELOAD": bench.library("libbench-allocations.so")}
        rows = []
        for client, name in CLIENTS.items():
            allocations = rig.marginal(client, "few@example.com", "many@example.com", **preload)["allocations"]
            executed = marginal_instructions(rig, client, "short@example.com", "long@example.com",
                                             accounts["long@example.com"] - accounts["short@example.com"])
            values = {key: [one[key] for one in rounds[client]] for key in rounds[client][0]}
            base = {key: [one[key] for one in rounds["floor"]] for key in values}
            cell = lambda key: f"{median(values[key]):.2f} ± {spread(values[key]):.0%}"
            rows.append([name, cell("cpu"), ratio(values["cpu"], base["cpu"]), cell("wall"),
                         ratio(values["wall"], base["wall"]), f"{median(values['peak']):.0f}",
                         ratio(values["peak"], base["peak"]), f"{executed:.0f}", f"{allocations / 1000:.1f}",
                         f"{sum(values['server']) / len(values['server']):.2f}"])
    return table(["client", "CPU ms", "ratio", "wall ms", "ratio", "peak KiB", "ratio", "instructions a file",
                  "allocations a file", "server's CPU ms"], rows)
