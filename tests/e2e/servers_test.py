"""Share hosts against an index server of its own: late, unintelligible, and hanging."""

import http.client
import http.server
import os
import threading

from support import (CANNOT_REACH, DONE, REFUSED, SUMMARY, Server, Summary, main, make_plain_tree, output_of,
                     stop, wait_for, wait_for_text)

SEARCH = "/ZYWebService.svc/doWebSearch"


def write(*parts, text="content"):
    with open(os.path.join(*parts), "w") as file:
        file.write(text)


def summaries(process):
    return [Summary(line) for line in output_of(process).splitlines() if SUMMARY.match(line)]


def nothing_is_left_to_report(scratch, server):
    final = scratch.run("share", scratch.tree, "--server", server.url, "--state", scratch.state, "--once")
    last = Summary(final.stdout.decode().strip())
    assert last.changes == 0, last
    return last


def a_share_waits_for_its_server(scratch):
    server = Server(scratch)
    stop(server.process)
    write(scratch.tree, "early")
    host = server.share(scratch.tree, scratch.state, "--once")
    wait_for_text(host, r"(?s)(trying again.*){2}")
    server.start()
    assert wait_for(lambda: host.poll() is not None, "the end of the share") and host.returncode == DONE
    assert summaries(host)[-1].objects == 2
    assert scratch.find("/early")["size"] == 7
    # The identity is kept, so the token file is not needed again.
    assert os.stat(os.path.join(scratch.state, "share.json")).st_mode & 0o777 == 0o600
    nothing_is_left_to_report(scratch, server)
    with open(os.path.join(server.data, "admin_token")) as token:
        secret = token.read().strip()
    assert secret not in output_of(server.process) + output_of(host)


class Front:
    """Stands between a share host and its server, and spoils the answers to searches when told to. Before an answer
    goes on, `watch` gets the path with its query, the status and the text; it may hold the answer back."""

    def __init__(self, port):
        front = self
        self.spoil, self.only = None, b""
        self.watch = lambda path, status, text: None

        class Handler(http.server.BaseHTTPRequestHandler):
            protocol_version = "HTTP/1.1"

            def log_message(self, *_):
                pass

            def pass_on(self):
                body = self.rfile.read(int(self.headers.get("Content-Length", 0)))
                backend = http.client.HTTPConnection("127.0.0.1", port)
                backend.request(self.command, self.path, body, {
                    name: value for name, value in self.headers.items() if name.lower() not in ("host", "expect")})
                answer = backend.getresponse()
                status, text = answer.status, answer.read()
                backend.close()
                front.watch(self.path, status, text)
                length = len(text)
                if front.spoil and self.path == SEARCH and front.only in body:
                    status, text, length = front.spoil(status, text)
                    self.close_connection = length != len(text)
                self.send_response(status)
                self.send_header("Content-Length", str(length))
                self.end_headers()
                self.wfile.write(text)

            do_GET = do_POST = pass_on

        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        self.server.daemon_threads = True
        self.server.handle_error = lambda *_: None  # a host that was killed does not wait for its answer
        self.url = f"http://127.0.0.1:{self.server.server_port}/"
        threading.Thread(target=self.server.serve_forever, daemon=True).start()


def a_spoiled_answer_is_never_an_empty_directory(scratch):
    server = Server(scratch)
    front = Front(server.port)
    make_plain_tree(scratch.tree, 2, 3)
    host = server.share(scratch.tree, scratch.state, "--rescan", "1", url=front.url)
    wait_for_text(host, r"^9 objects")
    page = b"<html><body>Something went wrong</body></html>"
    for name, front.spoil in {"an error page": lambda status, text: (500, page, len(page)),
                              "a page that claims success": lambda status, text: (200, page, len(page)),
                              "a cut body": lambda status, text: (status, text[:len(text) // 2], len(text))}.items():
        for front.only, command in (b"BROWSE_PATH", "ls"), (b"", "find"):
            result = scratch.run(command, "/d000", "--state", scratch.state, expect=None)
            assert result.returncode in (CANNOT_REACH, REFUSED) and not result.stdout, (name, result)
        front.only = b"BROWSE_PATH"
        before = len(summaries(host))
        wait_for(lambda: len(summaries(host)) > before and summaries(host)[-1].gaps, f"a gap after {name}", host)
    front.spoil = None
    assert sorted(scratch.names("/d000")) == ["f0000", "f0001", "f0002"]
    stop(host)
    assert not any(summary.added for summary in summaries(host)[1:]), output_of(host)
    assert not any(summary.deleted for summary in summaries(host)), output_of(host)
    nothing_is_left_to_report(scratch, server)


def a_server_that_hangs_does_not_hold_up_a_stop(scratch):
    server = Server(scratch)
    front = Front(server.port)
    write(scratch.path, "patient.ini", text="[server]\ntotal_timeout_ms = 600000\n")
    make_plain_tree(scratch.tree, 2, 3)
    held = []

    def hang_at(place):
        def watch(path, status, text):
            if path.startswith(place):
                held.append(path)
                threading.Event().wait()
        held.clear()
        front.watch = watch

    # In its registration, in its start, in its first delivery.
    for place in "/api/shares", SEARCH, "/collect/transactions":
        hang_at(place)
        host = server.share(scratch.tree, scratch.state, "--config", os.path.join(scratch.path, "patient.ini"),
                            url=front.url)
        wait_for(lambda: held, f"a request for {place}", host)
        stop(host)
    hang_at("nowhere")
    assert nothing_is_left_to_report(scratch, server).objects == 9
    assert scratch.journal_lines() == 0


if __name__ == "__main__":
    main(a_share_waits_for_its_server, a_spoiled_answer_is_never_an_empty_directory,
         a_server_that_hangs_does_not_hold_up_a_stop)
