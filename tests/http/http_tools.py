"""A scripted HTTP server, certificates for it, and the program that sends requests over the utility
layer (http_post.cpp)."""
import os
import socket
import ssl
import struct
import subprocess
import threading
import time
from itertools import takewhile

OK = b"HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok"


class Client:
    def __init__(self, command, **environment):
        # A proxy in the environment must not be used.
        self.process = subprocess.Popen(
            command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True,
            env={**os.environ, "http_proxy": "http://127.0.0.1:1",
                 "https_proxy": "http://127.0.0.1:1", **environment})

    def job(self, url, headers=(), body=b"{}", timeout=20000, count=1, method="POST"):
        lines = b"\xa7".join(line.encode() for line in headers)
        parts = (part.hex() for part in (method.encode(), url.encode(), lines, body))
        return "\t".join([str(count), str(timeout), *parts]) + "\n"

    def send(self, *job, **more):
        """Returns how many requests succeeded, the milliseconds, and the last answer's body."""
        self.process.stdin.write(self.job(*job, **more))
        self.process.stdin.flush()
        good, ms, body = self.process.stdout.readline().rstrip("\r\n").split(" ")
        return int(good), int(ms), bytes.fromhex(body)

    def resident_kib(self):
        with open(f"/proc/{self.process.pid}/status", encoding="ascii") as file:
            return int(next(line for line in file if line.startswith("VmRSS")).split()[1])

    def end(self, last_line="", codes=(0,)):
        output, _ = self.process.communicate(last_line, 60)
        assert self.process.returncode in codes, self.process.returncode
        return output.strip()


class Server:
    """Plays `script(connection, requests)` on every connection, over TLS with a certificate's path.
    Iterating over the requests reads them; they are remembered as their head's lines and body."""

    def __init__(self, script, certificate=None):
        self.listener = socket.create_server(("127.0.0.1", 0), backlog=64)
        self.script, self.requests, self.connections, self.tls = script, [], 0, None
        if certificate is not None:
            self.tls = ssl.create_default_context(ssl.Purpose.CLIENT_AUTH)
            self.tls.load_cert_chain(certificate)
        threading.Thread(target=self.accept, daemon=True).start()

    def url(self, path="/", scheme="http", host="127.0.0.1"):
        return f"{scheme}://{host}:{self.listener.getsockname()[1]}{path}"

    def accept(self):
        while True:
            connection, _ = self.listener.accept()
            self.connections += 1
            threading.Thread(target=self.play, args=(connection,), daemon=True).start()

    def play(self, connection):
        try:
            if self.tls is not None:
                connection = self.tls.wrap_socket(connection, server_side=True)
            with connection:
                self.script(connection, self.read(connection.makefile("rb")))
        except OSError:
            connection.close()

    def read(self, stream):
        while head := b"".join(takewhile(b"\r\n".__ne__, stream)).decode("latin-1").splitlines():
            length = [line for line in head if line.startswith("Content-Length: ")]
            request = head, stream.read(int(length[0][16:]) if length else 0)
            self.requests.append(request)
            yield request


def answering(answer, once=False):
    def script(connection, requests):
        for _ in requests:
            connection.sendall(answer)
            if once:
                return
    return script


def resetting(answer, reads=True):
    """Ends its connection with a reset, after an answer or a part of one."""
    def script(connection, requests):
        if reads:
            next(requests)
        connection.sendall(answer)
        connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
    return script


def endless(start, piece, pause_s, reads=True):
    def script(connection, requests):
        if reads:
            next(requests)
        connection.sendall(start)
        while True:
            connection.sendall(piece)
            time.sleep(pause_s)
    return script


# Servers that come to no end, and that come to a bad one: scheme, certificate, what they do.
SLOW = [
    ("http", None, answering(b"")),
    ("http", None, endless(b"HTTP/1.1 200 OK\r\nX: ", b"x", 0.02)),
    ("http", None, endless(b"HTTP/1.1 200 OK\r\n\r\n", b"x", 0.02)),
    ("http", None, endless(b"", b"HTTP/1.1 100 Continue\r\n\r\n", 0.02)),
    ("https", "signed", answering(b"")),
    ("https", "signed", endless(b"HTTP/1.1 200 OK\r\n\r\n", b"x", 0.02))]
SLOW_TO_CONNECT = [
    ("https", None, answering(b"")),
    ("https", None, endless(b"\x16\3\3\x40\0", b"\2", 0.02, reads=False))]
BAD = [
    ("http", None, endless(b"HTTP/1.1 200 OK\r\n", b"X: " + b"x" * 50000 + b"\r\n", 0)),
    ("http", None, endless(b"HTTP/1.1 200 OK\r\nX: ", b"x" * 65536, 0)),
    ("https", None, resetting(b"HTTP/1.1 400 x\r\n\r\n", reads=False)),
    ("https", None, resetting(b"\x16\3\3\x40\0", reads=False)),
    *((scheme, certificate, resetting(answer, reads))
      for answer, reads in ((b"", False), (b"", True), (b"HTTP/1.1 200 OK\r\nX: ", True),
                            (b"HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhalf", True))
      for scheme, certificate in (("http", None), ("https", "signed")))]


def make_certificates(directory):
    """For "localhost" with their keys: lonely.pem, signed by itself, signed.pem and expired.pem by ca.pem."""
    def openssl(*words):
        subprocess.run(["openssl", *words], cwd=directory, check=True, capture_output=True)

    def add_key(name, key):
        with open(os.path.join(directory, name + ".pem"), "a", encoding="ascii") as file, \
                open(os.path.join(directory, key + ".key"), encoding="ascii") as of_key:
            file.write(of_key.read())

    def new(name, *options):
        # RSA, as Wine takes one in a hundred good signatures by elliptic curves for bad.
        openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", *options,
                "-keyout", name + ".key", "-out", name + ".pem")
        add_key(name, name)

    host = ["-subj", "/CN=localhost", "-addext", "subjectAltName=DNS:localhost"]
    new("lonely", *host)
    new("ca", "-subj", "/CN=zvEvent test authority")
    new("signed", *host, "-CA", "ca.pem", "-CAkey", "ca.key", "-addext",
        "basicConstraints=critical,CA:FALSE")
    openssl("req", "-new", "-key", "signed.key", *host, "-out", "expired.csr")
    openssl("x509", "-req", "-in", "expired.csr", "-copy_extensions", "copy", "-days", "-1",
            "-CA", "ca.pem", "-CAkey", "ca.key", "-out", "expired.pem")
    add_key("expired", "signed")
