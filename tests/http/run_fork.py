"""A host that forks, in Python: a child has connections of its own, and no program that the host
starts inherits one.

    run_fork.py LIBRARY
"""
import ctypes
import os
import pathlib
import socket
import sys
import tempfile

from http_tools import OK, Server, answering

CONFIG = """<c><key name="QRV"><key name="Events"><key name="sink">
<key name="native"><key name="main"><value name="enabled">0</value></key></key>
<key name="webhook"><key name="http"><key name="main"><value name="enabled">1</value>
<value name="endpoint_url">{}</value></key></key></key></key></key></key></c>"""

library = ctypes.CDLL(sys.argv[1])
server = Server(answering(OK))
with tempfile.TemporaryDirectory() as directory:
    path = pathlib.Path(directory, "events.xml")
    path.write_text(CONFIG.format(server.url()), encoding="ascii")

    def deliver():
        return (library.zvEventSubmitSimple(0, 1, b"fork", b"text") == 0
                and library.zvEventFlush(20000) == 0)

    def start():
        return library.zvEventInitialize(str(path).encode()) == 0 and deliver()

    assert start()
    child = os.fork()
    if child == 0:
        os._exit(0 if start() and deliver() else 1)
    assert os.waitpid(child, 0)[1] == 0
    assert deliver() and (server.connections, len(server.requests)) == (2, 4)

kept = 0
for descriptor in map(int, os.listdir("/proc/self/fd")):
    try:
        peer = socket.socket(fileno=os.dup(descriptor)).getpeername()
    except OSError:
        continue
    if peer[1:2] == server.listener.getsockname()[1:2]:
        assert not os.get_inheritable(descriptor)
        kept += 1
assert kept == 1
