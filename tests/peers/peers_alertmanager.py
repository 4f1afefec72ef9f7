"""Alert documents in a real Alertmanager, configured as docs/alertmanager.md shows."""
import contextlib
import json
import os
import pathlib
import re
import shlex
import socket
import subprocess
import tempfile
import urllib.request

import peers

ALERTMANAGER = peers.need("prometheus-alertmanager", "amtool")
EXAMPLE = os.environ.get("ZVEVENT_ALERTMANAGER_POST")  # where it is built
API = f"http://127.0.0.1:{peers.free_port(socket.SOCK_STREAM)}"
direct = urllib.request.build_opener(urllib.request.ProxyHandler({}))


def documents(events, prefix="ZvEvent"):
    """What the library makes of the events, one document each."""
    def word(name, value):
        return name + "=" + (value if isinstance(value, bytes) else str(value).encode()).hex()

    lines = "".join(" ".join(word(*field) for field in event.items()) + "\n" for event in events)
    command = shlex.split(os.environ["ZVEVENT_ALERT_DOCUMENTS"]) + [prefix]
    return subprocess.run(command, input=lines.encode(), check=True, stdout=subprocess.PIPE,
                          timeout=120).stdout.splitlines()


def call(path, document=None, api=API):
    request = urllib.request.Request(api + path, document, {"Content-Type": "application/json"})
    with direct.open(request, timeout=peers.DEADLINE_S) as reply:
        return reply.read()


def is_ready(api=API):
    try:
        return call("/-/ready", api=api)
    except OSError:
        return False


def alerts():
    return json.loads(call("/api/v2/alerts"))


def notified(name, status):
    """Where a receiver was told of the alerts in that state, and which they are."""
    return peers.wait_for(lambda: [
        (message["path"], alert["fingerprint"])
        for message in listener.messages() for alert in message["alerts"]
        if alert["labels"]["alertname"] == name and alert["status"] == status], status)


def check_page(path):
    """The example is accepted, routes as it says, and the tables name what documents hold."""
    subprocess.run(["amtool", "check-config", path], check=True)
    for severity, receiver in (("critical", "on-call"), ("warning", "operators")):
        told = subprocess.check_output(["amtool", "config", "routes", "test",
                                        f"--config.file={path}", f"severity={severity}"], text=True)
        assert told.strip() == receiver, told
    alert = json.loads(documents([{"source_id": "nas-1", "message": "Full"}])[0])[0]
    page = (peers.DOCS / "alertmanager.md").read_text()
    for heading in ("Labels", "Annotations"):
        section = page.split(f"\n## {heading}\n")[1].split("\n## ")[0]
        assert re.findall(r"^\| `(\w+)` \|", section, re.M) == list(alert[heading.lower()]), heading


def check_life():
    """Raise, raise again and clear one alert."""
    event = {"event_type": "Température haute", "severity": 2, "source_id": "Küche 1/rack \"A\"",
             "message": "zu heiß\n\"81\"", "value": 81.5}
    active = []
    for change in ({"action": "raise"}, {"action": "repeat", "value": 90}):
        call("/api/v2/alerts", *documents([event | change]))
        active += alerts()
    first, again = active
    assert (again["fingerprint"], again["annotations"]["zv_value"]) == (first["fingerprint"], "90")
    name = first["labels"]["alertname"]
    notified(name, "firing")
    call("/api/v2/alerts", *documents([event | {"action": "Clear"}]))
    peers.wait_for(lambda: not alerts(), "the end of the alert")
    assert notified(name, "resolved") == [("/operators", first["fingerprint"])]


