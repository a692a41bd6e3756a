#!/usr/bin/env python3
"""The testbed's backend: a small HTTP server on 127.0.0.1 that stands in for the
management backend. It prints "port N" once it listens, or writes N to --port-file.

The first path element is a name the test chooses for its case; the second says how the
invite request is answered:

  DELETE /<case>/<answer>/install_invites
      accept     200 {"token": <the X-Invite-Token sent>}
      slow       as accept, after 3 seconds
      gone       410 with a body
      error      503
      other      200 {"token": "another-token"}
      empty      204, no body
      moved      301 to /elsewhere
      proxy      502, a proxy's page in Latin-1 that echoes the token

  GET /<case>/requests      the requests recorded for <case>, as a JSON list of
                            {"method", "path", "headers"}
  GET /files/<name>         the file <name> from the --files folder
"""
import argparse
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
        if status not in (204, 304):
            self.send_header("Content-Type", content_type)
            self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        if body and status not in (204, 304):
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
        answer = parts[1]
        token = self.headers.get("X-Invite-Token", "")
        if answer == "slow":
            time.sleep(3)
            answer = "accept"
        if answer == "accept":
            self.send(200, json.dumps({"token": token, "agent": "registered"}).encode())
        elif answer == "gone":
            self.send(410, b'{"token": "' + token.encode() + b'", "error": "invite expired"}')
        elif answer == "error":
            self.send(503, b'{"error": "unavailable"}')
        elif answer == "other":
            self.send(200, b'{"token": "another-token"}')
        elif answer == "empty":
            self.send(204)
        elif answer == "proxy":
            self.send(502, b"Passerelle indisponible, caf\xe9 " + token.encode(), "text/html")
        elif answer == "moved":
            self.send(301, b"", extra={"Location": "/elsewhere"})
        else:
            self.send(400, b'{"error": "unknown answer"}')

    def do_GET(self):
        parts = self.path.strip("/").split("/")
        if len(parts) == 2 and parts[1] == "requests":
            with LOCK:
                body = json.dumps(RECORDED.get(parts[0], [])).encode()
            return self.send(200, body)
        if len(parts) == 2 and parts[0] == "files" and FILES:
            path = os.path.join(FILES, os.path.basename(parts[1]))
            if os.path.isfile(path):
                with open(path, "rb") as f:
                    return self.send(200, f.read(), "application/octet-stream")
        self.record()
        self.send(404, b'{"error": "not found"}')


def main():
    global FILES
    parser = argparse.ArgumentParser()
    parser.add_argument("--port-file")
    parser.add_argument("--files")
    args = parser.parse_args()
    FILES = args.files
    server = ThreadingHTTPServer(("127.0.0.1", 0), Handler)
    port = server.server_address[1]
    if args.port_file:
        with open(args.port_file + ".tmp", "w") as f:
            f.write(str(port))
        os.replace(args.port_file + ".tmp", args.port_file)
    print(f"port {port}", flush=True)
    server.serve_forever()


if __name__ == "__main__":
    sys.exit(main())
