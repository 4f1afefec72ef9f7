"""The outbox of the webhook output, with a receiver that goes, hangs and refuses, and a process that is
killed: what was accepted arrives, in order but for repeats.

    outbox_test.py [--kills COUNT] COMMAND...
"""
import json
import os
import pathlib
import random
import resource
import shlex
import sqlite3
import subprocess
import sys
import tempfile
import threading
import time

sys.path += [str(pathlib.Path(__file__).resolve().parents[1] / folder) for folder in ("http", "status")]
kills = int(sys.argv.pop(1)) if sys.argv[1] == "--kills" and sys.argv.pop(1) else 3
from http_tools import Server
from status_host import PREFIX, SOON_S, Host

TOOL = shlex.split(os.environ["ZVEVENT_TOOL"])


class Receiver(Server):
    """Answers as `mode` says: a status with what follows it, "hang", or "drop" for a connection that
    closes. Remembers which it was asked in, and the messages it took."""

    def __init__(self):
        super().__init__(self.answer)
        self.mode, self.messages, self.asked = "200 OK", [], set()

    def answer(self, connection, requests):
        for head, body in requests:
            body = json.loads(body)
            assert ("data" in body) == any("/cloudevents+json" in line for line in head), head
            message = body.get("data", body)["message"]
            while self.mode == "hang":
                self.asked.add("hang")
                time.sleep(0.01)
            mode = self.mode(message) if callable(self.mode) else self.mode
            if mode.startswith("200"):
                self.messages.append(int(message))
            self.asked.add(mode)
            if mode == "drop":
                return
            connection.sendall(f"HTTP/1.1 {mode}\r\nContent-Length: 0\r\n\r\n".encode())


def webhook(url, outbox, **more):
    values = {"enabled": 1, "endpoint_url": url, "backoff_ms": 20, "request_timeout_ms": 5000,
              "outbox": PREFIX + outbox, **more}
    body = "".join(f'<value name="{name}">{value}</value>' for name, value in values.items())
    return f'<key name="webhook"><key name="http"><key name="a">{body}</key></key></key>'


def output(status):
    return next(o for o in status["outputs"] if o["output"] == "webhook/http/a")


def check_order(messages, expected):
    """All of `expected` once and more, each first time after those before it."""
    firsts = list(dict.fromkeys(messages))
    assert firsts == sorted(firsts) and set(expected) <= set(firsts), (messages, expected)


def tool(*arguments):
    """What `zvevent outbox` prints, a line each."""
    *options, file = arguments
    done = subprocess.run([*TOOL, "outbox", *options, PREFIX + str(file)], capture_output=True, text=True, timeout=60)
    assert done.returncode == 0, done
    return done.stdout.splitlines()


def soon(condition):
    end = time.monotonic() + SOON_S
    while not condition():
        assert time.monotonic() < end
        time.sleep(0.01)


def pending(host, count, key="pending"):
    return host.soon(lambda s: output(s)["outbox"][key] == count and output(s))


# A receiver that is away, hangs, breaks off, is ill, wants time, and refuses one for good. The callbacks, which
# come after the webhook, wait for none of it.
receiver, folder, nobody = Receiver(), tempfile.mkdtemp(), "http://127.0.0.1:1/"
with Host(sinks=webhook(nobody, folder + "/x/{pid}.outbox"), folder=folder) as host:
    assert host.do("number 0") == 0
    for number, mode in enumerate(("200 OK", "hang", "drop", "503 Ill", "429 Much\r\nRetry-After: 2",
                                   lambda message: "400 Bad" if message == "55" else "200 OK")):
        receiver.mode = mode
        assert host.do("submit 10 3") == 0
        soon(lambda: len(host.events) == 10 * (number + 1))
        if mode == "200 OK":
            assert host.do("flush 300") != 0
            status = pending(host, 10)
            assert status["last_error"] == f"zvEvent webhook POST failed: {nobody}", status
            assert status["delivered"] == 10 and status["outbox"]["oldest"], status
            host.write(host.settings, webhook(receiver.url(), folder + "/x/{pid}.outbox"))
            assert host.do("reload") == 0
            pending(host, 0)
            continue
        soon(lambda: mode in receiver.asked or callable(mode))
    # Two seconds were asked for, however often a flush wakes the sender.
    start = time.monotonic()
    assert host.do("flush 60000") == 0 and time.monotonic() - start > 0.5
    refused = pending(host, 1, "refused")
    assert refused["last_error"] == f"zvEvent webhook POST failed: {receiver.url()} answered 400", refused
    check_order(receiver.messages, [n for n in range(60) if n != 55])
    assert 55 not in receiver.messages
    file = next(pathlib.Path(folder, "x").glob("*.outbox"))
    assert host.do("shutdown") == 0
    listed = [json.loads(line) for line in tool("--json", file)]
    assert [(event["id"], event["status"], event["body"]["message"]) for event in listed] == [(56, 400, "55")]
    tool("--retry", file)
    assert [json.loads(line)["message"] for line in tool("--export", file)] == ["55"]
    assert tool(file)[-1] == "1 pending, 0 refused"
    tool("--drop", "all", file)
    assert tool(file) == ["0 pending, 0 refused"]

