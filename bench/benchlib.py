"""What the sections of bench/run share: processes on cores, the server, rounds, and tables."""
import json
import os
import pathlib
import signal
import statistics
import subprocess
import tempfile
import time


class Bench:
    """One run of bench/run."""

    def __init__(self, build, brief, rounds):
        self.build = pathlib.Path(build)
        self.brief = brief
        self.rounds = rounds
        cores = sorted(os.sched_getaffinity(0))
        self.server_core = cores[0]
        self.client_core = cores[1] if len(cores) > 1 else None

    def program(self, name):
        """The path of a built program, wherever CMake put it."""
        found = [path for path in self.build.rglob(name) if path.is_file() and os.access(path, os.X_OK)]
        if not found:
            raise SystemExit(f"bench/run: {name} was not built")
        return str(found[0])

    def library(self, name):
        """The path of a library to preload."""
        return str(next(self.build.rglob(name)))

    def on_client_core(self, command):
        """The command, kept off the server's core where there is another one."""
        if self.client_core is None:
            return command
        return ["taskset", "-c", str(self.client_core), *command]

    def measure(self, command, pinned=True, **environment):
        """Runs a client that prints one JSON object, and returns the object."""
        command = [str(part) for part in command]
        done = subprocess.run(self.on_client_core(command) if pinned else command, stdout=subprocess.PIPE,
                              env={**os.environ, **environment}, check=False)
        if done.returncode:
            raise SystemExit(f"bench/run: {pathlib.Path(command[0]).name} ended with {done.returncode}")
        return json.loads(done.stdout)

    def interleaved(self, clients, rounds=None):
        """Runs each of the named clients (callables that return a JSON object) once per round, in turn, so that a
        disturbance hits all alike. Returns their objects by name. The first round warms up and does not count."""
        results = {name: [] for name in clients}
        for number in range((rounds or self.rounds) + 1):
            for name, client in clients.items():
                result = client()
                if number:
                    results[name].append(result)
        return results


class Server:
    """bench-server with accounts {email: files}, on a core of its own; stops with the `with` block."""

    def __init__(self, bench, accounts):
        self._folder = tempfile.TemporaryDirectory(prefix="corvane-bench-")
        self.directory = pathlib.Path(self._folder.name)
        command = [bench.program("bench-server"), str(self.directory),
                   *(f"{email}={files}" for email, files in accounts.items())]
        if bench.client_core is not None:
            command = ["taskset", "-c", str(bench.server_core), *command]
        self.process = subprocess.Popen(command)
        while not (self.directory / "url").exists():
            if self.process.poll() is not None:
                raise SystemExit("bench/run: the server ended")
            time.sleep(0.02)
        self.url = (self.directory / "url").read_text()
        self.ca = str(self.directory / "ca.pem")

    def token_file(self, email):
        return str(self.directory / email)

    def cpu_ms(self):
        """The server's processor time so far."""
        fields = pathlib.Path(f"/proc/{self.process.pid}/stat").read_text().rsplit(")", 1)[1].split()
        return (int(fields[11]) + int(fields[12])) * 1000 / os.sysconf("SC_CLK_TCK")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.send_signal(signal.SIGTERM)
        self.process.wait()
        self._folder.cleanup()


def median(values):
    return statistics.median(values)


def spread(values):
    """Half the distance between the quartiles, as a share of the median."""
    if len(values) < 4:
        return 0.0
    low, _, high = statistics.quantiles(values, n=4)
    return (high - low) / 2 / statistics.median(values)


def ratio(values, base):
    """Median and spread of the ratios of paired rounds, as text."""
    ratios = [value / other for value, other in zip(values, base)]
    return f"{median(ratios):.2f} ± {spread(ratios):.2f}"


def table(header, rows):
    """A Markdown table; all columns but the first are numbers."""
    lines = ["| " + " | ".join(header) + " |", "|---|" + "---:|" * (len(header) - 1)]
    lines += ["| " + " | ".join(str(cell) for cell in row) + " |" for row in rows]
    return "\n".join(lines)
