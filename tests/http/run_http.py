"""What the HTTP client sends, and what it makes of the answers of a scripted server.

    run_http.py PLATFORM COMMAND...
"""
import os
import socket
import sys
import tempfile

from http_tools import (
    BAD, OK, SLOW, SLOW_TO_CONNECT, Client, Server, answering, endless, make_certificates)

LATE_MS = 15000  # well below the time-outs that must not count, and long on a busy machine

platform, *command = sys.argv[1:]
# The address sanitizer keeps freed memory, which would count as growth.
client = Client(command, ASAN_OPTIONS="quarantine_size_mb=1")

# The status decides, and that the answer came whole.
for answer, good, body in (
        ("200 OK\r\nContent-Length: 2\r\n\r\nok", 1, b"ok"),
        ("204 No Content\r\n\r\n", 1, b""),
        ("299 x\r\nTransfer-Encoding: chunked\r\n\r\n2\r\nok\r\n0\r\nX-T: 1\r\n\r\n", 1, b"ok"),
        ("200 OK\r\nConnection: close\r\n\r\nrest", 1, b"rest"),
        ("100 Continue\r\n\r\nHTTP/1.1 103 x\r\nLink: </>\r\n\r\nHTTP/1.1 200 OK\r\n\r\nok", 1,
         b"ok"),
        ("307 x\r\nLocation: /elsewhere\r\nContent-Length: 0\r\n\r\n", 0, b""),
        ("401 x\r\nWWW-Authenticate: Basic\r\nContent-Length: 0\r\n\r\n", 0, b""),
        ("404 x\r\nContent-Length: 4\r\n\r\nnone", 0, b"none"),
        ("200 OK\r\nContent-Length: 9\r\n\r\nhalf", 0, b"half"),
        ("200 OK\r\nTransfer-Encoding: chunked\r\n\r\n9\r\nhalf", 0, b"half"),
        ("200 OK\r\nContent-Le", 0, b""),
        # Not unpacked: what one kilobyte could blow up to stays a kilobyte.
        ("200 OK\r\nContent-Encoding: gzip\r\nContent-Length: 4\r\n\r\n\x1f\x8b\x08\x00", 1,
         b"\x1f\xc2\x8b\x08"),
        ("garbage\r\n\r\n", 0, b"")):
    server = Server(answering(b"HTTP/1.1 " + answer.encode(), once=True))
    got = client.send(server.url("/path?q=1"))
    assert (got[0], got[2]) == (good, body), (answer, got)
    assert {head[0] for head, _ in server.requests} == {"POST /path?q=1 HTTP/1.1"}, answer

# The given lines go out and no others, whatever the body.
server = Server(answering(OK))
for headers, lines in (
        ([], []),
        (["Content-Type: application/json; charset=utf-8", "User-Agent: zvEvent/1.0",
          "X-zvEvent-TLS-Verify: 0", "X-zvEvent-Connect-Timeout-Ms: 250", "X-zvEvent-CA-File: x",
          "X-Empty:", "Authorization: Bearer a", "Authorization: Basic Yg=="],
         ["Content-Type: application/json; charset=utf-8", "User-Agent: zvEvent/1.0", "X-Empty:",
          "Authorization: Bearer a", "Authorization: Basic Yg=="]),
        (["Z: 1", "", " A: b:c; ", "no header", ": no name", "content-length: 9",
          "Transfer-Encoding: x", "Z: 2", ""], ["Z: 1", "A: b:c;", "Z: 2"])):
    for body in b"{\0\xa7}", b"x" * (2 << 20):
        assert client.send(server.url(), headers, body)[0], headers
        head, received = server.requests[-1]
        own = ("Host: ", "Content-Length: ")
        assert [line.rstrip() for line in head[1:] if not line.startswith(own)] == lines, head
        assert received == body

# Nothing that could be read otherwise is sent.
server = Server(answering(OK))
for job in [{"headers": [line]} for line in ("A: b\rC: d", "A: b\nC: d", "A: b\x01", "A: b\x7f")] + [
        {"url": url} for url in ("", "http://", "ftp" + server.url()[4:], "file:///etc/passwd",
                                 server.url("/a b"), server.url("/\r\nA: b"),
                                 server.url().replace("127", "user:word@127"))] + [
        {"method": "GET / HTTP/1.1\r\nA:"}]:
    assert not client.send(**{"url": server.url(), **job})[0], job
assert server.connections == 0 and client.send("HTTP" + server.url()[4:])[0]

