"""The output to the system's logger against a real rsyslogd on a socket of this test's own, through
a burst and through the logger's restart."""
import os
import re
import shutil
import subprocess
import sys
import tempfile

import peers

RSYSLOGD = shutil.which("rsyslogd", path=os.environ["PATH"] + ":/usr/sbin")
EMIT = os.environ.get("ZVEVENT_EMIT_NATIVE")  # not on Windows
if RSYSLOGD is None or EMIT is None:
    sys.exit(77)

CONFIG = """module(load="imuxsock" SysSock.Use="off")
input(type="imuxsock" Socket="{socket}" RateLimit.Interval="0")
global(parser.escapeControlCharactersOnReceive="on")
template(name="fields" type="string" string=
  "%syslogfacility-text%|%syslogseverity-text%|%programname%|%procid%|%msg:2:$%\\n")
action(type="omfile" file="{log}" template="fields")
"""
LEVELS = ["debug", "info", "warning", "err"]
NAMES = ["debug", "info", "warning", "error"]
BURST = 1000
MESSAGES = ["Too hot: 81 °C, 温度", 'say "hi" %1 \\', "line\nfeed", "[a]: b"]
EVENTS = [{"event_id": 10 + severity, "severity": severity, "event_type": "t", "source_id": "s",
           "source_name": "Power supply 1", "action": "raise", "message": message}
          for severity, message in enumerate(MESSAGES)]
BURST_EVENTS = [{"event_id": 100 + n, "severity": 1, "source_id": "s", "message": f"number {n}"}
                for n in range(BURST)]


def main():
    with tempfile.TemporaryDirectory() as directory:
        socket = os.path.join(directory, "log")
        log = os.path.join(directory, "messages")
        rsyslog_config = os.path.join(directory, "rsyslog.conf")
        with open(rsyslog_config, "w", encoding="utf-8") as file:
            file.write(CONFIG.format(socket=socket, log=log))
        config = os.path.join(directory, "events.xml")
        with open(config, "w", encoding="utf-8") as file:
            file.write(peers.config(native={"source_name": "My App", "facility": "daemon"}))

        def rsyslogd():
            return peers.running([RSYSLOGD, "-n", "-f", rsyslog_config,
                                  "-i", os.path.join(directory, "pid")])

        def wait_for_lines(count):
            def found():
                if not os.path.exists(log):
                    return None
                with open(log, encoding="utf-8") as file:
                    lines = file.read().splitlines()
                return lines if len(lines) >= count else None
            return peers.wait_for(found, f"{count} lines of the log")

        stderr = os.path.join(directory, "stderr")
        with open(stderr, "wb") as errors:
            emitter = subprocess.Popen([EMIT, config], stdin=subprocess.PIPE, stderr=errors,
                                       env={**os.environ, "ZVEVENT_LOGGER": socket})

            def emit(events):
                emitter.stdin.write(peers.lines(events))
                emitter.stdin.flush()

            def fallbacks():
                with open(stderr, encoding="utf-8") as file:
                    return file.read().splitlines()

            try:
                with rsyslogd():
                    peers.wait_for(lambda: os.path.exists(socket), "rsyslogd")
                    emit(EVENTS)
                    wait_for_lines(len(EVENTS))
                    emit(BURST_EVENTS)
                    wait_for_lines(len(EVENTS) + BURST)
                    assert not fallbacks()
                emit(EVENTS[:1])
                peers.wait_for(fallbacks, "the fallback")
                with rsyslogd():
                    peers.wait_for(lambda: os.path.exists(socket), "rsyslogd")
                    emit(EVENTS[1:2])
                    lines = wait_for_lines(len(EVENTS) + BURST + 1)
                emitter.stdin.close()
                assert emitter.wait(peers.DEADLINE_S) == 0
            finally:
                emitter.kill()
                emitter.wait()
            left = fallbacks()

    def text(event):
        message = event["message"].replace("\n", "#012")
        return (f'zvEvent event_id={event["event_id"]} severity={NAMES[event["severity"]]} '
                f'action=raise event_type=t source_id=s source_name=Power supply 1 '
                f'native_source=My App message="{message}"')

    def expected(event):
        return f'daemon|{LEVELS[event["severity"]]}|My_App|{emitter.pid}|{text(event)}'

    assert len(lines) == len(EVENTS) + BURST + 1, len(lines)
    for event, line in zip(EVENTS + EVENTS[1:2], lines[:len(EVENTS)] + lines[-1:], strict=True):
        assert line == expected(event), line
    numbers = [int(re.search(r'number (\d+)"', line)[1]) for line in lines[len(EVENTS):-1]]
    assert numbers == list(range(BURST)), numbers
    assert left == ["zvEvent native Windows Event Log fallback: source 'My App' is not registered | "
                    + text(EVENTS[0])], left


main()
