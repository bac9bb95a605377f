"""Listing through the public API against the best loop written by hand."""
from benchlib import Server

TITLE = "Listing"
ORDER = 10


def run(bench):
    with Server(bench, {"small@example.com": 1_000}) as server:
        return f"The server used {server.cpu_ms():.0f} ms."
