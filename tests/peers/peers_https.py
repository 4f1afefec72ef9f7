"""HTTP requests to nginx: certificates and host names, one kept connection for thousands of posts,
and the end of the process in the middle of one. ZVEVENT_HTTP_POST is the command of the posting
program.
"""
import contextlib
import hashlib
import os
import shlex
import shutil
import socket
import ssl
import struct
import subprocess
import sys
import tempfile

import peers

UNVERIFIED = "X-zvEvent-TLS-Verify: 0"
CONFIG = """
daemon off; master_process off; error_log error.log; pid nginx.pid;
events {{}}
http {{
    log_format connections "$server_port $connection $request_method $request_length";
    access_log access.log connections;
    client_body_temp_path t1; proxy_temp_path t2; fastcgi_temp_path t3; uwsgi_temp_path t4;
    scgi_temp_path t5;
    keepalive_requests 100000; keepalive_timeout 300;
    server {{ listen 127.0.0.1:{plain}; return 200 ok; }}
    server {{
        listen 127.0.0.1:{lonely} ssl; ssl_certificate lonely.pem; ssl_certificate_key lonely.key;
        return 200 ok;
    }}
    server {{
        listen 127.0.0.1:{signed} ssl; ssl_certificate signed.pem; ssl_certificate_key signed.key;
        return 200 ok;
    }}
}}
"""


def openssl(directory, *arguments):
    subprocess.run(["openssl", *arguments], cwd=directory, check=True, capture_output=True)


def make_certificates(directory):
    """A self-signed one, and one for "localhost" signed by an authority of ours."""
    new = ["req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2"]
    name = ["-addext", "subjectAltName=DNS:localhost"]
    openssl(directory, *new, "-subj", "/CN=localhost", *name,
            "-keyout", "lonely.key", "-out", "lonely.pem")
    openssl(directory, *new, "-subj", "/CN=zvEvent test authority", "-keyout", "ca.key",
            "-out", "ca.pem")
    openssl(directory, "req", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=localhost", *name,
            "-keyout", "signed.key", "-out", "signed.csr")
    openssl(directory, "x509", "-req", "-in", "signed.csr", "-CA", "ca.pem", "-CAkey", "ca.key",
            "-CAcreateserial", "-days", "2", "-copy_extensions", "copy", "-out", "signed.pem")


def trust_under_wine(directory, command):
    """Puts the authority into the Windows root store of the prefix, and returns how to undo it."""
    with open(os.path.join(directory, "ca.pem"), encoding="ascii") as file:
        der = ssl.PEM_cert_to_DER_cert(file.read())
    sha1 = hashlib.sha1(der)
    blob = b"".join(struct.pack("<III", number, 1, len(data)) + data
                    for number, data in ((3, sha1.digest()), (32, der)))
    key = ("HKEY_CURRENT_USER\\Software\\Microsoft\\SystemCertificates\\Root\\Certificates\\"
           + sha1.hexdigest().upper())
    wine = command[0]
    subprocess.run([wine, "reg", "add", key, "/v", "Blob", "/t", "REG_BINARY", "/d", blob.hex(),
                    "/f"], check=True, capture_output=True)
    return lambda: subprocess.run([wine, "reg", "delete", key, "/f"], check=True,
                                  capture_output=True)


class Poster:
    def __init__(self, command, environment):
        self.process = subprocess.Popen(command, env=environment, stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, text=True)

    def post(self, url, count=1, headers=""):
        self.process.stdin.write(f"{url} {count} {headers}\n")
        self.process.stdin.flush()
        return int(self.process.stdout.readline())

    def resident_kib(self):
        with open(f"/proc/{self.process.pid}/status", encoding="ascii") as file:
            return int(next(line for line in file if line.startswith("VmRSS")).split()[1])

    def end(self, last_line=""):
        output, _ = self.process.communicate(last_line, 60)
        assert self.process.returncode == 0, self.process.returncode
        return output


def check_certificates(poster, ports, under_wine):
    lonely, signed = (f":{ports[name]}/" for name in ("lonely", "signed"))
    for url, headers, good in (
            ("https://localhost" + lonely, "", 0),
            ("https://localhost" + lonely, UNVERIFIED, 1),
            ("https://127.0.0.1" + lonely, UNVERIFIED, 1),
            ("https://localhost" + signed, "", 1),
            ("https://127.0.0.1" + signed, "", 0),
            ("https://127.0.0.1" + signed, UNVERIFIED, 1)):
        got = poster.post(url, 1, headers)
        assert got == good, f"{url} {headers}: {got} instead of {good}"
    # A connection accepted unseen serves no request that looks. Wine keeps those of all WinHTTP
    # sessions together.
    assert under_wine or poster.post("https://localhost" + lonely) == 0


def check_one_connection(poster, directory, port, url, posts):
    first = poster.post(url, posts // 10)
    before = poster.resident_kib()
    assert first + poster.post(url, posts - posts // 10) == posts
    growth = poster.resident_kib() - before

    def connections():
        with open(os.path.join(directory, "access.log"), encoding="ascii") as log:
            lines = [line.split() for line in log]
        mine = [line[1] for line in lines if line[0] == str(port) and line[2] == "POST"]
        return len(mine) >= posts and set(mine)

    used = len(peers.wait_for(connections, "the server's log"))
    print(f"{url}: {posts} posts, {used} connection(s), memory grew by {growth} KiB")
    # Under Wine a heap grows by 1 MiB at a time, now and then.
    assert used == 1 and growth < (1024 if posts == 10000 else 4096)


def main():
    nginx, command = shutil.which("nginx"), shlex.split(os.environ["ZVEVENT_HTTP_POST"])
    if nginx is None or shutil.which("openssl") is None:
        print("nginx or openssl is not installed")
        return 77
    with contextlib.ExitStack() as stack:
        directory = stack.enter_context(tempfile.TemporaryDirectory())
        make_certificates(directory)
        ports = {name: peers.free_port(socket.SOCK_STREAM)
                 for name in ("plain", "lonely", "signed")}
        with open(os.path.join(directory, "nginx.conf"), "w", encoding="ascii") as file:
            file.write(CONFIG.format(**ports))
        stack.enter_context(peers.running([nginx, "-p", directory, "-c", "nginx.conf",
                                           "-e", "error.log"]))
        peers.wait_for(lambda: os.path.exists(os.path.join(directory, "nginx.pid")), "nginx")
        posts = 10000
        if len(command) > 1:
            stack.callback(trust_under_wine(directory, command))
            posts = 500  # Wine sends header and body apart: 20 ms a post
        environment = {**os.environ, "SSL_CERT_FILE": os.path.join(directory, "ca.pem"),
                       "ASAN_OPTIONS": "quarantine_size_mb=1",  # it would count as growth
                       "http_proxy": "http://127.0.0.1:1", "https_proxy": "http://127.0.0.1:1"}
        signed = f"https://localhost:{ports['signed']}/"
        poster = Poster(command, environment)
        check_one_connection(poster, directory, ports["plain"],
                             f"http://127.0.0.1:{ports['plain']}/", posts)
        check_one_connection(poster, directory, ports["signed"], signed, posts)
        check_certificates(poster, ports, len(command) > 1)
        poster.end()
        for _ in range(5):
            assert Poster(command, environment).end(f"exit {signed}\n").strip() == "1"
    return 0


if __name__ == "__main__":
    sys.exit(main())
