#!/usr/bin/env python3
"""The testbed's backend, an HTTP server on 127.0.0.1 that stands in for the management
backend; tests/testbed/README.md lists its answers. Started by backend.sh as
backend.py PORT_FILE FILES_FOLDER: it writes its port to PORT_FILE once it listens."""
import json
import os
import sys
import threading
import time
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

RECORDED = {}
LOCK = threading.Lock()
FILES = None


class Handler(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def log_message(self, *args):
        pass

    def send(self, status, body=b"", content_type="application/json", extra=None):
        self.send_response(status)
        for name, value in (extra or {}).items():
            self.send_header(name, value)
        if status != 204:
            self.send_header("Content-Type", content_type)
            self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        if status != 204:
            self.wfile.write(body)

    def record(self):
        parts = self.path.strip("/").split("/")
        length = int(self.headers.get("Content-Length") or 0)
        body = self.rfile.read(length).decode("utf-8", "replace") if length else ""
        with LOCK:
            RECORDED.setdefault(parts[0], []).append({
                "method": self.command,
                "path": self.path,
                "headers": dict(self.headers.items()),
                "body": body,
            })
        return parts

    def do_DELETE(self):
        parts = self.record()
        if len(parts) != 3 or parts[2] != "install_invites":
            return self.send(404, b'{"error": "not found"}')
        token = self.headers.get("X-Invite-Token", "")
        accept = (200, json.dumps({"token": token, "agent": "registered"}).encode())
        answers = {
            "accept": accept,
            "gone": (410, b'{"token": "' + token.encode() + b'", "error": "invite expired"}'),
            "error": (503, b'{"error": "unavailable"}'),
            "other": (200, b'{"token": "another-token"}'),
            "empty": (204,),
            "moved": (301, b"", "application/json", {"Location": "/elsewhere"}),
            # A proxy's own page, in Latin-1, that echoes the token.
            "proxy": (502, b"Passerelle indisponible, caf\xe9 " + token.encode(), "text/html"),
        }
        if parts[1] == "slow":
            time.sleep(3)
            answers["slow"] = accept
        self.send(*answers.get(parts[1], (400, b'{"error": "unknown answer"}')))

    def do_GET(self):
        parts = self.path.strip("/").split("/")
        if len(parts) == 2 and parts[1] == "requests":
            with LOCK:
                body = json.dumps(RECORDED.get(parts[0], [])).encode()
            return self.send(200, body)
        if len(parts) == 2 and parts[0] == "files":
            path = os.path.join(FILES, os.path.basename(parts[1]))
            if os.path.isfile(path):
                with open(path, "rb") as f:
                    return self.send(200, f.read(), "application/octet-stream")
        self.record()
        self.send(404, b'{"error": "not found"}')


def main():
    global FILES
    port_file, FILES = sys.argv[1:3]
    server = ThreadingHTTPServer(("127.0.0.1", 0), Handler)
    with open(port_file + ".tmp", "w") as f:
        f.write(str(server.server_address[1]))
    os.replace(port_file + ".tmp", port_file)
    server.serve_forever()


if __name__ == "__main__":
    sys.exit(main())
