"""SIGTERM to an index server while it is fed: an orderly end, and nothing that was accepted is lost."""

import http.client
import json
import os
import signal

from support import DONE, free_port, main, output_of, wait_for_text

COMPLETED = 3
LINES = 200000


class Fed:
    """An index server with one share, fed by hand."""

    def __init__(self, scratch):
        self.scratch = scratch
        self.data = os.path.join(scratch.path, "data")
        self.port = free_port()
        self.start()
        with open(os.path.join(self.data, "admin_token")) as file:
            self.admin = file.read().strip()
        self.share = json.loads(self.ask("POST", "/api/shares", '{"name":"docs"}', self.admin)[1])

    def start(self, stop_timeout_ms=60000):
        config = os.path.join(self.scratch.path, "server.ini")
        with open(config, "w") as settings:
            settings.write(f"[server]\nport={self.port}\nstop_timeout_ms={stop_timeout_ms}\n")
        self.process = self.scratch.start("server", "--data", self.data, "--config", config)
        wait_for_text(self.process, r"admin token file")

    def ask(self, method, path, body=None, token=None):
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=60)
        connection.request(method, path, body, {"Authorization": f"Bearer {token or self.share['token']}"})
        answer = connection.getresponse()
        return answer.status, answer.read()

    def submit(self):
        """Hands over a file that takes longer than a moment to apply."""
        line = "*??|<ADD>|<SHOW>|<VTIM>{0}|<ADDV>1|<VGID>v{0}|<BAP>o{0}|<EPG>{1}|<OTYP>1|<MODE>33188|<LFN>f{0}|\n"
        content = "".join(line.format(number, self.share["root_guid"]) for number in range(1, LINES + 1))
        status, _ = self.ask("POST", f"/collect/transactions?subclient={self.share['subclient_id']}&type=28", content)
        assert status == 201, status

    def last(self):
        status, text = self.ask("GET", f"/collect/transactions/last?subclient={self.share['subclient_id']}")
        assert status == 200, status
        return json.loads(text)["status"]

    def lines_applied(self):
        text = self.ask("GET", "/metrics", token=self.admin)[1].decode()
        return next(int(line.split()[1]) for line in text.splitlines() if line.startswith("index_server_collect_lines"))

    def terminate(self):
        self.process.send_signal(signal.SIGTERM)
        self.process.wait(60)
        assert self.process.returncode == DONE, f"{self.process.returncode}\n{output_of(self.process)}"


def a_file_under_application_comes_to_its_end(scratch):
    server = Fed(scratch)
    server.submit()
    server.terminate()
    assert os.listdir(os.path.join(server.data, "spool")) == []
    server.start()
    assert server.last() == COMPLETED
    assert server.lines_applied() == 0, "it was applied before the stop"


def a_file_that_takes_too_long_is_applied_by_the_next_start(scratch):
    server = Fed(scratch)
    server.terminate()
    server.start(stop_timeout_ms=100)
    server.submit()
    server.terminate()
    assert "applied at the next start" in output_of(server.process)
    assert len(os.listdir(os.path.join(server.data, "spool"))) == 1
    server.start()
    assert server.last() == COMPLETED
    assert server.lines_applied() == LINES


if __name__ == "__main__":
    main(a_file_under_application_comes_to_its_end, a_file_that_takes_too_long_is_applied_by_the_next_start)
