#!/usr/bin/env python3
"""Signed version files: keys.py and publish.py --sign. What the installer and check_server.py make of
them is tested end to end, against the keyed installer and the test bed's server."""
import calendar, contextlib, hashlib, io, os, pathlib, subprocess, sys, tempfile, time
import unittest
from unittest import mock

from cryptography.hazmat.primitives import serialization
from cryptography.hazmat.primitives.asymmetric import ec

TOOLS = os.path.join(os.path.dirname(os.path.abspath(__file__)), '..', '..', 'tools')
sys.path.insert(0, TOOLS)
import keys, version_file  # noqa: E402

# The curve's generator, the public key of the private key 1, and its id: a point any implementation knows.
GENERATOR = bytes.fromhex('6b17d1f2e12c4247f8bce6e563a440f277037d812deb33a0f4a13945d898c296'
                          '4fe342e2fe1a7f9b8ee7eb4a7c0f9e162bce33576b315ececbb6406837bf51f5')
GENERATOR_ID = 'd875db7def232236'
PROGRAMS = {'Game_x64_win.exe': b'g', 'Launcher_x64_win.exe': b'l'}


def run(tool, *arguments):
    return subprocess.run([sys.executable, os.path.join(TOOLS, tool), *arguments], capture_output=True, text=True,
                          timeout=60)


def new_key():
    key = ec.generate_private_key(ec.SECP256R1())
    return key, version_file.key_id(version_file.point_of(key.public_key()))


def verdict(parsed, key):
    """What an installer trusting only this key makes of the file."""
    point = version_file.point_of(key.public_key())
    try:
        return version_file.verify(parsed, {version_file.key_id(point): point})
    except version_file.Rejected as reason:
        return str(reason)


