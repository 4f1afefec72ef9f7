"""Webhook posts over TLS to nginx, which ends a connection after some requests, as it does in
service. Nothing is posted to it under another authority than that of ca_file."""
import json
import os
import pathlib
import sys
import tempfile

import peers

sys.path.append(str(pathlib.Path(__file__).parents[1] / "http"))
from http_tools import make_certificates  # noqa: E402

NGINX = peers.need("nginx", "openssl")
PER_CONNECTION = 50
CONFIGURATION = """daemon off; master_process off; pid nginx.pid; error_log error.log;
events {{}}
http {{
    log_format posts escape=none '$connection $request_body';
    client_body_temp_path body; proxy_temp_path proxy; fastcgi_temp_path f; uwsgi_temp_path u; scgi_temp_path s;
    server {{
        listen 127.0.0.1:{port} ssl;
        ssl_certificate signed.pem; ssl_certificate_key signed.key;
        keepalive_requests {per_connection};
        access_log posts.log posts;
        location / {{ proxy_pass http://127.0.0.1:{port_behind}; }}
    }}
    server {{ listen 127.0.0.1:{port_behind}; access_log off; location / {{ return 204; }} }}
}}"""


def posts(directory):
    lines = (directory / "posts.log").read_text().splitlines()
    return [(int(connection), json.loads(body)["message"]) for connection, _, body in
            (line.partition(" ") for line in lines)]


with tempfile.TemporaryDirectory() as folder:
    directory = pathlib.Path(folder)
    make_certificates(folder)
    port, behind = (peers.free_port(peers.socket.SOCK_STREAM) for _ in range(2))
    (directory / "nginx.conf").write_text(CONFIGURATION.format(
        port=port, port_behind=behind, per_connection=PER_CONNECTION))
    prefix = os.environ.get("ZVEVENT_PATH_PREFIX", "") + folder
    with peers.running([NGINX, "-p", folder, "-e", "error.log", "-c", "nginx.conf"]):
        peers.wait_for(lambda: not peers.socket.socket().connect_ex(("127.0.0.1", port)), "nginx")
        for authority, arriving in (("lonely", 0), ("ca", 4 * PER_CONNECTION)):
            hook = {"endpoint_url": f"https://localhost:{port}/", "retry_count": 0,
                    "ca_file": f"{prefix}/{authority}.pem"}
            events = [{"message": f"post {i}", "source_id": "s"} for i in range(arriving or 1)]
            peers.emit(folder, peers.config(webhook__http=hook), events)
            peers.wait_for(lambda: len(posts(directory)) == arriving, f"{arriving} posts")
    seen = posts(directory)
    assert [message for _, message in seen] == [f"post {i}" for i in range(4 * PER_CONNECTION)]
    assert len({connection for connection, _ in seen}) == 4
