"""HTTP requests to nginx: certificates and host names, one kept connection for thousands of posts,
and the end of the process in the middle of one. ZVEVENT_HTTP_POST is the command of the posting
program.
"""
import contextlib
import os
import pathlib
import shlex
import shutil
import socket
import subprocess
import sys
import tempfile

import peers

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "http"))
from http_tools import Client  # noqa: E402

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


def trust(directory, name):
    path = os.environ.get("ZVEVENT_PATH_PREFIX", "") + os.path.join(directory, name)
    return ["X-zvEvent-CA-File: " + path]


def check_certificates(client, ports, directory):
    """A kept connection serves no request that looks closer, so the order of the cases counts."""
    unseen, lonely, authority, missing = (["X-zvEvent-TLS-Verify: 0"], *(
        trust(directory, name) for name in ("lonely.pem", "ca.pem", "missing.pem")))
    for host, name, headers, good in (
            ("localhost", "lonely", unseen + ["X-zvEvent-TLS-Verify: 1"], 1),
            ("127.0.0.1", "lonely", unseen, 1),
            ("localhost", "lonely", authority, 0),
            ("localhost", "lonely", lonely + missing, 1),
            ("localhost", "lonely", authority, 0),
            ("localhost", "signed", authority, 1),
            ("localhost", "signed", lonely, 0),
            ("localhost", "signed", missing, 0),
            ("127.0.0.1", "signed", authority, 0),
            ("127.0.0.1", "signed", unseen + missing, 1)):
        got = client.send(f"https://{host}:{ports[name]}/", headers)[0]
        assert got == good, f"{host} {name} {headers}: {got} instead of {good}"


def check_one_connection(client, directory, port, url, headers, posts):
    first = client.send(url, headers, count=posts // 10)[0]
    before = client.status("VmRSS")
    good, ms, _ = client.send(url, headers, count=posts - posts // 10)
    growth = client.status("VmRSS") - before
    assert first + good == posts

    def connections():
        with open(os.path.join(directory, "access.log"), encoding="ascii") as log:
            lines = [line.split() for line in log]
        mine = [line[1] for line in lines if line[0] == str(port) and line[2] == "POST"]
        return len(mine) >= posts and set(mine)

    used = len(peers.wait_for(connections, "the server's log"))
    print(f"{url}: {posts} posts, {used} connection(s), memory grew by {growth} KiB, {ms} ms")
    # Under Wine a heap grows by 1 MiB at a time, now and then.
    assert used == 1 and growth < 4096


# Uses TLS itself after its initialise, so that OpenSSL's exit handler would run before the library's.
HOST = """
import ctypes, sys
library = ctypes.CDLL(sys.argv[1])
assert library.zvEventInitialize(sys.argv[2].encode()) == 0
import ssl
ssl.create_default_context()
for _ in range(1000):
    assert library.zvEventSubmitSimple(0, 1, b"host", b"text") == 0
ctypes.CDLL(None).exit(0)
"""


def check_host_with_tls(directory, url, library):
    path = os.path.join(directory, "events.xml")
    with open(path, "w", encoding="ascii") as file:
        file.write(peers.config(webhook__http={
            "endpoint_url": url, "ca_file": os.path.join(directory, "ca.pem")}))
    for _ in range(8):
        subprocess.run([sys.executable, "-c", HOST, library, path], check=True)


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
        # The address sanitizer's quarantine would count as growth.
        client = Client(command, ASAN_OPTIONS="quarantine_size_mb=1")
        signed = f"https://localhost:{ports['signed']}/"
        check_one_connection(client, directory, ports["plain"],
                             f"http://127.0.0.1:{ports['plain']}/", [], 5000)
        trusting = trust(directory, "ca.pem")
        check_one_connection(client, directory, ports["signed"], signed, trusting, 5000)
        check_certificates(client, ports, directory)
        assert client.end() == ""
        if "ZVEVENT_LIBRARY" in os.environ:
            check_host_with_tls(directory, signed, os.environ["ZVEVENT_LIBRARY"])
        # No variable changes whom the Windows build trusts. Wine trusts everyone.
        wine = int(len(command) > 1)
        for file, good in [("lonely.pem", wine)] + 5 * [("ca.pem", 1)]:
            ending = Client(command, SSL_CERT_FILE=os.path.join(directory, file))
            assert ending.end(ending.job(signed, count=0)) == str(good), file
    return 0


if __name__ == "__main__":
    sys.exit(main())
