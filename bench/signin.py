"""Signs an account in to the corvane program, as a person would, for clients that begin with a stored session."""
import os
import pathlib
import ssl
import subprocess
import tempfile
import urllib.request

CREDENTIALS = """{"installed": {"client_id": "corvane-demo-client", "project_id": "bench",
 "client_secret": "corvane-demo-secret", "redirect_uris": ["http://localhost"]}}"""


class StayHere(urllib.request.HTTPRedirectHandler):
    """Takes a redirect for an answer."""

    def http_error_302(self, request, answer, code, message, headers):
        return answer


class Home:
    """A folder where the program keeps its keychain; removed with the `with` block."""

    def __init__(self):
        self._folder = tempfile.TemporaryDirectory(prefix="corvane-bench-home-")
        self.directory = pathlib.Path(self._folder.name)
        self.environment = {"XDG_DATA_HOME": str(self.directory)}

    def sign_in(self, bench, server, email):
        credentials = self.directory / "client.json"
        credentials.write_text(CREDENTIALS)
        command = [bench.program("corvane"), "--google", server.url, "--ca-file", server.ca, "--keychain", "file",
                   "--credentials", str(credentials), "sign-in", "--no-browser", "--account", email]
        program = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True,
                                   env={**os.environ, **self.environment})
        for line in program.stderr:
            if line.startswith(server.url):
                self._visit(line.strip(), server)
                break
        errors = program.stderr.read()
        if program.wait():
            raise SystemExit("bench/run: the sign-in failed: " + errors)

    @staticmethod
    def _visit(page, server):
        """The page answers at once with a redirect back to the program, whose own redirect leads elsewhere."""
        trust = urllib.request.HTTPSHandler(context=ssl.create_default_context(cafile=server.ca))
        opener = urllib.request.build_opener(urllib.request.ProxyHandler({}), trust, StayHere)
        opener.open(opener.open(page, timeout=30).headers["Location"], timeout=30)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._folder.cleanup()
