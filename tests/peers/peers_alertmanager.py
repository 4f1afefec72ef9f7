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
import time
import urllib.request

import peers

ALERTMANAGER = shutil.which("prometheus-alertmanager")
AMTOOL = shutil.which("amtool")
PAGE = pathlib.Path(__file__).parents[2] / "docs" / "alertmanager.md"
DISK = {"event_type": "disk.full", "source_id": "nas-1", "severity": 3, "message": "Full"}

direct = urllib.request.build_opener(urllib.request.ProxyHandler({}))


def call(url, document=None):
    request = urllib.request.Request(url, document, {"Content-Type": "application/json"})
    with direct.open(request, timeout=peers.DEADLINE_S) as reply:
        return reply.read().decode()


def documents(events, *options):
    """What the library makes of the events, one document each."""
    command = shlex.split(os.environ["ZVEVENT_FORMAT_ALERT"]) + list(options)
    done = subprocess.run(command, input=peers.lines(events), capture_output=True, timeout=120)
    assert done.returncode == 0, done.stderr
    return done.stdout.splitlines()


class Manager:
    """One Alertmanager on the loopback."""

    def __init__(self, web, cluster):
        self.url, self.cluster = f"http://127.0.0.1:{web}", f"127.0.0.1:{cluster}"

    def post(self, document):
        call(f"{self.url}/api/v2/alerts", document)

    def alerts(self, name=""):
        return [a for a in json.loads(call(f"{self.url}/api/v2/alerts"))
                if name in a["labels"]["alertname"]]

    def status(self):
        return json.loads(call(f"{self.url}/api/v2/status"))

    def metric(self, name):
        found = re.search(rf"^{name} (\S+)$", call(f"{self.url}/metrics"), re.MULTILINE)
        return float(found[1])

    def ready(self):
        with contextlib.suppress(OSError):
            return call(f"{self.url}/-/ready") and self.status()["cluster"]["status"] == "ready"


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
            peers.wait_for(manager.ready, "a ready Alertmanager")
            peers.wait_for(lambda: len(manager.status()["cluster"]["peers"]) == count, "its peers")
        yield started


class Receiver(http.server.ThreadingHTTPServer):
    """Takes notifications; `seen` holds (path, alert) of every alert in them."""

    def __init__(self):
        super().__init__(("127.0.0.1", 0), self.Handler)
        self.seen = []
        threading.Thread(target=self.serve_forever, daemon=True).start()

    class Handler(http.server.BaseHTTPRequestHandler):
        def do_POST(self):
            body = json.loads(self.rfile.read(int(self.headers["Content-Length"])))
            self.server.seen += [(self.path, alert) for alert in body["alerts"]]
            self.send_response(200)
            self.end_headers()

        def log_message(self, *_):
            pass

    def notified(self, name, status):
        return [(path, alert) for path, alert in list(self.seen)
                if alert["labels"]["alertname"] == name and alert["status"] == status]


def check_page(path):
    """The example is accepted, routes as it says, and the tables name what documents hold."""
    subprocess.run([AMTOOL, "check-config", path], check=True, stdout=subprocess.DEVNULL)
    for severity, receiver in (("critical", "on-call"), ("warning", "operators")):
        told = subprocess.run([AMTOOL, "config", "routes", "test", f"--config.file={path}",
                               f"severity={severity}"], check=True, capture_output=True, text=True)
        assert told.stdout.strip() == receiver, told.stdout
    alert = json.loads(documents([DISK], "source-label")[0])[0]
    for heading, part in (("Labels", "labels"), ("Annotations", "annotations")):
        section = PAGE.read_text().split(f"\n## {heading}\n")[1].split("\n## ")[0]
        assert re.findall(r"^\| `(\w+)` \|", section, re.MULTILINE) == list(alert[part]), heading


def check_life(manager, receiver):
    """Raise, raise again, a clear that is not sent, a clear that is."""
    event = {"event_id": 7, "event_type": "Température haute, très!", "severity": 2,
             "source_id": "Küche 1/rack \"A\"", "source_name": "Rack 'A' \\ Küche",
             "message": "zu heiß\n\"81\"", "value": 81.5, "threshold": 75.3, "units": "°C",
             "dedupe_key": "k 1", "action": "raise"}
    expected_labels = {"alertname": "ZvEventTempRatureHauteTrS", "severity": "warning",
                       "event_type": "temp_rature_haute_tr_s", "action": "raise",
                       "source_id": "k_che_1_rack_a"}
    expected_annotations = {
        "summary": "zu heiß\n\"81\"", "description": "zu heiß\n\"81\" on Rack 'A' \\ Küche",
        "zv_event_id": "7", "zv_dedupe_key": "k 1", "zv_source_name": "Rack 'A' \\ Küche",
        "zv_units": "°C", "zv_value": "81.5", "zv_threshold": "75.299999999999997"}
    manager.post(*documents([event], "source-label"))
    first, = manager.alerts()
    assert first["labels"] == expected_labels, first
    assert first["annotations"] == expected_annotations, first

    manager.post(*documents([event | {"event_id": 8, "value": 90, "action": "repeat"}],
                            "source-label"))
    again, = manager.alerts()
    assert again["fingerprint"] == first["fingerprint"] and again["startsAt"] == first["startsAt"]
    assert again["annotations"]["zv_value"] == "90", again
    peers.wait_for(lambda: receiver.notified(expected_labels["alertname"], "firing"), "the raise")

    clear = event | {"action": "Clear"}
    unsent, = documents([clear], "source-label", "no-resolved")
    assert unsent == b"[]", unsent
    manager.post(unsent)
    assert [a["status"]["state"] for a in manager.alerts()] == ["active"]

    manager.post(*documents([clear], "source-label"))
    peers.wait_for(lambda: not manager.alerts(), "the end of the alert")
    peers.wait_for(lambda: receiver.notified(expected_labels["alertname"], "resolved"), "the clear")
    path, ended = receiver.notified(expected_labels["alertname"], "resolved")[0]
    assert path == "/operators" and ended["fingerprint"] == first["fingerprint"], ended
    assert ended["labels"] == expected_labels, ended


