"""Alert documents in real Alertmanagers, configured as docs/alertmanager.md shows."""
import contextlib
import http.server
import json
import os
import pathlib
import re
import shlex
import shutil
import socket
import subprocess
import sys
import tempfile
import threading
import urllib.request

import peers

ALERTMANAGER = shutil.which("prometheus-alertmanager")
AMTOOL = shutil.which("amtool")
EXAMPLE = os.environ.get("ZVEVENT_ALERTMANAGER_POST")  # where it is built
PAGE = (pathlib.Path(__file__).parents[2] / "docs" / "alertmanager.md").read_text()

direct = urllib.request.build_opener(urllib.request.ProxyHandler({}))


def documents(events, prefix="ZvEvent"):
    """What the library makes of the events, one document each."""
    command = shlex.split(os.environ["ZVEVENT_FORMAT_ALERT"]) + [prefix]
    done = subprocess.run(command, input=peers.lines(events), stdout=subprocess.PIPE, check=True)
    made = done.stdout.splitlines()
    assert len(made) == len(events)
    return made


class Manager:
    """One Alertmanager on the loopback."""

    def __init__(self, web, cluster):
        self.url, self.cluster = f"http://127.0.0.1:{web}/api/v2", f"127.0.0.1:{cluster}"

    def call(self, path, document=None):
        request = urllib.request.Request(f"{self.url}/{path}", document,
                                         {"Content-Type": "application/json"})
        with direct.open(request, timeout=peers.DEADLINE_S) as reply:
            return json.loads(reply.read() or "null")

    def alerts(self, name=""):
        return [a for a in self.call("alerts") if name in a["labels"]["alertname"]]

    def members(self):
        with contextlib.suppress(OSError):
            cluster = self.call("status")["cluster"]
            return cluster["status"] == "ready" and len(cluster["peers"])


@contextlib.contextmanager
def managers(count, config):
    """Alertmanagers that know each other, ready to notify."""
    with contextlib.ExitStack() as stack:
        started = []
        for _ in range(count):
            web, gossip = (peers.free_port(socket.SOCK_STREAM) for _ in "wg")
            manager = Manager(web, gossip)
            storage = stack.enter_context(tempfile.TemporaryDirectory())
            stack.enter_context(peers.running([
                ALERTMANAGER, f"--config.file={config}", f"--storage.path={storage}",
                f"--web.listen-address=127.0.0.1:{web}",
                f"--cluster.listen-address={manager.cluster}",
                f"--cluster.advertise-address={manager.cluster}", "--cluster.peer-timeout=3s",
                *(f"--cluster.peer={other.cluster}" for other in started)]))
            started.append(manager)
        for manager in started:
            peers.wait_for(lambda: manager.members() == count, "a ready Alertmanager")
        yield started


class Receiver(http.server.BaseHTTPRequestHandler):
    """Takes notifications; `seen` holds (path, alert) of every alert in them."""
    seen = []

    def do_POST(self):
        body = json.loads(self.rfile.read(int(self.headers["Content-Length"])))
        self.seen += [(self.path, alert) for alert in body["alerts"]]
        self.send_response(200)
        self.end_headers()

    @classmethod
    def notified(cls, name, status):
        return peers.wait_for(lambda: [
            (path, alert["fingerprint"]) for path, alert in list(cls.seen)
            if alert["labels"]["alertname"] == name and alert["status"] == status], status)


def check_page(path):
    """The example is accepted, routes as it says, and the tables name what documents hold."""
    subprocess.run([AMTOOL, "check-config", path], check=True)
    for severity, receiver in (("critical", "on-call"), ("warning", "operators")):
        told = subprocess.check_output([AMTOOL, "config", "routes", "test",
                                        f"--config.file={path}", f"severity={severity}"], text=True)
        assert told.strip() == receiver, told
    alert = json.loads(documents([{"source_id": "nas-1", "message": "Full"}])[0])[0]
    for heading in ("Labels", "Annotations"):
        section = PAGE.split(f"\n## {heading}\n")[1].split("\n## ")[0]
        assert re.findall(r"^\| `(\w+)` \|", section, re.M) == list(alert[heading.lower()]), heading


