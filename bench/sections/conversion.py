"""What of a listing turns an answer into records, without any network."""
import pathlib
import ssl
import tempfile
import urllib.parse
import urllib.request

from benchlib import Server, median, ratio, spread, table

TITLE = "The body of a page of 500 files into records"
ORDER = 15
EMAIL = "ada@example.com"
FIELDS = ("files(id,mimeType,name,size,shared,trashed,createdTime,modifiedTime,parents,iconLink,webViewLink),"
          "nextPageToken")
CLIENTS = {"by-hand": "simdjson's DOM, copied by hand", "corvane": "Corvane's parser and conversion"}


def page(server):
    parameters = urllib.parse.urlencode({"fields": FIELDS, "pageSize": 500, "prettyPrint": "false"})
    request = urllib.request.Request(f"{server.url}/drive/v3/files?{parameters}")
    request.add_header("Authorization", "Bearer " + pathlib.Path(server.token_file(EMAIL)).read_text())
    with urllib.request.urlopen(request, context=ssl.create_default_context(cafile=server.ca)) as answer:
        return answer.read()


def run(bench):
    times = 20 if bench.brief else 1_000
    with Server(bench, {EMAIL: 1_000}) as server, tempfile.NamedTemporaryFile() as file:
        file.write(page(server))
        file.flush()
        clients = {who: lambda who=who: bench.measure([bench.program("bench-conversion"), file.name, who, times])
                   for who in CLIENTS}
        rounds = {who: [result["cpu"] * 1000 / times for result in results]
                  for who, results in bench.interleaved(clients).items()}
    return table(["", "CPU µs", "ratio"],
                 [[name, f"{median(rounds[who]):.0f} ± {spread(rounds[who]):.0%}",
                   ratio(rounds[who], rounds["by-hand"])] for who, name in CLIENTS.items()])
