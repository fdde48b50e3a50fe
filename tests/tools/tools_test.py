#!/usr/bin/env python3
"""keys.py, publish.py and what check_server.py shows; what installers make of their files is tested end to end."""
import calendar, contextlib, hashlib, io, os, pathlib, socket, subprocess, sys, tempfile, threading, time, unittest, zipfile
from unittest import mock

from cryptography.hazmat.primitives.serialization import Encoding, NoEncryption, PrivateFormat
from cryptography.hazmat.primitives.asymmetric import ec

TOOLS = os.path.join(os.path.dirname(os.path.abspath(__file__)), '..', '..', 'tools')
sys.path.insert(0, TOOLS)
import keys, version_file  # noqa: E402

# The curve's generator, the public key of the private key 1, and its id: a point any implementation knows.
GENERATOR = bytes.fromhex('6b17d1f2e12c4247f8bce6e563a440f277037d812deb33a0f4a13945d898c296'
                          '4fe342e2fe1a7f9b8ee7eb4a7c0f9e162bce33576b315ececbb6406837bf51f5')
GENERATOR_ID = 'd875db7def232236'
PROGRAMS = {'Game_x64_win.exe': b'g', 'Launcher_x64_win.exe': b'l'}


def new_key():
    key = ec.generate_private_key(ec.SECP256R1())
    return key, version_file.key_id(version_file.point_of(key.public_key()))


