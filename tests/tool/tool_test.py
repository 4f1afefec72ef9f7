"""The command-line tool as a user runs it: what send submits arrives at listen as it was, and whatever
else arrives is shown and harms nothing."""
import http.client
import json
import os
import pathlib
import random
import re
import socket
import subprocess
import sys
import tempfile
import urllib.request

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../peers"))
import peers  # noqa: E402

NASTY = 'quote " bracket ] [ backslash \\ \\" ä °C 温度 bell\x07 escape\x1b[2J line\nfeed \x7f \u202e end'
TEXTS = ["event_type", "source_id", "source_name", "message", "action", "dedupe_key",
         "correlation_id", "units", "timecode", "details_json"]
EVENT = {**{name: f"{name} {NASTY}" for name in TEXTS}, "severity": "error", "event_id": 2**64 - 1,
         "utc_ns": 4102444799999999999, "ptp_ns": 2**64 - 1, "pts": -2**63, "value": -1.5e300,
         "threshold": 75.25, "duration_ms": 2**64 - 1}
IN_TRAP = set(TEXTS) - {"units", "timecode", "action"} | {"severity", "event_id", "utc_ns"}
ALERT = {"labels": {"alertname": "X\x1b[2J", "severity": "critical"}, "annotations": {"a": "b"}}
THEIRS = "<13>1 - h app 4 - "  # the beginning of somebody else's syslog message
MESSAGES = [  # protocol, bytes, members of what is shown
    ("syslog", '<191>1 2026-01-01T00:00:00Z - - - - - \ufeffbell\x07',
     {"header": {"facility": 23, "severity": 7, "timestamp": "2026-01-01T00:00:00Z"}, "text": "bell\x07"}),
    ("syslog", THEIRS + r'[x@1 a="q\"\]\\\n" b=""][y] hi',
     {"elements": {"x@1": {"a": 'q"]\\\\n', "b": ""}, "y": {}}, "text": "hi"}),
    ("syslog", THEIRS + "[zavorin@32473 value=\"x\" pts=\"4\"]",
     {"event": {"value": "x", "pts": 4, "message": ""}}),
    *[("syslog", text, {"malformed": what}) for text, what in [
        ("", "no priority: not a syslog message"), ("<192>1 ", "no priority: not a syslog message"),
        ("<13>Jan  1 00:00:00 h app: hi", "not of version 1 (RFC 5424)"), ("<13>1 - h", "the header is cut"),
        (THEIRS, "no structured data"), (THEIRS + "[x", "structured data is cut"),
        (THEIRS + '[x a="b\\"', "structured data is cut or wrong"), (THEIRS + "-hi", "no space before the message")]],
    *[("snmp", bytes.fromhex(text), {"malformed": what}) for text, what in [
        ("", "not an SNMP message, or cut"), ("3084ffffffff", "not an SNMP message, or cut"),
        ("3003020100", "not SNMP version 2c"), ("3003020101", "no community"),
        ("3007020101040178a0", "not a trap of version 2"),
        ("3010020101040178a7080201010201000201", "the trap is wrong"),
        ("3015020101040178a70d02010102010002010030023005", "a variable is cut")]],
    ("snmp", bytes.fromhex("301d020101040178a715020101020100020100300a300806038134010201ff"),
     {"variables": [{"oid": "2.100.1", "value": -1}]}),
    ("http", json.dumps([ALERT]), {"alerts": [ALERT]}),
    ("http", json.dumps({"receiver": "x", "alerts": [ALERT]}), {"alerts": [ALERT]}),
    ("http", '{"specversion":"1.0","data":[1]}', {"cloudevent": {"specversion": "1.0"}, "json": [1]}),
    ("http", '{"message":1}', {"json": {"message": 1}}),
    *[("http", text, {"malformed": what}) for text, what in [
        ("", "not JSON"), ("{", "not JSON"), ("[" * 100000, "JSON nested too deep"), (b'"\xff"', "not JSON")]],
]


def run(*arguments, text=""):
    done = subprocess.run([*peers.TOOL, *arguments], input=text.encode(), capture_output=True, timeout=120)
    return done.returncode, (done.stdout + done.stderr).decode()


def send_raw(protocol, port, data):
    data = data.encode() if isinstance(data, str) else data
    if protocol == "http":
        urllib.request.urlopen(f"http://127.0.0.1:{port}/x?y", data, peers.DEADLINE_S).close()
    else:
        with socket.socket(type=socket.SOCK_DGRAM) as sender:
            sender.sendto(data, ("127.0.0.1", port))


