"""zvevent init and zvevent check, as someone at a prompt uses them; the tool's command is the program's
arguments."""
import json
import os
import re
import subprocess
import sys
import tempfile
import unittest

TOOL = sys.argv[1:]
ON_WINDOWS = TOOL[-1].endswith(".exe")
PROJECT = os.path.dirname(os.path.abspath(__file__)) + "/../../"


def value(name, text):
    return f'<value name="{name}">{text}</value>'


def keys(path, body):
    for name in reversed(path.split("\\")):
        body = f'<key name="{name}">{body}</key>'
    return body


def output(path, *values):
    return keys("sink\\" + path, value("enabled", 1) + "".join(values))


# What is below QRV\Events, and what is found: level, where below it, and a word of what is said.
CASES = [
    ("", []),
    (keys("core", value("queue_size", "5k")), [("warning", "core\\queue_size", "1024")]),
    (keys("core", value("enabled", 1) + value("enabled", 0)) + keys("core", value("enabled", 0)),
     [("warning", "core", "first"), ("warning", "core\\enabled", "first")]),
    (keys("core", value("queue_size", "0")), [("error", "core\\queue_size", "zero")]),
    (keys("core", value("enabled", "maybe") + value("drop_policy", "oldest")),
     [("error", "core\\enabled", "boolean"), ("error", "core\\drop_policy", "policy")]),
    (keys("state", value("send_clear", "x")), [("error", "state\\send_clear", "boolean")]),
    (keys("sink\\native\\main", value("katekori", "") + value("no", "")) + keys("sinks", ""),
     [("warning", "sink\\native\\main\\katekori", '"category"'),
      ("warning", "sink\\native\\main\\no", "nothing reads this"), ("warning", "sinks", '"sink"')]),
    (keys("core\\enabled", ""), [("warning", "core\\enabled", "nothing reads this")]),
    (keys("sink\\csv", keys("a", value("path", "x" * 2048)) + keys("b", value("path", "x" * 2047))),
     [("warning", "sink\\csv\\a\\path", "2047")]),
    (output("csv\\a", value("path", "")), [("error", "sink\\csv\\a", "path is empty")]),
    (output("cloudevents\\http\\a"), [("error", "sink\\cloudevents\\http\\a", "endpoint_url")]),
    (output("webhook\\http\\a", value("endpoint_url", "HTTP://h"), value("payload_mode", "json")),
     [("error", "sink\\webhook\\http\\a", "payload_mode")]),
    (output("syslog\\udp\\a", value("facility", "locl1")),
     [("warning", "sink\\syslog\\udp\\a\\facility", "local0")]),
    (output("syslog\\udp\\a", value("port", 65535)), []),
    (output("syslog\\udp\\a", value("port", 65536)),
     [("error", "sink\\syslog\\udp\\a\\port", "65536")]),
    (output("snmp\\trap\\a", value("version", "V2C"), value("trap_oid", "1.x")),
     [("warning", "sink\\snmp\\trap\\a\\trap_oid", '"1.x"')]),
    (output("snmp\\trap\\a", value("version", "3")), [("error", "sink\\snmp\\trap\\a", "SNMPv3")]),
]