def check_life(manager):
    """Raise, raise again and clear one alert."""
    event = {"event_type": "Température haute, très!", "severity": 2,
             "source_id": "Küche 1/rack \"A\"", "source_name": "Rack 'A' \\ Küche",
             "message": "zu heiß\n\"81\"", "value": 81.5, "units": "°C"}
    seen = []
    for change in ({"action": "raise"}, {"action": "repeat", "value": 90}):
        manager.call("alerts", *documents([event | change]))
        seen += manager.alerts()
    first, again = seen
    assert first["labels"] == {"alertname": "ZvEventTempRatureHauteTrS", "severity": "warning",
                               "event_type": "temp_rature_haute_tr_s", "action": "raise",
                               "source_id": "k_che_1_rack_a"}, first
    assert first["annotations"]["description"] == "zu heiß\n\"81\" on Rack 'A' \\ Küche", first
    assert (again["fingerprint"], again["annotations"]["zv_value"]) == (first["fingerprint"], "90")
    Receiver.notified(first["labels"]["alertname"], "firing")
    manager.call("alerts", *documents([event | {"action": "Clear"}]))
    peers.wait_for(lambda: not manager.alerts(), "the end of the alert")
    ended = Receiver.notified(first["labels"]["alertname"], "resolved")
    assert ended == [("/operators", first["fingerprint"])], ended


def check_names(manager):
    """Whatever the names hold, every document is accepted and becomes an alert of its own."""
    odd = ["", " ", "a b", "ÄÖÜ", "日本", "x" * 5000, "tab\there", "{\"a\":1}", "a=b,c!~\"d\"",
           b"\xff\xfe not UTF-8", "..--::__", "-.:", "1st", "_a_", "\x01\x7f", "a\u2028b", "\\"]
    fields = ("event_type", "source_id", "source_name", "units", "dedupe_key")
    events = [dict.fromkeys(fields, name) | {"message": b"\xff."} for name in odd]
    for prefix in ("", "é-_ 9"):
        for document in documents(events, prefix):
            manager.call("alerts", document)
            labels = json.loads(document.decode(errors="replace"))[0]["labels"]
            assert labels in [a["labels"] for a in manager.alerts()], labels


def check_cluster(cluster):
    """What the example posts to both members is one alert: one of them notifies."""
    name = "ZvEventDiskFull"
    example = subprocess.Popen([EXAMPLE, *(f"{manager.url}/alerts" for manager in cluster)],
                               stdin=subprocess.PIPE, env=os.environ | {"no_proxy": "127.0.0.1"})
    for manager in cluster:
        peers.wait_for(lambda: manager.alerts(name), "the alert in each member")
    fired = Receiver.notified(name, "firing")
    example.communicate(b"\n", timeout=peers.DEADLINE_S)
    assert example.returncode == 0
    for manager in cluster:
        peers.wait_for(lambda: not manager.alerts(name), "the clear in each member")
    assert Receiver.notified(name, "resolved") == fired == Receiver.notified(name, "firing"), fired
    assert [path for path, _ in fired] == ["/on-call"], fired


if not ALERTMANAGER or not AMTOOL:
    sys.exit(77)
server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Receiver)
threading.Thread(target=server.serve_forever, daemon=True).start()
with tempfile.NamedTemporaryFile("w+", suffix=".yml") as file:
    # The page's own, but for the receiver's port and times that a test can wait for.
    text = re.search(r"```yaml\n(.*?)```", PAGE, re.DOTALL)[1]
    text = text.replace("127.0.0.1:9099", f"127.0.0.1:{server.server_port}")
    file.write(re.sub(r"(group_(wait|interval)): \d+[sm]", r"\1: 1s", text))
    file.flush()
    check_page(file.name)
    with managers(2, file.name) as both:
        if EXAMPLE:
            check_cluster(both)
        check_life(both[0])
        check_names(both[0])