def outputs(ports):
    url = f"http://127.0.0.1:{ports['http']}/"
    return peers.config(syslog__udp={"port": ports["syslog"]}, snmp__trap={"port": ports["snmp"]},
                        webhook__http={"endpoint_url": url + "own"},
                        cloudevents__http={"endpoint_url": url + "cloud", "source": "/s"})


def check_way(folder):
    """Every field of an event, from options and from a JSON line, comes back equal on every way."""
    with peers.listening("syslog", "snmp", "http") as listener:
        path = peers.write_config(folder, outputs(listener.ports), "ü.xml")
        names = {"event_type": "type", "source_id": "source", "source_name": "name", "details_json": "details"}
        options = [f"--{names.get(name, name).replace('_', '-')}={value}" for name, value in EVENT.items()]
        assert run("send", "--config", path, *options)[0] == 0
        # A document that came is a line to send; options say what it does not.
        line = next(m["event"] for m in listener.wait(4) if m.get("path") == "/own")
        line = json.dumps({name: value for name, value in line.items() if name != "timecode"})
        code, said = run("send", "--config", path, f"--timecode={EVENT['timecode']}", "--units=x", text=f"{line}\n\n")
        assert code == 0 and said.startswith("submitted 1, refused 0, delivered 1,"), said
        messages = listener.wait(8)
    for message in messages:
        expected = {name: EVENT[name] for name in IN_TRAP} if message["protocol"] == "snmp" else EVENT
        assert {name: message["event"].get(name) for name in expected} == expected, message
    return [m["raw"] if m["protocol"] == "syslog" else bytes.fromhex(m["raw"])
            for m in messages if m["protocol"] != "http"]


def check_messages():
    with peers.listening("syslog", "snmp", "http") as listener:
        for count, (protocol, data, members) in enumerate(MESSAGES, 1):
            send_raw(protocol, listener.ports[protocol], data)
            message = listener.wait(count)[-1]
            assert {name: message.get(name) for name in members} == members, (data[:99], message)
            assert ("malformed" in message) == ("malformed" in members), message
        # A path of thousands of characters once took the stack of a thread on Windows.
        for count, (request, status) in enumerate([("garbage \x1b[2J", 400), (f"POST /{'a' * 8000} HTTP/1.1", 414)],
                                                  len(MESSAGES) + 1):
            with socket.create_connection(("127.0.0.1", listener.ports["http"])) as connection:
                connection.sendall(request.encode() + b"\r\n\r\n")
                assert listener.wait(count)[-1]["malformed"].startswith(f"answered with {status}")


def check_page():
    """What is held stands in the page, where it cannot end its place, for who names this machine."""
    with peers.listening("http", "web") as listener:
        for text in '"</script>"', "</script>":
            send_raw("http", listener.ports["http"], text)
        url = f"http://127.0.0.1:{listener.ports['web']}/"

        def held():
            page = urllib.request.urlopen(url, timeout=peers.DEADLINE_S).read().decode()
            return json.loads(re.search(r'id="held"[^>]*>(.*?)</script>', page, re.S)[1]).get("messages", [])
        messages = peers.wait_for(lambda: len(held()) == 2 and held(), "both in the page")
        assert messages[0]["json"] == "</script>" and messages[1]["malformed"] == "not JSON", messages
        for host, status in ("elsewhere.example", 421), ("127.0.0.1.example", 421), ("localhost:1", 200), ("[::1]", 200):
            connection = http.client.HTTPConnection("127.0.0.1", listener.ports["web"])
            connection.request("GET", "/", headers={"Host": host})
            assert connection.getresponse().status == status, host


def check_garbage(originals):
    """Messages cut, changed and repeated at random end nothing and steer no terminal."""
    chance = random.Random(7)

    def mutated():
        data = chance.choice(originals)
        data = bytearray(data.encode() if isinstance(data, str) else data)
        for _ in range(chance.choice([1, 1, 3, 20])):
            data[chance.randrange(len(data))] = chance.choice([0, 27, 34, 92, 93, 127, 128, 255, chance.randrange(256)])
        start = chance.choice([0, 0, chance.randrange(len(data))])
        return bytes(data[start:chance.choice([len(data), chance.randrange(len(data) + 1)])])

    with peers.listening("syslog", "snmp", "http") as scripted, \
            peers.listening("syslog", "snmp", "http", json_lines=False) as shown:
        for batch in range(20):
            for _ in range(50):
                data = mutated()
                for listener in scripted, shown:
                    for protocol in "syslog", "snmp":
                        send_raw(protocol, listener.ports[protocol], data)
            for listener in scripted, shown:
                send_raw("http", listener.ports["http"], data)
                send_raw("syslog", listener.ports["syslog"], f"{THEIRS}- batch {batch} ended")
                peers.wait_for(lambda: any(f"batch {batch} ended" in line for line in listener.lines), batch)
        text = "".join(shown.lines)
    assert not re.search("[\0-\t\x0b-\x1f\x7f-\x9f\u202a-\u202e]", text)
    assert len(re.findall("malformed: ", text)) > 100