class ConfigTool(unittest.TestCase):
    def setUp(self):
        self.folder = self.enterContext(tempfile.TemporaryDirectory())
        self.path = os.path.join(self.folder, "a.xml")

    def run_tool(self, *arguments):
        return subprocess.run([*TOOL, *arguments], cwd=self.folder, capture_output=True,
                              encoding="utf-8", timeout=60, stdin=subprocess.DEVNULL)

    def read(self):
        with open(self.path, "rb") as file:
            return file.read(), os.stat(self.path).st_mtime_ns

    def write(self, body, mode=0o640):
        with open(self.path, "w", encoding="utf-8") as file:
            file.write("<zvCFG>" + keys("QRV\\Events", body) + "</zvCFG>")
        os.chmod(self.path, mode)

    def check(self):
        """Whether the exit code says that all is well, and the findings; the file stays as it is."""
        before = self.read()
        done = self.run_tool("check", "--json", "a.xml")
        self.assertEqual(self.read(), before)
        found = json.loads(done.stdout)
        self.assertEqual(done.returncode, 1 if found["findings"] else 0)
        return found

    def starts(self):
        """Whether the library starts with the file. The event is below what reaches an output."""
        return self.run_tool("send", "--config", "a.xml", "--severity", "debug", "--message",
                             "x").returncode == 0

    def test_what_init_writes_is_complete_and_clean(self):
        self.assertEqual(self.run_tool("init", "a.xml").returncode, 0)
        written = self.read()
        found = self.check()
        self.assertEqual(found["findings"], [])
        if not ON_WINDOWS:
            self.assertEqual(os.stat(self.path).st_mode & 0o777, 0o600)
        for setting in found["settings"]:
            self.assertEqual(setting["from"], "file" if setting["in_force"] else "default")
        self.assertTrue(self.starts())
        self.assertEqual(self.read(), written)
        self.assertEqual(self.run_tool("init", "a.xml").returncode, 1)
        self.assertEqual(self.read(), written)
        self.assertEqual(self.run_tool("init").returncode, 2)

    def test_what_check_finds(self):
        for body, expected in CASES:
            with self.subTest(body=body[:200]):
                self.write(body)
                findings = self.check()["findings"]
                self.assertEqual([(f["level"], f["where"]) for f in findings],
                                 [(level, "QRV\\Events\\" + where) for level, where, _ in expected])
                for finding, (_, _, word) in zip(findings, expected):
                    self.assertIn(word, finding["what"])
                self.assertEqual(self.starts(), "error" not in [level for level, _, _ in expected])

    def test_what_is_no_configuration(self):
        self.assertEqual(self.run_tool("check", "a.xml").returncode, 1)
        for text, *expected in [("<a>\n  <b></a>", ("error", "line 2, column 8")),
                                ("<a/>", ("warning", "QRV\\Events")), ("",)]:
            with open(self.path, "w") as file:
                file.write(text)
            found = self.check()["findings"]
            self.assertEqual([(f["level"], f["where"]) for f in found], expected)

    def test_secrets_are_not_shown_and_not_for_everyone(self):
        secret = keys("sink\\webhook\\http\\a", value("bearer_token", "open sesame\x7f"))
        for mode, expected in [(0o640, 0), (0o644, 0 if ON_WINDOWS else 1)]:
            self.write(secret, mode)
            self.assertEqual(len(self.check()["findings"]), expected)
            for option in ["--quiet", "--json"]:
                self.assertNotIn("sesame", self.run_tool("check", "a.xml", option).stdout)
            self.assertIn("(secret)", self.run_tool("check", "a.xml").stdout)

    @unittest.skipIf(ON_WINDOWS, "the same there, and no bash")
    def test_man_page_and_completion_know_what_help_knows(self):
        def listed(*words):
            text = self.run_tool(*words, "--help").stdout
            return set(re.findall(r"^  (?:-\w,)?(--[a-z-]+|[a-z]+(?=  ))", text, re.M))

        def completed(*words):
            script = ('. "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _zvevent "$1";'
                      'printf "%s\n" "${COMPREPLY[@]}"')
            done = subprocess.run(["bash", "-c", script, "-", PROJECT + "tools/zvevent/completion.bash",
                                   *TOOL, *words], capture_output=True, encoding="utf-8")
            return set(done.stdout.split()) - {"-h"}

        with open(PROJECT + "docs/man/zvevent.1", encoding="utf-8") as file:
            sections = dict(re.findall(r"^\.Ss (\w+)\n(.*?)(?=^\.S[sh] )", file.read(), re.M | re.S))
        self.assertEqual({"--help", "--version", *sections}, listed())
        self.assertEqual(completed(""), listed())
        for name, section in sections.items():
            items = "".join(re.findall(r"^\.It .*", section, re.M))
            described = {"-" + flag for flag in re.findall(r"Fl (-[a-z-]+)", items)}
            self.assertEqual(described | {"--help"}, listed(name))
            self.assertEqual(completed(name, "-"), listed(name))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