# Killed again and again, with a receiver that comes and goes. What a callback was given had gone into the outbox.
receiver, folder, accepted = Receiver(), tempfile.mkdtemp(), set()
for round_ in range(kills + 1):
    first = round_ * 100_000
    receiver.mode = random.choice(["200 OK", "drop", "500 Ill"]) if 0 < round_ < kills else "200 OK"
    host = Host('<value name="queue_size">2000</value>', webhook(receiver.url(), folder + "/killed.outbox"),
                "status-.json", folder)
    assert host.do(f"number {first}") == 0
    if round_ < kills:
        host.process.stdin.write("submit 500 3\n" * 3)
        host.process.stdin.flush()
        enough = random.randrange(1000)
        soon(lambda: len(host.events) > enough)
        host.process.kill()
        host.process.wait()
        host.listener.join()
        accepted |= {int(event[0]) for event in host.events}
    else:
        while host.do("flush 20000") != 0:
            pass
        assert pending(host, 0)["failed"] == 0
        host.__exit__(None)
check_order(receiver.messages, accepted)
repeats = len(receiver.messages) - len(set(receiver.messages))
print(f"{kills} kills, {len(accepted)} accepted, {len(receiver.messages)} received, {repeats} twice")
assert repeats <= kills


def trouble(prepare, text, fallbacks=7, check=lambda path: True, **how):
    """A file that cannot serve: the events go out directly, and the status tells why."""
    receiver, folder = Receiver(), tempfile.mkdtemp()
    path = pathlib.Path(folder, "bad.outbox")
    kept = prepare(path)
    with Host(sinks=webhook(receiver.url(), str(path)), folder=folder, **how) as host:
        assert host.do("submit 7 3") == 0 and host.do("flush 20000") == 0
        status = host.soon(lambda s: output(s)["delivered"] == 7 and output(s))
        assert (status["fallback"], status["failed"]) == (fallbacks, 0) and text in status["last_error"], status
        check_order(receiver.messages, range(7))
        assert check(path)
    if kept:
        kept.__exit__(None)


def used_by_other(path):
    return Host(sinks=webhook(nobody, str(path)))


trouble(used_by_other, "another process has it in use")
trouble(lambda path: path.mkdir(), "unable to open")
trouble(lambda path: sqlite3.connect(path).execute("CREATE TABLE t(x)").connection.close(),
        "another program's database",
        check=lambda path: sqlite3.connect(path).execute("SELECT name FROM sqlite_master").fetchall() == [("t",)])
trouble(lambda path: path.write_bytes(b"damaged " * 1000) and None, "was put aside as", fallbacks=0,
        check=lambda path: next(path.parent.glob("*.damaged-*")).read_bytes() == b"damaged " * 1000)
if not PREFIX:
    def no_large_files():
        resource.setrlimit(resource.RLIMIT_FSIZE, (16384, 16384))
    trouble(lambda path: None, "cannot be used", preexec_fn=no_large_files)

# What is sent makes room again.
receiver, folder = Receiver(), tempfile.mkdtemp()
with Host(sinks=webhook(receiver.url(), folder + "/a", outbox_limit="8KB"), folder=folder) as host:
    for _ in range(20):
        assert host.do("submit 2 3") == host.do("flush 20000") == 0
    assert receiver.messages == list(range(40)), receiver.messages

# Full: the oldest of the lowest severity goes first, but not what is being sent.
receiver, folder = Receiver(), tempfile.mkdtemp()
receiver.mode = "hang"
with Host(sinks=webhook(receiver.url(), folder + "/a", outbox_limit=10), folder=folder) as host:
    host.do("submit 1 1")
    soon(lambda: receiver.asked)
    host.do("submit 5 3")
    host.do("submit 11 1")
    host.do("submit 7 3")
    assert pending(host, 14, "discarded")["outbox"]["pending"] == 10
    receiver.mode = "200 OK"
    assert host.do("flush 20000") == 0
    assert receiver.messages == [0, 4, 5, *range(17, 24)], receiver.messages

    # A reload hands the outbox over, to another receiver and with another kind of body, ...
    other, receiver.mode = Receiver(), "hang"
    receiver.asked.clear()
    host.do("submit 10 3")
    soon(lambda: receiver.asked)
    host.write(host.settings, webhook(other.url(), folder + "/a", payload_mode="cloudevents"))
    assert host.do("reload") == 0
    host.do("submit 10 3")
    assert host.do("flush 20000") == 0 and other.messages == list(range(24, 44)), other.messages

    # ... or leaves it as it is, and so does a shutdown.
    other.mode = "hang"
    for file in "b", "c":
        other.asked.clear()
        host.do("submit 5 3")
        soon(lambda: other.asked)
        assert host.do("flush 100") != 0
        if file == "b":
            host.write(host.settings, webhook(other.url(), folder + "/b"))
            assert host.do("reload") == 0
    assert host.do("shutdown") == 0
    for file in "a", "b":
        with sqlite3.connect(folder + "/" + file) as left:
            assert left.execute("SELECT count(*) FROM pending").fetchall() == [(5,)]
