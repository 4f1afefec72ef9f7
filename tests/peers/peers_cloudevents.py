"""What the webhook output posts, judged by others: the document by a JSON Schema validator, the
envelopes by an implementation of CloudEvents (the npm package in cloudevents/, below build/npm)."""
import http.server
import json
import pathlib
import subprocess
import sys
import tempfile
import threading

import peers

ROOT = pathlib.Path(__file__).resolve().parents[2]
PACKAGES = ROOT / "build" / "npm"
SCHEMA = ROOT / "docs" / "schema" / "zvevent-event.schema.json"

try:
    import jsonschema
    subprocess.run(["node", "-e", "require.resolve('cloudevents')"], cwd=PACKAGES, check=True,
                   capture_output=True)
except (ImportError, OSError, subprocess.CalledProcessError) as missing:
    print(f"not installed: {missing}")
    sys.exit(77)

EVENTS = [
    {"message": "plain"},
    {"message": "full", "event_id": 2**64 - 1, "event_type": "temperature", "source_id": "psu-1",
     "severity": 3, "utc_ns": 2**64 - 1, "ptp_ns": 2**64 - 1, "pts": -2**63, "value": 75.3,
     "threshold": "1e300", "units": "°C", "duration_ms": 2**64 - 1, "details_json": '{"fan":1}'},
    {"message": bytes(range(1, 128)).decode() + "é€𝄞", "event_type": 'a"b\\c', "source_id": "\x01",
     "utc_ns": 1, "value": "nan", "threshold": "-inf"},
]


class Receiver(http.server.BaseHTTPRequestHandler):
    received = {"/native": [], "/cloud": []}

    def do_POST(self):
        body = self.rfile.read(int(self.headers["Content-Length"])).decode()
        headers = {name.lower(): value for name, value in self.headers.items()}
        self.received[self.path].append({"headers": headers, "body": body})
        self.send_response(204)
        self.end_headers()


def accepted(messages):
    """What the implementation makes of the messages; it must refuse one that is broken."""
    broken = {**messages[0], "body": messages[0]["body"].replace('"source":', '"Source":')}
    accept = ["node", ROOT / "tests/peers/cloudevents/accept.cjs", PACKAGES]
    done = subprocess.run(accept, input=json.dumps(messages + [broken]).encode(), check=True,
                          stdout=subprocess.PIPE)
    *answers, refused = json.loads(done.stdout)
    assert "error" in refused, refused
    return answers


server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Receiver)
threading.Thread(target=server.serve_forever, daemon=True).start()
url = f"http://127.0.0.1:{server.server_port}"
with tempfile.TemporaryDirectory() as directory:
    peers.emit(directory, peers.config(
        webhook__http={"endpoint_url": url + "/native"},
        cloudevents__http={"endpoint_url": url + "/cloud", "source": "/plant/1",
                           "subject_prefix": "cam/"}), EVENTS)
validator = jsonschema.Draft202012Validator(json.loads(SCHEMA.read_text(encoding="utf-8")))
validator.check_schema(validator.schema)
native, cloud = Receiver.received.values()
for message, event, envelope, seen in zip(native, EVENTS, cloud, accepted(cloud), strict=True):
    assert message["headers"]["content-type"] == "application/json; charset=utf-8", message
    document = json.loads(message["body"])
    validator.validate(document)
    for name, value in event.items():
        expected = {"nan": None, "-inf": None, "1e300": 1e300}.get(value, value)
        assert document.get(name) == expected or name == "severity", (name, document)

    assert envelope["body"].endswith(f',"data":{message["body"]}}}'), envelope
    # The implementation keeps milliseconds of the time.
    assert seen.pop("time")[:23] == json.loads(envelope["body"])["time"][:23], (seen, envelope)
    kind = event.get("event_type", "event")
    assert seen == {"specversion": "1.0", "id": str(document["event_id"]), "source": "/plant/1",
                    "type": kind, "subject": "cam/" + event.get("source_id", kind),
                    "datacontenttype": "application/json", "data_type": "object",
                    "message": event["message"]}, seen