def check_exit_codes(folder):
    quiet = peers.write_config(folder, peers.config(), "quiet.xml")
    send = ["send", "--config", quiet]
    with socket.socket(type=socket.SOCK_DGRAM) as taken:
        taken.bind(("127.0.0.1", 0))
        for arguments, text, code, said in [
                (["--version"], "", 0, "1.0.0"), (["--help"], "", 0, "status"), ([], "", 2, "subcommand"),
                ([*send, "--message", "m"], "", 0, "submitted 1, refused 0, delivered 1\n"),
                (send, '{"message":"a","details":{"b":[]},"value":"nan"}\n' * 2000, 0, "submitted 2000, refused 0, delivered 2000"),
                (send, '{"message":"a"}\n\nno\n', 1, "line 3: not JSON"),
                (send, '{"massage":"a"}', 1, 'unknown member "massage"'), (send, "[]", 1, "not a JSON object"),
                (send, '{"message":"a","type":4}', 1, "type is not a text"),
                (send, '{"message":"a","pts":1.5}', 1, "pts is not a whole number"),
                (send, '{"message":"a\\u0000b"}', 1, "zero byte"), (send, '{"message":""}', 1, "Invalid ZVEvent"),
                ([*send, "--severity", "bad"], "", 2, "severity is not debug"), (["send"], "", 2, "--config"),
                (["send", "--config", peers.PREFIX + folder + "/none.xml"], "", 1, "none.xml"),
                (["listen"], "", 2, "--syslog"), (["listen", "--http", "0", "--bind", "x"], "", 1, "x port 0"),
                (["listen", "--syslog", str(taken.getsockname()[1])], "", 1, "over UDP: "),
                (["status", peers.PREFIX + folder + "/none"], "", 1, "cannot be read"), (["status", quiet], "", 1, "not JSON")]:
            done = run(*arguments, text=text)
            assert done[0] == code and said in done[1], (arguments, done)
    with peers.listening("syslog", options=["--count", "2"]) as listener:
        for _ in range(2):
            send_raw("syslog", listener.ports["syslog"], "x")
        assert listener.process.wait(peers.DEADLINE_S) == 0 and len(listener.wait(2)) == 2


def check_status(folder):
    """The file that the page shows, one without faults, and one that a process left."""
    path = pathlib.Path(folder, "status.json")
    page = peers.documented("operations.md", "json").replace("http://…", "http://\\u001b[2J")
    no_unknown_keys = re.sub(r'"unknown_keys":\[.*?\]', '"unknown_keys":[]', page)
    for text, code, said in [
            (page, 1, r"unknown key +QRV\\Events\\sink\\sylog\n"),
            (page, 1, r"webhook/http/default +0 +3 +57 +0  failing: [^\n]*http://\\x1B\[2J\n"),
            (page, 1, r"callbacks +60 +0 +0 +0  good\n"), (page, 1, "dropped +filtered 10, full 20, suppressed 10"),
            (page.replace("true,\"last_error", "false,\"last_error"), 1, "good again; 2026-11-24T09:09:58Z"),
            (no_unknown_keys, 1, "failing: "),
            (no_unknown_keys.replace("true,\"last_error", "false,\"last_error"), 0, "active alerts +2"),
            (page.replace("[", '["x",1,', 1), 1, "not a status file"), ("[]", 1, "not a status file")]:
        path.write_text(text, encoding="utf-8")
        done = run("status", peers.PREFIX + str(path))
        assert done[0] == code and re.search(said, done[1]), (said, done)
    setting = f'<key name="core"><value name="status_file">{peers.PREFIX}{path}</value>'
    config = peers.write_config(folder, peers.config().replace('<key name="core">', setting))
    assert run("send", "--config", config, "--message", "m")[0] == 0
    code, said = run("status", peers.PREFIX + str(path))
    assert code == 0 and re.search("events +received 1, processed 1\n", said), said


with tempfile.TemporaryDirectory() as directory:
    check_garbage(check_way(directory))
    check_messages()
    check_page()
    check_exit_codes(directory)
    check_status(directory)