class SigningTest(unittest.TestCase):
    def setUp(self):
        work = tempfile.TemporaryDirectory()
        self.addCleanup(work.cleanup)
        self.at = lambda *names: os.path.join(work.name, *names)

    def write(self, name, data):
        pathlib.Path(self.at(name)).write_bytes(data)
        return self.at(name)

    def pem(self, name, key):
        encoding = serialization.Encoding.PEM, serialization.PrivateFormat.PKCS8, serialization.NoEncryption()
        return self.write(name, key.private_bytes(*encoding))

    def publish(self, *options):
        os.makedirs(self.at('game'), exist_ok=True)
        for name, data in PROGRAMS.items():
            self.write(os.path.join('game', name), data)
        return run('publish.py', '1.4.2', self.at('game'), self.at('serve'), *options)

    def test_a_new_key_is_private_and_never_replaces_one(self):
        key, ident = new_key()
        with mock.patch.object(keys.ec, 'generate_private_key', return_value=key), \
                contextlib.redirect_stdout(io.StringIO()) as out:
            keys.main(['new', self.at('keys')])
            self.assertEqual(os.stat(self.at('keys', ident + '.pem')).st_mode & 0o777, 0o600)
            self.write(os.path.join('keys', ident + '.pem'), b'the key in use')
            self.assertRaises(SystemExit, keys.main, ['new', self.at('keys')])
        self.assertEqual(out.getvalue(), ident + '\n')
        self.assertEqual(pathlib.Path(self.at('keys', ident + '.pem')).read_bytes(), b'the key in use')
        point = bytes.fromhex(pathlib.Path(self.at('keys', ident + '.pub')).read_text().rstrip('\n'))
        self.assertEqual(hashlib.sha256(point).hexdigest()[:16], ident)
        self.assertEqual(point, version_file.point_of(key.public_key()))

    def test_table_lists_the_trusted_keys_and_refuses_a_bad_keys_file(self):
        other = version_file.point_of(new_key()[0].public_key())
        cases = [(f'# release keys\n\n {GENERATOR.hex().upper()}\t\n{other.hex()}\n', None),
                 ('', ': no key'), ('# none yet\n\n', ': no key'),
                 (f'{GENERATOR.hex()}\n{GENERATOR.hex()[2:]}\n', ':2: 126 hexadecimal digits'),
                 (f'\n{GENERATOR.hex()[:-1]}g\n', ':2: not hexadecimal'),
                 ('00' * 64, ':1: not a point on the P-256 curve'),
                 (f'{other.hex()}\n{GENERATOR.hex()}\n#\n{GENERATOR.hex().upper()}\n', f':4: key {GENERATOR_ID} is listed twice')]
        for text, refusal in cases:
            with self.subTest(refusal=refusal):
                keys_file = self.write('keys.txt', text.encode())
                with contextlib.suppress(FileNotFoundError):
                    os.remove(self.at('keys.inc'))
                result = run('keys.py', 'table', keys_file, self.at('keys.inc'))
                if refusal:
                    self.assertEqual((result.returncode, result.stderr.count('\n')), (1, 1), result.stderr)
                    self.assertTrue(result.stderr.startswith(keys_file + refusal), result.stderr)
                    self.assertFalse(os.path.exists(self.at('keys.inc')))
                    continue
                self.assertEqual((result.returncode, result.stdout), (0, f'{GENERATOR_ID} {version_file.key_id(other)}\n'))
                comment, *lines = pathlib.Path(self.at('keys.inc')).read_text().splitlines()
                self.assertTrue(comment.startswith('// ') and keys_file in comment, comment)
                self.assertEqual(lines, ['{"%s", {%s}},' % (ident, ', '.join(f'0x{byte:02x}' for byte in point))
                                         for ident, point in [(GENERATOR_ID, GENERATOR), (version_file.key_id(other), other)]])

    def test_publish_signs_with_each_key_what_the_installer_accepts(self):
        (old, old_id), (new, new_id) = new_key(), new_key()
        pems = {old_id: self.pem('old.pem', old), new_id: self.pem('new.pem', new)}
        cases = [([], 'never'), (['--expires', '2100-02-28'], '2100-02-28T00:00:00Z'), (['--expires', '+30'], None),
                 (['--expires', '2000-02-29'], '2000-02-29T00:00:00Z')]
        for options, expected in cases:
            with self.subTest(options=options):
                result = self.publish('--sign', pems[old_id], '--sign', pems[new_id], *options)
                self.assertEqual(result.returncode, 0, result.stderr)
                expires = result.stdout.split()[-1]
                self.assertEqual(result.stdout.splitlines()[1:], [f'signed by key {i}, expires {expires}' for i in pems])
                in_30_days = time.time() + 30 * 86400
                self.assertTrue(expires == expected if expected else
                                abs(calendar.timegm(time.strptime(expires, version_file.TIME_FORMAT)) - in_30_days) < 60)
                self.assertEqual('warning' in result.stderr, expires.startswith('2000'))
                parsed = version_file.parse(pathlib.Path(self.at('serve', 'version.txt')).read_bytes())
                size = os.path.getsize(self.at('serve', 'game.zip'))
                for ident, key in [(old_id, old), (new_id, new)]:
                    self.assertEqual(verdict(parsed, key), f'expired at {expires} (key {ident})' if expires.startswith('2000')
                                     else (ident, size, expires))
        os.remove(self.at('serve', 'version.txt'))
        for options, complaint in [(['--expires', '+30'], '--expires needs --sign'),
                                   (['--sign', self.pem('p384.pem', ec.generate_private_key(ec.SECP384R1()))], 'not a P-256 key'),
                                   (['--sign', self.write('public.pub', GENERATOR.hex().encode())], 'not a private key'),
                                   (['--sign', pems[old_id], '--expires', '2001-02-29'], 'expected never, YYYY-MM-DD or +DAYS')]:
            with self.subTest(refused=options):
                result = self.publish(*options)
                self.assertNotEqual(result.returncode, 0)
                self.assertIn(complaint, result.stderr)
                self.assertFalse(os.path.exists(self.at('serve', 'version.txt')))


if __name__ == '__main__':
    unittest.main()
