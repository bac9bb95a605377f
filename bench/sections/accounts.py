"""Many API objects that list at once, against one after the other."""
from benchlib import Server, median, ratio, spread, table
from signin import Home

TITLE = "API objects that list at the same time, 10 pages each"
ORDER = 40
EMAIL = "ada@example.com"
FILES = 5_000


def run(bench):
    objects, alone, idle = (20, 5, 1) if bench.brief else (1_000, 100, 10)
    with Server(bench, {EMAIL: FILES}) as server, Home() as home:
        home.sign_in(bench, server, EMAIL)

        def client(count, how):
            program = [bench.program("bench-many"), server.url, server.ca, EMAIL, count, how, idle]
            result = bench.measure(program, **home.environment)
            return {**result, "each": result["cpu"] * 1000 / result["files"]}

        rounds = bench.interleaved({"one": lambda: client(alone, "one-by-one"),
                                    "many": lambda: client(objects, "at-once")}, rounds=min(bench.rounds, 3))
    one, many = rounds["one"], rounds["many"]
    value = lambda results, key: [result[key] for result in results]
    each = lambda results: f"{median(value(results, 'each')):.2f} ± {spread(value(results, 'each')):.0%}"
    rows = [
        ["CPU µs a file", each(one), each(many), ratio(value(many, "each"), value(one, "each"))],
        ["threads at most", "", f"{max(value(many, 'threads'))}", ""],
        ["heap of an object that was never used, KiB", "", f"{median(value(many, 'unused')) / 1024:.1f}", ""],
        ["heap of an object right after its last page, KiB", "", f"{median(value(many, 'last')) / 1024:.1f}", ""],
        [f"the same, idle for {idle + 1} s, all connections closed, KiB", "",
         f"{median(value(many, 'closed')) / 1024:.1f}", ""],
        ["the slowest object's time to the median's", "", "",
         f"{median([result['slowest'] / result['median'] for result in many]):.2f}"],
        ["peak of the process, MiB", "", f"{median(value(many, 'peak')) / 1024:.0f}", ""]]
    return table(["", f"{alone} one after the other", f"{objects} at once", "ratio"], rows)
