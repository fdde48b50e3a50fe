#!/usr/bin/env python3
"""Checks a live download server as the installer sees it.

    check_server.py http://HOST:8080 [--keys KEYS_FILE] [--edge HOST:PORT]...

Fetches /version.txt and /game.zip as the installer does (its user agent, redirects followed,
status 200 only, its timeouts) and checks what the installer checks, in its order: with --keys
the signature lines against those keys and the archive's size against the signed one, then the
archive's SHA-256 against the version file, and that the archive unpacks into a game. Prints
one line per check, "ok: " or "FAILED: ", stopping where the installer would stop, and last
whether an installer built with those keys (or without keys) would install what is served now:
exit 0 when it would, 1 otherwise.

Behind a CDN each edge caches on its own, so each is asked: every --edge, else every address
the host resolves to, with the server's own name in the request as a player's would have.
The answer is no when any of them would fail, and names it. The server's bytes are shown as
the installer's log shows them.
"""
import argparse
import hashlib
import http.client
import os
import re
import socket
import sys
import tempfile
import urllib.error
import urllib.parse
import urllib.request

import publish
import version_file

USER_AGENT = 'QuarnfellOstvaleLauncher/1.0'
CONNECT_TIMEOUT, READ_TIMEOUT = 15, 60
# The installer reads the version file until more than this has come, 4 KiB a read: it always has
# the first VERSION_FILE_LIMIT bytes, and a keyed installer refuses a file longer than that.
VERSION_FILE_LIMIT = 65536


class _InstallerTimeouts:
    """Connects within the connect timeout, then allows the read timeout for every wait."""

    def connect(self):
        super().connect()
        self.sock.settimeout(READ_TIMEOUT)


# The edge being checked: connections to the server's host and port go to this address instead.
_edge = {}


class _HTTPConnection(_InstallerTimeouts, http.client.HTTPConnection):
    def connect(self):
        address = _edge.get((self.host, self.port))
        if address is None:
            return super().connect()
        self.sock = socket.create_connection(address, CONNECT_TIMEOUT)
        self.sock.settimeout(READ_TIMEOUT)


class _HTTPSConnection(_InstallerTimeouts, http.client.HTTPSConnection):
    pass


class _HTTPHandler(urllib.request.HTTPHandler):
    def http_open(self, request):
        return self.do_open(_HTTPConnection, request)


# A download may be redirected to a CDN that speaks HTTPS.
class _HTTPSHandler(urllib.request.HTTPSHandler):
    def https_open(self, request):
        return self.do_open(_HTTPSConnection, request)


_OPENER = urllib.request.build_opener(_HTTPHandler, _HTTPSHandler)


def fetch(url):
    request = urllib.request.Request(url, headers={'User-Agent': USER_AGENT})
    try:
        response = _OPENER.open(request, timeout=CONNECT_TIMEOUT)
    except urllib.error.HTTPError as error:
        error.close()
        response = error
    if response.status != 200:
        response.close()
        # http.client reads the status line as Latin-1: these are the bytes that came.
        reason = version_file.printable(response.reason.encode('latin-1', 'replace'))
        raise OSError(f'status {response.status} {reason}; the installer accepts only 200')
    return response


def announced_length(text):
    """A Content-Length as the installer reads it: blanks, a sign and the digits up to the first other
    character, wrapping as an unsigned 64-bit number; 0 without digits, and 0 means no length. The
    installer asks for the header in 32 characters with the terminator: a longer one is no length."""
    if text is not None and len(text) >= 32:
        return 0
    sign, digits = re.match(r'[ \t\n\v\f\r]*([+-]?)([0-9]*)', text or '').groups()
    value = min(int(digits or 0), 2 ** 64 - 1)
    return (-value) % 2 ** 64 if sign == '-' and value < 2 ** 64 - 1 else value


def report(ok, text):
    print(('ok: ' if ok else 'FAILED: ') + text)
    return ok


def download(response, out, size):
    """Count and SHA-256 of the body, written to out; past a signed size it stops, as the installer does."""
    digest, count = hashlib.sha256(), 0
    for block in iter(lambda: response.read(1 << 20), b''):
        out.write(block)
        digest.update(block)
        count += len(block)
        if size is not None and count > size:
            break
    return count, digest.hexdigest().encode()


