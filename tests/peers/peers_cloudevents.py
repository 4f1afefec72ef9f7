"""What the webhook output posts, judged by others: the document by a JSON Schema validator, the
envelopes by an implementation of CloudEvents (an npm package, below build/npm)."""
import json
import subprocess
import sys
import tempfile

import peers

PACKAGES = peers.DOCS.parent / "build/npm"
SCHEMA = json.loads((peers.DOCS / "schema/zvevent-event.schema.json").read_text(encoding="utf-8"))
# Prints the attributes of every message's event; ends at one that is wrong.
JUDGE = """const { HTTP } = require("cloudevents");
console.log(JSON.stringify(JSON.parse(require("fs").readFileSync(0, "utf8")).map((message) => {
    const event = HTTP.toEvent(message);
    event.validate();
    const { data, ...attributes } = event.toJSON();
    return { ...attributes, data_type: typeof data, message: data.message };
})));"""

try:
    import jsonschema
except ImportError:
    sys.exit(77)
peers.need("node")
if not (PACKAGES / "node_modules/cloudevents").is_dir():
    sys.exit(77)

EVENTS = [
    {"message": "plain"},
    {"message": "full", "event_id": 2**64 - 1, "event_type": "temperature", "source_id": "psu-1",
     "utc_ns": 2**64 - 1, "ptp_ns": 2**64 - 1, "pts": -2**63, "value": 75.3, "threshold": 1e300,
     "units": "°C", "duration_ms": 2**64 - 1, "details_json": '{"fan":1}'},
    {"message": bytes(range(1, 128)).decode() + "é€𝄞", "event_type": 'a"b\\c', "source_id": "\x01",
     "utc_ns": 1, "value": "nan", "threshold": "-inf"},
]

with tempfile.TemporaryDirectory() as directory, peers.listening("http") as listener:
    address = f"127.0.0.1:{listener.ports['http']}"
    peers.emit(directory, peers.config(
        webhook__http={"endpoint_url": f"http://{address}/native"},
        cloudevents__http={"endpoint_url": f"http://{address}/cloud", "source": "/plant/1",
                           "subject_prefix": "cam/"}), EVENTS)
    messages = listener.wait(2 * len(EVENTS))
native, cloud = ([{"headers": m["headers"], "body": m["raw"]} for m in messages if m["path"] == path]
                 for path in ("/native", "/cloud"))
judged = subprocess.run(["node", "-e", JUDGE], input=json.dumps(cloud).encode(),
                        cwd=PACKAGES, check=True, stdout=subprocess.PIPE)
for message, event, envelope, seen in zip(native, EVENTS, cloud, json.loads(judged.stdout), strict=True):
    assert message["headers"]["content-type"] == "application/json; charset=utf-8", message
    document = json.loads(message["body"])
    jsonschema.validate(document, SCHEMA, jsonschema.Draft202012Validator)
    for name, value in event.items():
        assert document[name] == (None if value in ("nan", "-inf") else value), (name, document)

    assert envelope["body"].endswith(f',"data":{message["body"]}}}'), envelope
    # The implementation keeps milliseconds of the time.
    assert seen.pop("time")[:23] == json.loads(envelope["body"])["time"][:23], (seen, envelope)
    kind = event.get("event_type", "event")
    assert seen == {"specversion": "1.0", "id": str(document["event_id"]), "source": "/plant/1",
                    "type": kind, "subject": "cam/" + event.get("source_id", kind),
                    "datacontenttype": "application/json", "data_type": "object",
                    "message": event["message"]}, seen
