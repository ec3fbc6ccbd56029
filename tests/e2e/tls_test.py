"""The index server over TLS: who is let in, what a client insists on, and a change of the certificate while it runs."""

import contextlib
import http.client
import os
import shutil
import signal
import socket
import ssl
import subprocess

from support import (CANNOT_REACH, Summary, free_port, main, output_of, paths_of, indexed_paths, encode, stop, wait_for,
                     wait_for_text)


class Secured:
    """An index server with a certificate of its own, and settings with which a client trusts it."""

    def __init__(self, scratch):
        self.scratch = scratch
        self.data = os.path.join(scratch.path, "data")
        self.certificate, self.key = self.make_identity("first")
        self.trusting = os.path.join(scratch.path, "trusting.ini")
        with open(self.trusting, "w") as settings:
            settings.write(f"[server]\nca_file={self.certificate}\n")
        self.port = free_port()
        self.url = f"https://127.0.0.1:{self.port}/"
        config = os.path.join(scratch.path, "server.ini")
        with open(config, "w") as settings:
            settings.write(f"[server]\nport={self.port}\ntls_certificate={self.certificate}\ntls_key={self.key}\n")
        self.process = scratch.start("server", "--data", self.data, "--config", config)
        wait_for_text(self.process, rf"^{self.url}$")

    def make_identity(self, name):
        certificate, key = (os.path.join(self.scratch.path, f"{name}.{kind}") for kind in ("crt", "key"))
        subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
                        "-days", "2", "-subj", f"/CN={name}", "-addext", "subjectAltName=IP:127.0.0.1", "-keyout", key,
                        "-out", certificate], check=True, capture_output=True)
        return certificate, key

    def connect(self):
        return http.client.HTTPSConnection("127.0.0.1", self.port, context=ssl._create_unverified_context(), timeout=20)

    def shown(self):
        """The certificate that a new connection sees."""
        return ssl.get_server_certificate(("127.0.0.1", self.port))

    def share(self, *arguments):
        return ("share", self.scratch.tree, "--server", self.url, "--state", self.scratch.state, "--admin-token-file",
                os.path.join(self.data, "admin_token"), *arguments)


def healthy(connection):
    connection.request("GET", "/healthz")
    return connection.getresponse().read() == b"ok"


def read(path):
    with open(path) as file:
        return file.read()


def a_share_is_fed_and_read_over_tls(scratch):
    server = Secured(scratch)
    for number in range(3):
        scratch.make(os.path.join("tree", f"d{number}"))
    trusting = ("--config", server.trusting)
    last = Summary(scratch.run(*server.share("--once", *trusting)).stdout.decode().strip())
    assert last.objects == 4, last
    assert indexed_paths(scratch, *trusting) == {encode(path) for path in paths_of(scratch.tree)}
    stop(server.process)


def an_unknown_certificate_is_not_spoken_to(scratch):
    server = Secured(scratch)
    host = scratch.start(*server.share())
    wait_for_text(host, r"cannot be reached yet \(.*certificate.*\)")
    assert "registered" not in output_of(server.process)
    host.kill()
    stop(server.process)


def noise_on_the_port_harms_nobody(scratch):
    server = Secured(scratch)
    for noise in (b"GET /healthz HTTP/1.1\r\nHost: x\r\n\r\n", b"\x16\x03\x01\xff\xff" + b"\0" * 100, b""):
        connection = socket.create_connection(("127.0.0.1", server.port), 20)
        with connection as client, contextlib.suppress(ConnectionResetError):
            client.sendall(noise)
            client.shutdown(socket.SHUT_WR)
            answer = client.makefile("rb").read()
            assert b"HTTP" not in answer, answer
    assert healthy(server.connect())
    stop(server.process)


def a_new_certificate_is_taken_without_dropping_anybody(scratch):
    server = Secured(scratch)
    before = server.connect()
    assert healthy(before)
    first = server.shown()
    for kind, fresh in zip(("crt", "key"), server.make_identity("second")):
        shutil.copy(fresh, os.path.join(scratch.path, f"first.{kind}"))
    server.process.send_signal(signal.SIGHUP)
    wait_for(lambda: server.shown() != first, "the new certificate", server.process)
    assert server.shown().split() == read(server.certificate).split()
    assert healthy(before), "the connection from before the change"
    shutil.copy(server.make_identity("third")[1], server.key)
    server.process.send_signal(signal.SIGHUP)
    wait_for_text(server.process, r"cannot use the TLS key .*first\.key.*stays in use")
    assert healthy(server.connect()) and healthy(before)
    stop(server.process)


def other_machines_are_let_in_by_tls_or_by_an_explicit_word(scratch):
    server = ("server", "--data", os.path.join(scratch.path, "data"), "--listen", "0.0.0.0")
    refused = scratch.run(*server, expect=CANNOT_REACH)
    assert b"tls_certificate" in refused.stderr and b"allow_plain" in refused.stderr, refused.stderr
    half = scratch.run(*server, "--tls-certificate", "x", expect=CANNOT_REACH)
    assert b"only one is set" in half.stderr, half.stderr
    open_to_all = scratch.start(*server, "--allow-plain")
    wait_for_text(open_to_all, r"^http://0\.0\.0\.0:\d+/$")
    stop(open_to_all)


if __name__ == "__main__":
    main(a_share_is_fed_and_read_over_tls, an_unknown_certificate_is_not_spoken_to, noise_on_the_port_harms_nobody,
         a_new_certificate_is_taken_without_dropping_anybody, other_machines_are_let_in_by_tls_or_by_an_explicit_word)
