"""A scripted HTTP server, certificates for it, and the program that sends requests over the utility
layer (http_post.cpp)."""
import os
import socket
import ssl
import subprocess
import threading
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


def make_certificates(directory):
    """For "localhost" with their keys: lonely.pem, signed by itself, and signed.pem by ca.pem."""
    def new(name, *options):
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2",
                        *options, "-keyout", name + ".key", "-out", name + ".pem"],
                       cwd=directory, check=True, capture_output=True)
        with open(os.path.join(directory, name + ".pem"), "a", encoding="ascii") as file, \
                open(os.path.join(directory, name + ".key"), encoding="ascii") as key:
            file.write(key.read())

    host = ["-subj", "/CN=localhost", "-addext", "subjectAltName=DNS:localhost"]
    new("lonely", *host)
    new("ca", "-subj", "/CN=zvEvent test authority")
    new("signed", *host, "-CA", "ca.pem", "-CAkey", "ca.key", "-addext",
        "basicConstraints=critical,CA:FALSE")
