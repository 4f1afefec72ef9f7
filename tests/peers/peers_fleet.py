"""A fleet in small, set up as docs/fleet.md says: many processes send through a relay whose collector
is killed in the midst of it. When it is back, every event is there.

ZVEVENT_FLEET="PROCESSES EVENTS", events of each, is for larger runs by hand; they print figures.
"""
import collections
import json
import os
import pathlib
import re
import subprocess
import tempfile
import time

import peers

RSYSLOGD = peers.need("rsyslogd")
if not any(pathlib.Path("/usr/lib").glob("*/rsyslog/omrelp.so")):
    raise SystemExit(77)
BY_HAND = os.environ.get("ZVEVENT_FLEET")
PROCESSES, EVENTS = map(int, (BY_HAND or ("6 1000" if peers.PREFIX else "20 500")).split())
TOTAL = PROCESSES * EVENTS


class Fleet:
    def __init__(self, folder):
        self.folder, self.spool = folder, folder / "spool"
        self.spool.mkdir()
        self.log = folder / "zvevent.json"
        self.udp, self.relp = peers.free_port(), peers.free_port(peers.socket.SOCK_STREAM)

    def rsyslog(self, name):
        """The page's own, but for places and the pause before the collector is tried again."""
        text = peers.documented("fleet.md", f"rsyslog {name}")
        for old, new in [("/var/log/zvevent.json", self.log), ("/var/spool/rsyslog", self.spool),
                         ("collector.example", "127.0.0.1"), ("2514", self.relp),
                         ("5140", self.udp), ('resumeInterval="5"', 'resumeInterval="1"'),
                         ('input(type="imrelp"', 'input(type="imrelp" address="127.0.0.1"')]:
            text = text.replace(old, str(new))
        path = self.folder / f"{name}.conf"
        path.write_text(text)
        return peers.running([RSYSLOGD, "-n", "-f", path, "-i", self.folder / f"{name}.pid"])

    def kernel(self):
        """What /proc says of the relay's socket: bytes waiting, datagrams dropped; None without one."""
        table = pathlib.Path("/proc/net/udp").read_text()
        found = re.search(rf":{self.udp:04X} \S+ \S+ \w+:(\w+) .* (\d+) *$", table, re.M)
        return found and (int(found[1], 16), int(found[2]))

    def arrived(self):
        return self.log.read_bytes().count(b"\n") if self.log.exists() else 0

    def spooled(self):
        return sum(file.stat().st_size for file in self.spool.glob("zvevent.0*"))

    def seen(self):
        """How often each event has arrived."""
        seen = collections.Counter()
        for line in self.log.read_text().split("\n")[:-1]:
            fields = json.loads(line)["rfc5424-sd"]["zavorin@32473"]
            seen[int(fields["source_id"]), int(fields["event_id"])] += 1
        return seen

    def start_senders(self, numbers):
        config = peers.write_config(self.folder, peers.config(syslog__udp={"port": self.udp}))
        senders = []
        for number in numbers:
            events = self.folder / f"{number}.events"
            events.write_bytes(peers.lines(
                {"source_id": str(number), "event_id": i + 1, "message": "Too hot", "severity": 2,
                 "event_type": "temperature", "action": "update", "value": i} for i in range(EVENTS)))
            senders.append(subprocess.Popen([*peers.TOOL, "send", "--config", config],
                                            stdin=events.open("rb"), stderr=subprocess.DEVNULL))
        return senders


with tempfile.TemporaryDirectory() as directory:
    fleet = Fleet(pathlib.Path(directory))
    with fleet.rsyslog("relay"):
        peers.wait_for(fleet.kernel, "the relay")
        with fleet.rsyslog("collector") as collector:
            begin = time.monotonic()
            senders = fleet.start_senders(range(PROCESSES // 2))
            peers.wait_for(lambda: fleet.arrived() > TOTAL / 10, "the first events")
            collector.kill()
        before = fleet.arrived()
        senders += fleet.start_senders(range(PROCESSES // 2, PROCESSES))
        assert not any(sender.wait(120) for sender in senders)
        sent_s = time.monotonic() - begin
        peers.wait_for(lambda: fleet.kernel()[0] == 0, "the relay to take what it was sent")
        peers.wait_for(fleet.spooled, "the relay's queue on the disk")
        dropped, spooled = fleet.kernel()[1], fleet.spooled()
        begin = time.monotonic()
        with fleet.rsyslog("collector"):
            peers.wait_for(lambda: fleet.arrived() >= TOTAL - dropped and len(fleet.seen()) >= TOTAL - dropped,
                           "all events", 120)
        rest_s = time.monotonic() - begin
    seen = fleet.seen()
    wanted = {(number, i + 1) for number in range(PROCESSES) for i in range(EVENTS)}
    if BY_HAND:
        print(f"{TOTAL} events sent in {sent_s:.1f} s, {before} arrived before the collector went down, "
              f"{spooled / 2**20:.1f} MiB on disk, the rest in {rest_s:.1f} s; {dropped} dropped, "
              f"{seen.total() - len(seen)} twice")
    assert seen.keys() <= wanted and len(seen) == TOTAL - dropped, (len(seen), dropped)
    # Only root may have a buffer of the size that the page asks for.
    assert dropped == 0 or os.geteuid() != 0, dropped
