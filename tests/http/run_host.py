"""Hosts of the library in Python, which forks and uses OpenSSL as any application may. Linux.

    run_host.py LIBRARY
"""
import ctypes
import json
import os
import pathlib
import socket
import subprocess
import sys
import tempfile

from http_tools import BAD, OK, SLOW, SLOW_TO_CONNECT, Server, answering, make_certificates

CONFIG = """<c><key name="QRV"><key name="Events">
<key name="core"><value name="status_file">{0}/status.json</value></key><key name="sink">
<key name="native"><key name="main"><value name="enabled">0</value></key></key>
<key name="webhook"><key name="http">{1}</key></key></key></key></key></c>"""
ENTRY = """<key name="{0}"><value name="enabled">1</value><value name="endpoint_url">{1}</value>
<value name="ca_file">{2}/ca.pem</value><value name="request_timeout_ms">{3}</value></key>"""

# Uses TLS after its initialise: left alone, OpenSSL's exit handler would run before the library's.
TLS_HOST = """
import ctypes, sys
library = ctypes.CDLL(sys.argv[1])
assert library.zvEventInitialize(sys.argv[2].encode()) == 0
import ssl
ssl.create_default_context()
for _ in range(200):
    assert library.zvEventSubmitSimple(0, 1, b"host", b"text") == 0
ctypes.CDLL(None).exit(0)
"""


def configure(directory, *urls, timeout_ms=5000):
    path = pathlib.Path(directory, "events.xml")
    entries = (ENTRY.format(number, url, directory, timeout_ms) for number, url in enumerate(urls))
    path.write_text(CONFIG.format(directory, "".join(entries)), encoding="ascii")
    return str(path)


def check_hostile_ends(directory):
    """Each costs its time and says so; the worker goes on to the next output and the next event."""
    def url_of(scheme, certificate, script, host="localhost"):
        return Server(script, certificate and f"{directory}/{certificate}.pem").url("/", scheme, host)

    hostile = [url_of(*end) for end in SLOW + SLOW_TO_CONNECT + BAD]
    hostile += [url_of("https", "expired", answering(OK)), url_of("https", "lonely", answering(OK)),
                url_of("https", "signed", answering(OK), "127.0.0.1")]
    path = configure(directory, *hostile, url_of("https", "signed", answering(OK)), timeout_ms=300)
    library = ctypes.CDLL(sys.argv[1])
    assert library.zvEventInitialize(path.encode()) == 0
    assert [library.zvEventSubmitSimple(0, 1, b"host", b"text") for _ in range(2)] == [0] * 2
    assert library.zvEventFlush(60000) == library.zvEventShutdown() == 0
    *outputs, good, _ = json.loads(pathlib.Path(directory, "status.json").read_text("utf-8"))["outputs"]
    assert good["delivered"] == 2, good
    for url, output in zip(hostile, outputs, strict=True):
        assert (output["failed"], output["last_error"]) == (2, "zvEvent webhook POST failed: " + url), output


def check_fork(directory):
    """A child has connections of its own, and no program that the host starts inherits one."""
    library, server = ctypes.CDLL(sys.argv[1]), Server(answering(OK))
    path = configure(directory, server.url())

    def deliver():
        return (library.zvEventSubmitSimple(0, 1, b"fork", b"text") == 0
                and library.zvEventFlush(20000) == 0)

    def start():
        return library.zvEventInitialize(path.encode()) == 0 and deliver()

    assert start()
    child = os.fork()
    if child == 0:
        os._exit(0 if start() and deliver() else 1)
    assert os.waitpid(child, 0)[1] == 0
    assert deliver() and (server.connections, len(server.requests)) == (2, 4)
    kept = []
    for descriptor in map(int, os.listdir("/proc/self/fd")):
        try:
            peer = socket.socket(fileno=os.dup(descriptor)).getpeername()
        except OSError:
            continue
        if peer[1:2] == server.listener.getsockname()[1:2]:
            kept.append(os.get_inheritable(descriptor))
    assert kept == [False], kept


with tempfile.TemporaryDirectory() as directory:
    make_certificates(directory)
    server = Server(answering(OK), directory + "/signed.pem")
    path = configure(directory, server.url(scheme="https", host="localhost"))
    for _ in range(5):
        subprocess.run([sys.executable, "-c", TLS_HOST, sys.argv[1], path], check=True, timeout=60)
    assert len(server.requests) == 1000, len(server.requests)
    check_hostile_ends(directory)
    check_fork(directory)
