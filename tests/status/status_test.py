"""What an operator sees of losses that no call tells of: the status file and the library's reports about
itself, of a real process.    status_test.py COMMAND...
"""
import json
import os
import threading
import time

from status_host import PREFIX, Host


def sink(*keys, **values):
    body = "".join(f'<value name="{name}">{value}</value>' for name, value in values.items())
    for key in reversed(keys):
        body = f'<key name="{key}">{body}</key>'
    return body


def output(status, name):
    return next(o for o in status["outputs"] if o["output"] == name)


# An output that fails: a dead port, a bad identifier. The others carry the report, and it does not recur.
for name, entry, text in (
        ("webhook/http/default", sink("webhook", "http", "default", enabled=1, endpoint_url="http://127.0.0.1:1/x"),
         "zvEvent webhook POST failed: http://127.0.0.1:1/x"),
        ("snmp/trap/default", sink("snmp", "trap", "default", enabled=1, trap_oid="1.3..6"),
         "Invalid SNMP trap_oid: 1.3..6")):
    with Host(sinks=entry) as host:
        assert host.do("submit 3 3") == host.do("flush 30000") == 0
        host.soon(lambda s: output(s, name)["failed"] == 3 and output(s, name)["last_error"] == text)
        raised = host.reported("raise", "zvevent.output", name)
        assert raised[3] == "2" and text in raised[4] and json.loads(raised[5])["failed"] == 3
        host.soon(lambda s: output(s, "callbacks")["delivered"] == 4 and output(s, "callbacks")["last_delivered_at"])
        assert len(host.reports) == 1 and host.do("shutdown") == 0
        last = host.status()
        assert not last["initialized"] and output(last, name)["failed"] == 3, last

# Every output fails: nothing recurs.
with Host(core='<value name="minimum_severity">warning</value>',
          sinks=sink("snmp", "trap", "a", enabled=1, trap_oid="x") +
          sink("webhook", "http", "b", enabled=1, endpoint_url="http://127.0.0.1:1/")) as host:
    host.do("submit 1 3")
    for name in ("snmp/trap/a", "webhook/http/b"):
        host.reported("raise", "zvevent.output", name)
    host.soon(lambda s: output(s, "callbacks")["delivered"] == 3)
    time.sleep(2.5)  # two more looks
    assert host.status()["events"]["received"] == 3 and len(host.reports) == 2, host.reports

# A misspelt section, a misspelt setting.
with Host(core='<value name="queue_sise">5</value>', sinks=sink("sylog", "udp", "default", enabled=1)) as host:
    keys = [r"QRV\Events\core\queue_sise", r"QRV\Events\sink\sylog"]
    host.soon(lambda s: s["config"]["unknown_keys"] == keys)
    assert all(key in host.reported("raise", "zvevent.config", PREFIX + host.path)[4] for key in keys)
    host.write(host.settings)
    assert host.do("reload") == 0
    host.soon(lambda s: s["config"]["unknown_keys"] == [] and s["config"]["reloads"] == 1)
    host.reported("clear", "zvevent.config", PREFIX + host.path)

# The master switch is off: only the status file can tell.
with Host(core='<value name="enabled">0</value>') as host:
    host.do("submit 7 3")
    host.soon(lambda s: not s["config"]["enabled"] and s["events"]["dropped"]["filtered"] == 7)

# A queue that drops, and drains again.
with Host(core='<value name="queue_size">10</value>') as host:
    host.do("hold")
    assert host.do("submit 1 3") == 0
    host.soon(lambda s: s["events"]["in_hand"] == 1)
    assert host.do("submit 5000 3") == 0
    host.soon(lambda s: s["events"]["dropped"]["full"] >= 4990 and s["queue"]["high_water"] == 10)
    host.do("release")
    host.reported("raise", "zvevent.queue", "queue")
    assert host.reported("clear", "zvevent.queue", "queue")[4].endswith("lost: 4990")

# Whatever happens at once, every file adds up (see Host.status).
with Host(core='<value name="queue_size">50</value>',
          sinks=sink("snmp", "trap", "a", enabled=1, trap_oid="x")) as host:
    counts, stop = set(), threading.Event()

    def read():
        while not stop.is_set():
            counts.add(host.status()["events"]["received"])

    reader = threading.Thread(target=read)
    reader.start()
    for _ in range(5):
        host.do("submit 20000 0")
        host.do("submit 20000 3")
        assert host.do("reload") == 0
        host.do("flush 30000")
    assert host.do("shutdown") == 0
    stop.set()
    reader.join()
    last = host.status()["events"]
    assert last["received"] == last["processed"] + sum(last["dropped"].values()) >= 200_000, last
    assert len(counts) >= 3, counts

# Watching: a half-written file is left alone, a bad one told, a good one applied.
with Host(core='<value name="watch_config">on</value>') as host:
    good = open(host.path).read()
    with open(host.path, "w") as file:
        file.write(good[:100])
    time.sleep(1.5)
    assert host.status()["config"]["reloads"] == 0
    host.write(host.settings + '<value name="watch_config">1</value><value name="queue_size">0</value>')
    host.soon(lambda s: s["config"]["last_error"] == "queue_size must be greater than zero")
    host.reported("raise", "zvevent.config", PREFIX + host.path)
    host.write(host.settings + '<value name="watch_config">1</value><value name="queue_size">77</value>')
    host.soon(lambda s: s["queue"]["capacity"] == 77 and s["config"]["last_error"] == "")
    host.reported("clear", "zvevent.config", PREFIX + host.path)
    assert host.status()["config"]["reloads"] == 1  # completing the file was no change
    # Another file in its place, and one as long and as old in that one's.
    age = os.stat(host.path)
    with open(host.path) as file:
        complete = file.read()
    for size in 78, 79:
        with open(host.path + ".new", "w") as new:
            new.write(complete.replace(">77<", f">{size}<"))
        os.utime(host.path + ".new", ns=(age.st_atime_ns, age.st_mtime_ns))
        os.replace(host.path + ".new", host.path)
        host.soon(lambda s: s["queue"]["capacity"] == size)
print("good")