def check_names(manager):
    """Whatever the names hold, every document is accepted and becomes an alert of its own."""
    odd = ["", " ", "a b", "ÄÖÜ", "日本", "x" * 5000, "tab\there", "{\"a\":1}", "a=b,c!~\"d\"",
           b"\xff\xfe not UTF-8", "..--::__", "-.:", "1st", "_a_", "\x01\x7f", "a\u2028b", "\\"]
    names = [name.encode() if isinstance(name, str) else name for name in odd]
    fields = ("event_type", "source_id", "source_name", "units", "dedupe_key")
    events = [dict.fromkeys(fields, name) | {"message": b"." + name, "severity": i % 4}
              for i, name in enumerate(names)]
    for prefix in ("Odd", "", "é-_ 9"):
        made = documents(events, "source-label", f"prefix={prefix}")
        assert len(made) == len(events)
        for document in made:
            manager.post(document)
            labels = json.loads(document.decode(errors="replace"))[0]["labels"]
            assert labels in [a["labels"] for a in manager.alerts()], labels


def check_inhibition(manager):
    """The page's rule: an error mutes the warning of the same source and type."""
    for document in documents([DISK | {"event_type": "fan", "severity": s} for s in (2, 3)],
                              "source-label"):
        manager.post(document)
    peers.wait_for(lambda: {(a["labels"]["severity"], a["status"]["state"])
                            for a in manager.alerts("ZvEventFan")}
                   == {("warning", "suppressed"), ("critical", "active")}, "the muted warning")


@contextlib.contextmanager
def disk_alert(cluster):
    """Raised in every member meanwhile, by the example where that is built."""
    urls = [f"{manager.url}/api/v2/alerts" for manager in cluster]
    if "ZVEVENT_ALERTMANAGER_POST" not in os.environ:
        for action in ("raise", "clear"):
            for manager in cluster:
                manager.post(*documents([DISK | {"action": action}], "source-label"))
            if action == "raise":
                yield
        return
    example = subprocess.Popen([os.environ["ZVEVENT_ALERTMANAGER_POST"], *urls],
                               stdin=subprocess.PIPE, stdout=subprocess.DEVNULL,
                               env=os.environ | {"no_proxy": "127.0.0.1"})
    try:
        yield
    finally:
        example.communicate(b"\n", timeout=peers.DEADLINE_S)
    assert example.returncode == 0


def check_cluster(cluster, receiver):
    """Both members hold the alert, one of them notifies, and a silence of one holds for both."""
    name = "ZvEventDiskFull"
    with disk_alert(cluster):
        for manager in cluster:
            peers.wait_for(lambda: manager.alerts(name), "the alert in each member")
        for manager in cluster:
            # Both have come to the point where they ask what has been notified already.
            peers.wait_for(lambda: manager.metric("alertmanager_nflog_queries_total"), "its turn")
    for manager in cluster:
        peers.wait_for(lambda: not manager.alerts(name), "the clear in each member")
    peers.wait_for(lambda: receiver.notified(name, "resolved"), "the clear")
    fired = receiver.notified(name, "firing")
    assert [path for path, _ in fired] == ["/on-call"], fired
    assert fired[0][1]["fingerprint"] == receiver.notified(name, "resolved")[0][1]["fingerprint"]

    silence = {"matchers": [{"name": "alertname", "value": name, "isRegex": False}],
               "createdBy": "test", "comment": "test",
               "startsAt": time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime()),
               "endsAt": time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(time.time() + 600))}
    call(f"{cluster[0].url}/api/v2/silences", json.dumps(silence).encode())
    cluster[1].post(*documents([DISK], "source-label"))
    peers.wait_for(lambda: cluster[1].alerts(name)[0]["status"]["state"] == "suppressed",
                   "the other member's silence")


def main():
    if not ALERTMANAGER or not AMTOOL:
        sys.exit(77)
    with tempfile.TemporaryDirectory() as directory, Receiver() as receiver:
        page, config = (os.path.join(directory, name) for name in ("page.yml", "test.yml"))
        text = re.search(r"```yaml\n(.*?)```", PAGE.read_text(), re.DOTALL)[1]
        pathlib.Path(page).write_text(text)
        # The page's own, but for the receiver's port and times that a test can wait for.
        text = text.replace("127.0.0.1:9099", f"127.0.0.1:{receiver.server_port}")
        text = re.sub(r"(group_(wait|interval)): \d+[sm]", r"\1: 1s", text)
        pathlib.Path(config).write_text(text)
        check_page(page)
        with managers(2, config) as cluster:
            check_cluster(cluster, receiver)
            check_life(cluster[0], receiver)
            check_names(cluster[0])
            check_inhibition(cluster[0])


main()