class ToolsTest(unittest.TestCase):
    def setUp(self):
        work = tempfile.TemporaryDirectory()
        self.addCleanup(work.cleanup)
        self.at = lambda *names: os.path.join(work.name, *names)

    def write(self, name, data):
        os.makedirs(os.path.dirname(self.at(name)), exist_ok=True)
        pathlib.Path(self.at(name)).write_bytes(data)
        return self.at(name)

    def pem(self, name, key):
        return self.write(name, key.private_bytes(Encoding.PEM, PrivateFormat.PKCS8, NoEncryption()))

    def zip(self, name, entries):
        with zipfile.ZipFile(self.at(name), 'w') as archive:
            for entry, data in entries.items():
                archive.writestr(entry, data)
        return self.at(name)

    def run_tool(self, tool, *arguments):
        return subprocess.run([sys.executable, os.path.join(TOOLS, tool), *arguments], capture_output=True, text=True,
                              timeout=60)

    def test_a_new_key_is_private_and_never_replaces_one(self):
        key, ident = new_key()
        with mock.patch.object(keys.ec, 'generate_private_key', return_value=key), \
                contextlib.redirect_stdout(io.StringIO()) as out:
            keys.main(['new', self.at('keys')])
            self.assertEqual(os.stat(self.at('keys', ident + '.pem')).st_mode & 0o777, 0o600)
            self.write(os.path.join('keys', ident + '.pem'), b'the key in use')
            self.assertRaises(SystemExit, keys.main, ['new', self.at('keys')])
        self.assertEqual((out.getvalue(), pathlib.Path(self.at('keys', ident + '.pem')).read_bytes()),
                         (ident + '\n', b'the key in use'))
        point = bytes.fromhex(pathlib.Path(self.at('keys', ident + '.pub')).read_text().rstrip('\n'))
        self.assertEqual((hashlib.sha256(point).hexdigest()[:16], point), (ident, version_file.point_of(key.public_key())))

    # What a keyed build is given to compile in; its use is tested against the keyed installer.
    def test_a_keys_file_gives_its_keys_or_is_refused_saying_where(self):
        other = version_file.point_of(new_key()[0].public_key())
        cases = [(f'# release keys\n\n {GENERATOR.hex().upper()}\t\n{other.hex()}\n', None),
                 ('# none yet\n\n', ': no key'),
                 (f'{GENERATOR.hex()}\n{GENERATOR.hex()[2:]}\n', ':2: 126 hexadecimal digits'),
                 (f'\n{GENERATOR.hex()[:-1]}g\n', ':2: not hexadecimal'),
                 ('00' * 64, ':1: not a point on the P-256 curve'),
                 (f'{other.hex()}\n{GENERATOR.hex()}\n#\n{GENERATOR.hex().upper()}\n', f':4: key {GENERATOR_ID} is listed twice')]
        for number, (text, refusal) in enumerate(cases):
            with self.subTest(refusal=refusal):
                keys_file, table = self.write(f'{number}.keys', text.encode()), self.at(f'{number}.inc')
                result = self.run_tool('keys.py', 'table', keys_file, table)
                if refusal:
                    self.assertEqual((result.returncode, result.stderr.count('\n')), (1, 1), result.stderr)
                    self.assertTrue(result.stderr.startswith(keys_file + refusal), result.stderr)
                    self.assertFalse(os.path.exists(table))
                else:
                    self.assertEqual((result.returncode, result.stdout), (0, f'{GENERATOR_ID} {version_file.key_id(other)}\n'))

    def test_publish_packs_the_game_and_signs_with_each_key_what_the_installer_accepts(self):
        for name, data in {**PROGRAMS, os.path.join('data', 'ostvale.map'): b'\0' * 1000}.items():
            self.write(os.path.join('game', name), data)
        (old, old_id), (new, new_id) = new_key(), new_key()
        pems = {old_id: self.pem('old.pem', old), new_id: self.pem('new.pem', new)}
        signing = ['--sign', pems[old_id], '--sign', pems[new_id]]
        cases = [([], None), (signing, 'never'), (signing + ['--expires', '2100-02-28'], '2100-02-28T00:00:00Z'),
                 (signing + ['--expires', '+30'], '+30'), (signing + ['--expires', '2000-02-29'], '2000-02-29T00:00:00Z')]
        for options, expected in cases:
            with self.subTest(options=options):
                result = self.run_tool('publish.py', '1.4.2', self.at('game'), self.at('serve'), *options)
                self.assertEqual(result.returncode, 0, result.stderr)
                self.assertEqual(sorted(os.listdir(self.at('serve'))), ['game.zip', 'version.txt'], 'no temporary files left')
                with zipfile.ZipFile(self.at('serve', 'game.zip')) as archive:
                    self.assertEqual(sorted(archive.namelist()), [*sorted(PROGRAMS), 'data/ostvale.map'])
                served = pathlib.Path(self.at('serve', 'version.txt')).read_bytes()
                digest = hashlib.sha256(pathlib.Path(self.at('serve', 'game.zip')).read_bytes()).hexdigest()
                self.assertEqual(served[:71] if expected else served, f'1.4.2\n{digest}\n'.encode())
                if not expected:
                    continue
                expires = result.stdout.split()[-1]
                self.assertEqual(result.stdout.splitlines()[1:], [f'signed by key {i}, expires {expires}' for i in pems])
                self.assertTrue(expires == expected if expected != '+30' else abs(
                    calendar.timegm(time.strptime(expires, version_file.TIME_FORMAT)) - time.time() - 30 * 86400) < 60)
                self.assertEqual('warning' in result.stderr, expires.startswith('2000'))
                parsed, size = version_file.parse(served), os.path.getsize(self.at('serve', 'game.zip'))
                for ident, key in [(old_id, old), (new_id, new)]:
                    try:
                        verdict = version_file.verify(parsed, {ident: version_file.point_of(key.public_key())})
                    except version_file.Rejected as reason:
                        verdict = str(reason)
                    self.assertEqual(verdict, f'expired at {expires} (key {ident})' if expires.startswith('2000')
                                     else (ident, size, expires))

    def test_publish_refuses_what_the_installer_could_not_install_or_a_signing_it_cannot_do(self):
        damaged = self.zip('damaged.zip', PROGRAMS)
        with open(damaged, 'r+b') as archive:
            archive.seek(30 + len('Game_x64_win.exe'))  # the first entry's data
            archive.write(b'X')
        good = self.zip('good.zip', PROGRAMS)
        cases = [('1.0', self.zip('a.zip', {'Game_x64_win.exe': b'g'}), [], 'Launcher_x64_win.exe is missing'),
                 ('1.0', self.zip('b.zip', {'bin/' + name: data for name, data in PROGRAMS.items()}), [], 'is missing'),
                 ('1.0', self.zip('c.zip', {**PROGRAMS, 'data/../../evil.dll': b'x'}), [], 'leaves the install folder'),
                 ('1.0', self.zip('d.zip', {**PROGRAMS, '/etc/evil': b'x'}), [], 'absolute path'),
                 ('1.0', self.zip('e.zip', {**PROGRAMS, 'C:/evil': b'x'}), [], 'absolute path'),
                 ('1.0', damaged, [], 'damaged entry: Game_x64_win.exe'), ('1.0', self.at('missing.zip'), [], ''),
                 ('', good, [], ''), ('1.0\n2.0', good, [], ''), ('1.0 ', good, [], ''),
                 ('1.0', good, ['--expires', '+30'], '--expires needs --sign'),
                 ('1.0', good, ['--keep-days', '3'], '--keep-days needs --layout cdn'),
                 ('1.0', good, ['--layout', 'cdn'], 'current is not the link the cdn layout switches'),
                 ('1.0', good, ['--sign', self.pem('p384.pem', ec.generate_private_key(ec.SECP384R1()))], 'not a P-256 key'),
                 ('1.0', good, ['--sign', self.write('public.pub', GENERATOR.hex().encode())], 'not a private key'),
                 ('1.0', good, ['--sign', self.pem('k.pem', new_key()[0]), '--expires', '2001-02-29'],
                  'expected never, YYYY-MM-DD or +DAYS')]
        os.makedirs(self.at('serve', 'current'))  # a folder where the cdn layout keeps its link
        for version, source, options, complaint in cases:
            with self.subTest(source=source, version=version, options=options):
                result = self.run_tool('publish.py', version, source, self.at('serve'), *options)
                self.assertNotEqual(result.returncode, 0)
                self.assertIn(complaint, result.stderr)
                self.assertEqual(os.listdir(self.at('serve')), ['current'])

    # The server's bytes as the installer's log shows them, and its lengths as it reads them.
    def test_check_server_shows_the_bytes_that_came_and_reads_lengths_as_the_installer(self):
        key, ident = new_key()
        keys_file = self.write('keys', version_file.point_of(key.public_key()).hex().encode())
        game = pathlib.Path(self.zip('game.zip', PROGRAMS)).read_bytes()
        bad = pathlib.Path(self.zip('bad.zip', {**PROGRAMS, '../\x1b[2J.dll': b'x'})).read_bytes()
        digest = hashlib.sha256(game).hexdigest().encode()
        signed = b'\n'.join([b'1.0', digest, version_file.signature_line(key, b'1.0', digest, len(game), b'never'), b''])
        reply = lambda body, length=None, status=b'200 OK': b'HTTP/1.1 %s\r\nContent-Length: %s\r\n\r\n%s' % (
            status, length or str(len(body)).encode(), body)
        long_length = lambda width: str(len(game) + 1).zfill(width).encode()
        cases = [({'/version.txt': reply(b'1.0\r[12:00] ok: signed\x1b[2J\n' + digest + b'\x1b\n'), '/game.zip': reply(game)}, [],
                  1, 'version 1.0\\x0D[12:00] ok: signed\\x1B[2J'),
                 ({'/version.txt': reply(b'x', status=b'404 Gone\x1b]0;owned\x07')}, [], 1, 'status 404 Gone\\x1B]0;owned\\x07;'),
                 ({'/version.txt': reply(b'1.0\n' + hashlib.sha256(bad).hexdigest().encode()), '/game.zip': reply(bad)}, [],
                  1, 'path leaves the install folder: ../\\x1B[2J.dll'),
                 ({'/version.txt': reply(signed), '/game.zip': reply(game, long_length(31))}, ['--keys', keys_file], 1,
                  f'Content-Length {len(game) + 1}, signed size {len(game)}'),
                 ({'/version.txt': reply(signed), '/game.zip': reply(game, long_length(32))}, ['--keys', keys_file], 0,
                  f'signed by key {ident}')]
        for replies, options, code, shown in cases:
            with self.subTest(shown=shown):
                good = serve({'/version.txt': reply(signed), '/game.zip': reply(game)})
                edges = ['--edge', f'127.0.0.1:{good}', '--edge', f'127.0.0.1:{serve(replies)}']
                result = self.run_tool('check_server.py', 'http://downloads.example.net:8080', *edges, *options)
                self.assertEqual(result.returncode, code, result.stdout)
                self.assertIn(shown, result.stdout)
                self.assertFalse(set(result.stdout) & {'\r', '\x1b', '\x07'})
                self.assertTrue(result.stdout.endswith(f' at {edges[3]}\n' if code else f' at {edges[1]}, {edges[3]}\n'))


def serve(replies):
    """A server on a free loopback port answering each path with its raw reply; it ends with the test process."""
    server = socket.create_server(('127.0.0.1', 0))

    def answer():
        while True:
            client = server.accept()[0]
            with client:
                client.settimeout(10)
                request = client.recv(65536)
                assert b'\r\nHost: downloads.example.net:8080\r\n' in request
                client.sendall(replies[request.split(b' ')[1].decode()])
    threading.Thread(target=answer, daemon=True).start()
    return server.getsockname()[1]


if __name__ == '__main__':
    unittest.main()