def check_names():
    """Whatever the names hold, every document is accepted and becomes an alert of its own."""
    odd = ["", " ", "a b", "ÄÖÜ", "日本", "x" * 5000, "tab\there", "{\"a\":1}", "a=b,c!~\"d\"",
           b"\xff\xfe not UTF-8", "..--::__", "-.:", "1st", "_a_", "\x01\x7f", "a\u2028b", "\\"]
    fields = ("event_type", "source_id", "source_name", "units", "dedupe_key")
    events = [dict.fromkeys(fields, name) | {"message": b"\xff."} for name in odd]
    for prefix in ("", "é-_ 9"):
        for document in documents(events, prefix):
            call("/api/v2/alerts", document)
            labels = json.loads(document.decode(errors="replace"))[0]["labels"]
            assert labels in [alert["labels"] for alert in alerts()], labels


def check_example():
    """What the example posts, twice here, is one alert, notified once."""
    example = subprocess.Popen([EXAMPLE, *[API + "/api/v2/alerts"] * 2], stdin=subprocess.PIPE,
                               env=os.environ | {"no_proxy": "127.0.0.1"})
    fired = notified("ZvEventDiskFull", "firing")
    example.communicate(b"\n", timeout=peers.DEADLINE_S)
    assert example.returncode == 0
    assert notified("ZvEventDiskFull", "resolved") == fired
    assert [path for path, _ in fired] == ["/on-call"], fired


def check_pair(directory):
    """Two that know each other, as the page starts them, with every document posted to both: one of
    them notifies of the alert, and when that is gone the other notifies of its end."""
    page = peers.documented("alertmanager.md", "sh cluster").replace("\\\n", " ")
    names = {name: f"127.0.0.1:{peers.free_port(socket.SOCK_STREAM)}" for name in ("FIRST", "SECOND")}
    apis = {name: f"http://127.0.0.1:{peers.free_port(socket.SOCK_STREAM)}" for name in names}
    with contextlib.ExitStack() as both:
        members = {}
        for name, own in names.items():
            text = page.replace("0.0.0.0:9094", own).replace("FILE", str(path))
            for peer, address in names.items():
                text = text.replace(f"{peer}:9094", address)
            members[name] = both.enter_context(peers.running([
                *shlex.split(text), f"--storage.path={directory}/{name}",
                f"--web.listen-address={apis[name][7:]}", "--cluster.peer-timeout=5s"]))
        for name, api in apis.items():
            peers.wait_for(lambda: is_ready(api), name)
            peers.wait_for(lambda: len(json.loads(call("/api/v2/status", api=api))["cluster"]["peers"])
                           == 2, "the cluster")

        def post(action):
            document, = documents([{"event_type": "pair", "severity": 2, "message": "x", "action": action}])
            for name in members:
                call("/api/v2/alerts", document, apis[name])

        post("raise")
        notified("ZvEventPair", "firing")
        peers.wait_for(lambda: any(re.search("^alertmanager_nflog_gossip_messages_propagated_total [1-9]",
                                             call("/metrics", api=api).decode(), re.M)
                                   for api in apis.values()), "the other's news of the notification")
        members.pop("FIRST").terminate()
        post("clear")
        # The other waited its 5 s with the notification that the first had sent, before it sent this.
        notified("ZvEventPair", "resolved")
        assert len(notified("ZvEventPair", "firing")) == 1


with tempfile.TemporaryDirectory() as directory, peers.listening("http") as listener:
    # The page's own, but for the receiver's port and times that a test can wait for.
    text = peers.documented("alertmanager.md", "yaml").replace("127.0.0.1:9099", f"127.0.0.1:{listener.ports['http']}")
    path = pathlib.Path(directory, "alertmanager.yml")
    path.write_text(re.sub(r"(group_(wait|interval)): \d+[sm]", r"\1: 1s", text))
    check_page(path)
    with peers.running([ALERTMANAGER, f"--config.file={path}", f"--storage.path={directory}",
                        f"--web.listen-address={API[7:]}", "--cluster.listen-address="]):
        peers.wait_for(is_ready, "Alertmanager")
        if EXAMPLE:
            check_example()
        check_life()
        check_names()
    check_pair(directory)
