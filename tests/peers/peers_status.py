"""The status file as its readers take it: the JSON Schema, and Prometheus' own check of metrics."""
import json
import os
import shutil
import subprocess
import sys
import tempfile

import jsonschema

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "../status"))
from status_host import PREFIX, Host  # noqa: E402

if shutil.which("promtool") is None:
    sys.exit(77)

with open(os.path.join(HERE, "../../docs/schema/zvevent-status.schema.json"), encoding="utf-8") as file:
    schema = json.load(file)
jsonschema.Draft202012Validator.check_schema(schema)
entry = ('<key name="snmp"><key name="trap"><key name="a &quot;b&quot; c"><value name="enabled">1</value>'
         '<value name="trap_oid">x</value></key></key></key>'
         '<key name="webhook"><key name="http"><key name="a"><value name="enabled">1</value>'
         '<value name="endpoint_url">http://127.0.0.1:1/</value>'
         f'<value name="outbox">{PREFIX}{tempfile.mkdtemp()}/{{pid}}</value></key></key></key>')
with Host(sinks=entry) as host:
    assert host.do("submit 2 3") == 0 and host.do("flush 500") != 0  # the outbox is not empty
    jsonschema.validate(host.status(), schema)
with Host(core='<value name="queue_sise">5</value>', sinks=entry, status="status.prom") as host:
    assert host.do("submit 2 3") == 0 and host.do("flush 500") != 0
    with open(os.path.join(host.folder, "status.prom"), encoding="utf-8") as file:
        metrics = file.read()
    lines = metrics.splitlines()
    for line in ("zvevent_events_received_total 2",
                 r'zvevent_config_unknown_key{key="QRV\\Events\\core\\queue_sise"} 1',
                 'zvevent_events_dropped_total{reason="full"} 0',
                 'zvevent_outbox_pending{output="webhook/http/a"} 2',
                 'zvevent_output_failed_total{output="snmp/trap/a \\"b\\" c"} 2'):
        assert line in lines, metrics
    judged = subprocess.run(["promtool", "check", "metrics"], input=metrics, text=True,
                            capture_output=True)
    assert judged.returncode == 0 and not judged.stdout + judged.stderr, judged