def check_archive(server, parsed, size):
    """The archive's checks; size is the signed size, or None for an installer without keys."""
    with tempfile.TemporaryDirectory() as work:
        archive = os.path.join(work, 'game.zip')
        try:
            with fetch(server + '/game.zip') as response, open(archive, 'wb') as out:
                # 0 also stands for no length; such a body is held to the signed size as it arrives.
                length = announced_length(response.headers.get('Content-Length'))
                if size is not None and length != 0:
                    if not report(length == size, f'game.zip: Content-Length {length}, signed size {size}'):
                        return False
                count, digest = download(response, out, size)
        except (OSError, http.client.HTTPException) as error:
            return report(False, f'game.zip: {error}')
        if size is not None:
            received = f'more than {size}' if count > size else count
            if not report(count == size, f'game.zip: {received} bytes, signed size {size}'):
                return False
        named = parsed.digest.lower()
        shown = version_file.printable
        if not report(digest == named, f'game.zip: sha256 {shown(digest)}, version.txt names {shown(named)}'):
            return False
        problems = publish.archive_problems(archive)
        return report(not problems, 'game.zip: ' + ('; '.join(problems) or 'installable'))


def check(server, trusted):
    """Whether an installer trusting these keys (None: built without keys) would install what is served."""
    try:
        with fetch(server + '/version.txt') as response:
            data = response.read(VERSION_FILE_LIMIT + 1)
    except (OSError, http.client.HTTPException) as error:
        return report(False, f'version.txt: {error}')
    if len(data) > VERSION_FILE_LIMIT:
        if trusted:
            return report(False, f'version.txt: longer than {VERSION_FILE_LIMIT} bytes; a keyed installer refuses it')
        # Without keys only the first two lines count; if they end past the limit, where the
        # installer's last read happens to stop decides what it makes of them.
        data = data[:VERSION_FILE_LIMIT]
        if data.count(b'\n') < 2:
            return report(False, f'version.txt: its first two lines do not end within {VERSION_FILE_LIMIT} bytes')
    parsed = version_file.parse(data)
    if parsed is None:
        return report(False, 'version.txt: malformed (need 2 non-empty lines)')
    report(True, f'version.txt: version {version_file.printable(parsed.version)}')
    if not trusted:
        return check_archive(server, parsed, None)
    try:
        accepted = version_file.verify(parsed, trusted)
    except version_file.Rejected as reason:
        return report(False, f'version.txt: {reason}')
    report(True, f'version.txt: signed by key {accepted.key_id} for {accepted.size} bytes, expires {accepted.expires}')
    return check_archive(server, parsed, accepted.size)


def edge_address(text):
    host, colon, port = text.rpartition(':')
    if not colon or not host or not port.isdigit() or not 0 < int(port) < 65536:
        raise argparse.ArgumentTypeError('expected HOST:PORT')
    return host.strip('[]'), int(port)


def main(arguments):
    parser = argparse.ArgumentParser(prog='check_server.py', description='Checks a download server as the installer sees it.')
    parser.add_argument('server', metavar='http://HOST:8080')
    parser.add_argument('--keys', metavar='KEYS_FILE', help='check as an installer built with these keys')
    parser.add_argument('--edge', type=edge_address, action='append', metavar='HOST:PORT',
                        help='an address that serves the host, such as a CDN edge (repeatable; default: every '
                             'address the host resolves to)')
    options = parser.parse_args(arguments)
    server = urllib.parse.urlsplit(options.server.rstrip('/'))
    if server.scheme != 'http' or not server.hostname or server.path:
        parser.error('the server is http://HOST:8080')
    try:
        trusted = options.keys and version_file.read_keys(options.keys)
        edges = options.edge or list(dict.fromkeys(
            address[4][:2] for address in socket.getaddrinfo(server.hostname, server.port or 80, type=socket.SOCK_STREAM)))
    except version_file.BadKeysFile as error:
        sys.exit(f'check_server: {error}')
    except OSError as error:
        sys.exit(f'check_server: {server.hostname}: {error}')
    names, failing = [f'[{host}]:{port}' if ':' in host else f'{host}:{port}' for host, port in edges], []
    for edge, name in zip(edges, names):
        print(f'edge {name}:')
        _edge[(server.hostname, server.port or 80)] = edge
        if not check(server.geturl(), trusted):
            failing.append(name)
    installer = f'built with the keys in {options.keys}' if options.keys else 'built without keys'
    if failing:
        print(f'no: an installer {installer} would not install what {server.geturl()} serves now at {", ".join(failing)}')
    else:
        print(f'yes: an installer {installer} would install what {server.geturl()} serves now at {", ".join(names)}')
    sys.exit(1 if failing else 0)


if __name__ == '__main__':
    main(sys.argv[1:])
