"""Single operations: about.get over one connection, the first request of a process, and of further API objects."""
import pathlib
import ssl

from benchlib import Server, median, ratio, spread, table
from signin import Home

TITLE = "Single operations: about.get over TLS"
ORDER = 30
EMAIL = "ada@example.com"
ROWS = {"cpu": "a request over a standing connection, CPU µs", "wall": "the same, wall µs",
        "first_cpu": "the first request of a process, CPU ms", "first_wall": "the same, wall ms",
        "process": "the process up to its first answer, CPU ms",
        "further_cpu": "the first request of a further API object, CPU µs", "further_wall": "the same, wall µs"}


def all_authorities(home, server):
    """One file, as the floor's cache of authorities takes no second one."""
    path = home.directory / "authorities.pem"
    system = pathlib.Path(ssl.get_default_verify_paths().openssl_cafile)
    bundle = system if system.exists() else pathlib.Path("/etc/ssl/certs/ca-certificates.crt")
    path.write_text(bundle.read_text() + pathlib.Path(server.ca).read_text())
    return path


def run(bench):
    requests, further = (200, 5) if bench.brief else (10_000, 50)
    with Server(bench, {EMAIL: 100}) as server, Home() as home:
        home.sign_in(bench, server, EMAIL)
        counts = [requests, further]
        clients = {
            "floor": [bench.program("bench-about-floor"), server.url, all_authorities(home, server),
                      server.token_file(EMAIL), *counts],
            "corvane": [bench.program("bench-about"), server.url, server.ca, EMAIL, *counts]}
        clients["worker"] = [*clients["floor"], "worker"]
        rounds = bench.interleaved({name: lambda command=command: bench.measure(command, **home.environment)
                                    for name, command in clients.items()}, rounds=min(bench.rounds, 7))
    values = {name: {key: [one[key] for one in results] for key in results[0]} for name, results in rounds.items()}
    cell = lambda name, key: f"{median(values[name][key]):.1f} ± {spread(values[name][key]):.0%}"
    rows = [[text, cell("floor", key), cell("corvane", key), ratio(values["corvane"][key], values["floor"][key])]
            for key, text in ROWS.items()]
    more = lambda name: median([ours - bare for ours, bare in zip(values[name]["cpu"], values["floor"]["cpu"])])
    growth = median(values["corvane"]["growth"])
    return (table(["", "libcurl's easy interface", "Corvane", "ratio"], rows) +
            f"\n\nA request costs {more('corvane'):.1f} µs of CPU more than libcurl's own, which itself costs"
            f" {more('worker'):.1f} µs more on a thread that the caller wakes and waits for. {requests} requests left the"
            f" heap {growth:.0f} bytes larger.")