# An endless answer is cut.
for status, good in ((b"200 OK", 1), (b"500 x", 0)):
    start = b"HTTP/1.1 " + status + b"\r\n\r\n"
    got = client.send(Server(endless(start, b"x" * 65536, 0)).url())
    assert (got[0], got[2]) == (good, b"x" * (1 << 20)), (status, got[0], len(got[2]))

# Connections are kept, and closed ones replaced.
keeping, closing = Server(answering(OK)), Server(answering(OK, once=True))
for _ in range(20):
    assert client.send(keeping.url())[0] and client.send(closing.url())[0]
assert keeping.connections == 1 and len(closing.requests) == 20

# What fails leaves nothing behind and raises no signal, a body without a reader least of all.
unseen, connect = ["X-zvEvent-TLS-Verify: 0"], "X-zvEvent-Connect-Timeout-Ms: "
failing = Server(answering(b"HTTP/1.1 500 x\r\nContent-Length: 9\r\n\r\n", once=True))
hanging_up = Server(lambda connection, requests: None)
with socket.create_server(("127.0.0.1", 0)) as refusing:
    refused = f"http://127.0.0.1:{refusing.getsockname()[1]}/"
before = 0
for _ in range(60):
    for url, body in ((failing.url(), b""), (hanging_up.url(scheme="https"), b""), (refused, b""),
                      (hanging_up.url(), b"x" * (1 << 17))):
        assert not client.send(url, unseen + [connect + "50"], body)[0]
    descriptors = len(os.listdir(f"/proc/{client.process.pid}/fd"))
    before = before or descriptors
assert descriptors <= before + 2, (descriptors, before)


# Certificates. A kept connection serves no request that looks closer, so the order counts.
def trust(name):
    drive = "Z:" if platform == "windows" else ""
    return [f"X-zvEvent-CA-File: {drive}{directory}/{name}"]


with tempfile.TemporaryDirectory() as directory:
    make_certificates(directory)
    lonely, signed, expired = (Server(answering(OK), f"{directory}/{name}.pem") for name in
                               ("lonely", "signed", "expired"))
    own, authority, missing = trust("lonely.pem"), trust("ca.pem"), trust("missing.pem")
    for server, host, headers, good in (
            (lonely, "localhost", unseen + ["X-zvEvent-TLS-Verify: 1"], 1),
            (lonely, "127.0.0.1", unseen, 1),
            (lonely, "localhost", authority, 0),
            (lonely, "localhost", own + missing, 1),
            (lonely, "localhost", authority, 0),
            (signed, "localhost", authority, 1),
            (signed, "localhost", own, 0),
            (signed, "localhost", missing, 0),
            (signed, "127.0.0.1", authority, 0),
            (expired, "localhost", authority, 0),
            (expired, "localhost", unseen, 1),
            (signed, "127.0.0.1", unseen + missing, 1)):
        got = client.send(server.url(scheme="https", host=host), headers)[0]
        assert got == good, (host, headers, got)

    # Of two lines for one setting the first holds.
    memory = client.resident_kib()
    for ends, headers, timeout, at_least_ms in (
            (SLOW, unseen, 400, 380), (BAD, unseen, 60000, 0),
            (SLOW_TO_CONNECT, unseen + [connect + "400", connect + "60000"], 60000, 380)):
        for scheme, certificate, script in ends:
            server = Server(script, certificate and f"{directory}/{certificate}.pem")
            good, ms, _ = client.send(server.url(scheme=scheme), headers, timeout=timeout)
            assert not good and at_least_ms <= ms < LATE_MS, (scheme, certificate, timeout, ms)
    assert client.resident_kib() - memory < 20000

    signed = Server(answering(OK), directory + "/signed.pem")
    url = signed.url(scheme="https", host="localhost")
    assert client.send(url, authority, count=100)[0] == 100
    memory = client.resident_kib()
    assert client.send(url, authority, count=1500)[0] == 1500
    # Under Wine a heap grows by 1 MiB at a time; a leak of 2 KiB a request would show.
    assert signed.connections == 1 and client.resident_kib() - memory < 3000
    assert client.end() == ""

    # An exit beside requests. No variable changes whom the Windows build trusts: without a file of
    # its own it asks the system, and Wine trusts everyone. Wine kills the threads that still run,
    # in one of a hundred ends the one that has just ended the process too, and -9 is its code then.
    codes = (0, -9) if platform == "windows" else (0,)
    for file, good in [("lonely.pem", int(platform == "windows"))] + 5 * [("ca.pem", 1)]:
        ending = Client(command, SSL_CERT_FILE=os.path.join(directory, file))
        assert ending.end(ending.job(url, count=0), codes) == str(good), file
