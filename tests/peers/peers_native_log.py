"""The output to the system's logger against a real rsyslogd on a socket of this test's own, and
without one."""
import os
import pathlib
import re
import tempfile

import peers

RSYSLOGD = peers.need("rsyslogd", os.environ.get("ZVEVENT_TOOL_NATIVE", "none on Windows"))
CONFIG = """module(load="imuxsock" SysSock.Use="off")
input(type="imuxsock" Socket="{0}/log" RateLimit.Interval="0")
global(parser.escapeControlCharactersOnReceive="on")
template(name="fields" type="string" string=
  "%syslogfacility-text%|%syslogseverity-text%|%programname%|%procid%|%msg:2:$%\\n")
action(type="omfile" file="{0}/messages" template="fields")
"""
LEVELS = ["debug", "info", "warning", "err"]
MESSAGES = ["Too hot: 81 °C, 温度", 'say "hi" %1 \\', "line\nfeed", "[a]: b"]
EVENTS = [{"event_id": 10 + n, "severity": n % 4, "event_type": "t", "source_id": "s",
           "source_name": "Power supply 1", "action": "raise", "message": message}
          for n, message in enumerate(MESSAGES + [f"number {n}" for n in range(1000)])]


def text(event):
    return (f'zvEvent event_id={event["event_id"]} severity={peers.SEVERITIES[event["severity"]]} '
            f'action=raise event_type=t source_id=s source_name=Power supply 1 '
            f'native_source=My App message="{event["message"]}"')


with tempfile.TemporaryDirectory() as directory:
    peers.TOOL[:] = [os.environ["ZVEVENT_TOOL_NATIVE"]]
    os.environ["ZVEVENT_LOGGER"] = directory + "/log"
    config = peers.config(native={"source_name": "My App", "facility": "daemon"})
    log = pathlib.Path(directory, "messages")
    rsyslog_config = pathlib.Path(directory, "rsyslog.conf")
    rsyslog_config.write_text(CONFIG.format(directory))
    with peers.running([RSYSLOGD, "-n", "-f", rsyslog_config, "-i", f"{directory}/pid"]):
        peers.wait_for(lambda: os.path.exists(directory + "/log"), "rsyslogd")
        assert peers.emit(directory, config, EVENTS) == ""
        peers.wait_for(lambda: log.exists() and log.read_text().count("\n") >= len(EVENTS), "lines")
    for event, line in zip(EVENTS, log.read_text().splitlines(), strict=True):
        fields = rf'daemon\|{LEVELS[event["severity"]]}\|My_App\|\d+\|'
        assert re.fullmatch(fields + re.escape(text(event).replace("\n", "#012")), line), line
    assert peers.emit(directory, config, EVENTS[:1]) == (
        "zvEvent native Windows Event Log fallback: source 'My App' is not registered | "
        + text(EVENTS[0]) + "\n")
