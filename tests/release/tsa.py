#!/usr/bin/env python3
"""tsa.py DIR: a time-stamp authority on loopback, answering RFC 3161 requests with `openssl ts`
signed by DIR/timeStamping.{pem,key}. Writes its port to DIR/tsa.port; ends after some 300 s, so a
test killed before its cleanup leaves nothing listening for long."""
import http.server, os, subprocess, sys

folder = sys.argv[1]
config = os.path.join(folder, 'tsa.cnf')
with open(config, 'w') as out:
    out.write(f'[tsa]\ndefault_tsa = test\n[test]\nserial = {folder}/tsa.serial\ndefault_policy = 1.2.3.4.1\n'
              'digests = sha256\nsigner_digest = sha256\ness_cert_id_alg = sha256\n')


class Handler(http.server.BaseHTTPRequestHandler):
    timeout = 10

    def do_POST(self):
        reply = subprocess.run(['openssl', 'ts', '-reply', '-config', config, '-queryfile', '/dev/stdin', '-signer',
                                f'{folder}/timeStamping.pem', '-inkey', f'{folder}/timeStamping.key', '-out', '/dev/stdout'],
                               input=self.rfile.read(int(self.headers['Content-Length'])), capture_output=True, timeout=30)
        self.send_response(200 if reply.returncode == 0 else 500)
        self.send_header('Content-Type', 'application/timestamp-reply')
        self.send_header('Content-Length', str(len(reply.stdout)))
        self.end_headers()
        self.wfile.write(reply.stdout)


server = http.server.HTTPServer(('127.0.0.1', 0), Handler)
server.timeout = 1
with open(os.path.join(folder, 'tsa.port.part'), 'w') as out:
    out.write(str(server.server_port))
os.rename(os.path.join(folder, 'tsa.port.part'), os.path.join(folder, 'tsa.port'))  # never half a number
for _ in range(300):
    server.handle_request()
