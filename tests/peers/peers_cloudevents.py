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
     "source_name": "Power supply 1", "severity": 3, "action": "raise", "dedupe_key": "k",
     "correlation_id": "c-7", "utc_ns": 2**64 - 1, "ptp_ns": 2**64 - 1, "pts": -2**63,
     "timecode": "10:00:00:12", "value": "75.3", "threshold": "1e300", "units": "°C",
     "duration_ms": 2**64 - 1, "details_json": '{"fan":"ok"}'},
    {"message": bytes(range(1, 128)) + "é€𝄞".encode(), "event_type": 'a"b\\c', "source_id": "\x01",
     "utc_ns": 1, "value": "nan", "threshold": "-inf", "details_json": ""},
]


class Receiver(http.server.BaseHTTPRequestHandler):
    received = []

    def do_POST(self):
        body = self.rfile.read(int(self.headers["Content-Length"])).decode()
        headers = {name.lower(): value for name, value in self.headers.items()}
        self.received.append({"path": self.path, "headers": headers, "body": body})
        self.send_response(204)
        self.end_headers()

    def log_message(self, *_):
        pass


def posted():
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Receiver)
    thread = threading.Thread(target=server.serve_forever)
    thread.start()
    url = f"http://127.0.0.1:{server.server_port}"
    try:
        with tempfile.TemporaryDirectory() as directory:
            peers.emit(directory, peers.config(
                webhook__http={"endpoint_url": url + "/native"},
                cloudevents__http={"endpoint_url": url + "/cloud", "source": "/plant/1",
                                   "subject_prefix": "cam/"}), EVENTS)
    finally:
        server.shutdown()
        thread.join()
        server.server_close()
    return [[message for message in Receiver.received if message["path"] == path]
            for path in ("/native", "/cloud")]


def check_document(message, event, validator):
    document = json.loads(message["body"])
    validator.validate(document)
    assert message["headers"]["content-type"] == "application/json; charset=utf-8", message
    text = event["message"]
    assert document["message"] == (text if isinstance(text, str) else text.decode()), document
    for name in ("event_id", "utc_ns", "ptp_ns", "pts", "duration_ms"):
        assert document[name] == event.get(name, document[name]), (name, document)
    if event.get("value") == "nan":
        assert document["value"] is None and document["threshold"] is None, document
    elif "value" in event:
        assert document["value"] == float(event["value"]), document


def check_envelopes(messages):
    broken = {**messages[0], "body": messages[0]["body"].replace('"source":', '"Source":')}
    accept = ["node", ROOT / "tests/peers/cloudevents/accept.cjs", PACKAGES]
    done = subprocess.run(accept, input=json.dumps(messages + [broken]).encode(), check=True,
                          stdout=subprocess.PIPE)
    *answers, refused = json.loads(done.stdout)
    assert "error" in refused, refused
    for message, event, seen in zip(messages, EVENTS, answers, strict=True):
        envelope = json.loads(message["body"])
        assert "error" not in seen, (seen, message)
        assert seen.pop("data_type") == "object", seen
        assert seen.pop("message") == envelope["data"]["message"], seen
        kind = event.get("event_type", "event")
        # The implementation keeps milliseconds of the time.
        assert seen.pop("time")[:23] == envelope["time"][:23], (seen, envelope["time"])
        assert seen == {"specversion": "1.0", "id": str(envelope["data"]["event_id"]),
                        "source": "/plant/1", "type": kind,
                        "subject": "cam/" + (event.get("source_id") or kind),
                        "datacontenttype": "application/json"}, seen


def main():
    native, cloud = posted()
    validator = jsonschema.Draft202012Validator(json.loads(SCHEMA.read_text(encoding="utf-8")))
    validator.check_schema(validator.schema)
    for message, event, envelope in zip(native, EVENTS, cloud, strict=True):
        check_document(message, event, validator)
        assert envelope["body"].endswith(f',"data":{message["body"]}}}'), envelope
    check_envelopes(cloud)


if __name__ == "__main__":
    main()
