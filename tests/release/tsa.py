#!/usr/bin/env python3
"""A time-stamp authority on loopback for the release test: answers each RFC 3161 request with
`openssl ts -reply`, signed by DIR/tsa.pem and DIR/tsa.key.

    tsa.py DIR      listens on a free port, writes it to DIR/tsa.port, and ends after 5 minutes
"""
import http.server
import os
import subprocess
import sys
import time

folder = sys.argv[1]
config = os.path.join(folder, 'tsa.cnf')
with open(config, 'w') as out:
    out.write(f'[tsa]\ndefault_tsa = test\n[test]\nserial = {folder}/tsa.serial\ndefault_policy = 1.2.3.4.1\n'
              'digests = sha256\nsigner_digest = sha256\ness_cert_id_alg = sha256\n')


class Handler(http.server.BaseHTTPRequestHandler):
    timeout = 10

    def do_POST(self):
        query = self.rfile.read(int(self.headers['Content-Length']))
        reply = subprocess.run(['openssl', 'ts', '-reply', '-config', config, '-queryfile', '/dev/stdin',
                                '-signer', f'{folder}/tsa.pem', '-inkey', f'{folder}/tsa.key', '-out', '/dev/stdout'],
                               input=query, capture_output=True, timeout=30)
        self.send_response(200 if reply.returncode == 0 else 500)
        self.send_header('Content-Type', 'application/timestamp-reply')
        self.send_header('Content-Length', str(len(reply.stdout)))
        self.end_headers()
        self.wfile.write(reply.stdout)


server = http.server.HTTPServer(('127.0.0.1', 0), Handler)
server.timeout = 1
# Renamed into place, so the test never reads half a port number.
with open(os.path.join(folder, 'tsa.port.part'), 'w') as out:
    out.write(str(server.server_port))
os.rename(os.path.join(folder, 'tsa.port.part'), os.path.join(folder, 'tsa.port'))
# Ends by itself, so a test killed before its trap ran leaves nothing listening for long.
deadline = time.monotonic() + 300
while time.monotonic() < deadline:
    server.handle_request()
