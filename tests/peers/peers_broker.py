"""CloudEvents into an MQTT broker as docs/webhook.md shows it: its configuration, its Node-RED flow (an npm
package, below build/npm), Mosquitto."""
import contextlib
import json
import pathlib
import socket
import tempfile

import peers

MOSQUITTO = peers.need("mosquitto", "mosquitto_sub", "node")
NODE_RED = peers.DOCS.parent / "build/npm/node_modules/.bin/node-red"
if not NODE_RED.exists():
    raise SystemExit(77)

with tempfile.TemporaryDirectory() as directory, contextlib.ExitStack() as stop:
    http, mqtt = (str(peers.free_port(socket.SOCK_STREAM)) for _ in range(2))

    def start(name, *command):
        """Returns a function that waits for that text in what the program prints."""
        log = pathlib.Path(directory, name + ".log")
        stop.enter_context(peers.running(command, stdout=stop.enter_context(log.open("w"))))
        return lambda text: peers.wait_for(lambda: text in log.read_text() and log.read_text(), text)

    flow = pathlib.Path(directory, "flow.json")
    flow.write_text(peers.documented("webhook.md", "json").replace("1883", mqtt))
    start("broker", MOSQUITTO, "-p", mqtt)
    router = start("router", NODE_RED, "--userDir", directory, "--port", http, "-D", "uiHost=127.0.0.1", flow)
    router("Connected to broker")
    subscriber = start("subscriber", "stdbuf", "-oL", "mosquitto_sub", "-p", mqtt, "-t", "zvevent/#", "-v", "-d")
    subscriber("Subscribed")
    peers.emit(directory, peers.documented("webhook.md", "xml").replace("1880", http), [
        {"event_type": kind, "message": "größer", "severity": 2} for kind in ("temperature", "fan")])
    for kind in ("temperature", "fan"):
        line = next(line for line in subscriber(f"zvevent/{kind} ").splitlines()
                    if line.startswith(f"zvevent/{kind} "))
        document = json.loads(line.split(" ", 1)[1])
        assert (document["event_type"], document["message"]) == (kind, "größer"), line
