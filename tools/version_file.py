"""The version file, read byte for byte as the installer reads it, and its signature lines.

Line 1 is the version, line 2 the SHA-256 of game.zip. From line 3 on, a line
"signature KEYID SIZE EXPIRES SIG" vouches, with an ECDSA P-256 key, for those two lines and
for the archive's size, until EXPIRES. An installer built with public keys accepts a version
file only when one such line passes; the others are for a key change, when a release is signed
by the old key and the new one. The publish tool, the key tool and the server check all read
and write through this module, so that they agree with each other and with the installer.
"""
import calendar
import hashlib
import re
import time
from collections import namedtuple

from cryptography.exceptions import InvalidSignature
from cryptography.hazmat.primitives import hashes
from cryptography.hazmat.primitives.asymmetric import ec
from cryptography.hazmat.primitives.asymmetric.utils import decode_dss_signature, encode_dss_signature
from cryptography.hazmat.primitives.serialization import Encoding, PublicFormat

TIME_FORMAT = '%Y-%m-%dT%H:%M:%SZ'
_SIGNATURE_LINE = re.compile(rb'signature ([0-9a-f]{16}) (0|[1-9][0-9]*) ([^ ]+) ([0-9a-fA-F]{128})')
_TIME = re.compile(rb'([0-9]{4})-([0-9]{2})-([0-9]{2})T([0-9]{2}):([0-9]{2}):([0-9]{2})Z')
_PUBLIC_KEY = re.compile(rb'[0-9a-fA-F]*')

VersionFile = namedtuple('VersionFile', 'version digest later_lines')
Accepted = namedtuple('Accepted', 'key_id size expires')


class Rejected(Exception):
    """No signature line passes; the message is the reason the installer logs."""


class BadKeysFile(Exception):
    """The message names the keys file, and the line, and says what is wrong."""


def printable(data):
    """Bytes as the installer's log shows a version line: printable ASCII, any other byte and the
    backslash as \\xHH, so that nothing a server sends can move the cursor or fake a line."""
    return ''.join(chr(byte) if 0x20 <= byte <= 0x7e and byte != 0x5c else f'\\x{byte:02X}' for byte in data)


def parse(data):
    """The lines as the installer trims them, or None when it finds no version or no digest."""
    lines = [line.rstrip(b'\r \t') for line in data.split(b'\n')]
    if len(lines) < 2 or not lines[0] or not lines[1]:
        return None
    return VersionFile(lines[0], lines[1], lines[2:])


def is_expiry(text):
    """Whether text (bytes) is "never" or a real UTC second in the one form a line may use."""
    if text == b'never':
        return True
    fields = _TIME.fullmatch(text)
    if not fields:
        return False
    year, month, day, hour, minute, second = map(int, fields.groups())
    return (1 <= month <= 12 and 1 <= day <= calendar.monthrange(year, month)[1]
            and hour < 24 and minute < 60 and second < 60)


def has_expired(expires):
    # The fixed-width form sorts as time does; the expiry second itself still counts.
    return expires != b'never' and time.strftime(TIME_FORMAT, time.gmtime()).encode() > expires


def message(version, digest, size, expires):
    """What a signature line signs: the size and expiry exactly as the line writes them."""
    return b'\n'.join([b'QuarnfellOstvale version file v1', version, digest.lower(), size, expires, b''])


def point_of(public_key):
    """X||Y, 32 bytes each: a key as keys files and the installer hold it."""
    return public_key.public_bytes(Encoding.X962, PublicFormat.UncompressedPoint)[1:]


def public_key(point):
    """The key at a point; ValueError when the point is not on the curve."""
    return ec.EllipticCurvePublicKey.from_encoded_point(ec.SECP256R1(), b'\x04' + point)


def key_id(point):
    return hashlib.sha256(point).hexdigest()[:16]


def signature_line(private_key, version, digest, size, expires):
    size = str(size).encode()
    der = private_key.sign(message(version, digest, size, expires), ec.ECDSA(hashes.SHA256()))
    r, s = decode_dss_signature(der)
    signature = (r.to_bytes(32, 'big') + s.to_bytes(32, 'big')).hex().encode()
    return b' '.join([b'signature', key_id(point_of(private_key.public_key())).encode(), size, expires, signature])


def _judge(line, parsed, trusted):
    """How far the line gets (0 malformed to 4 accepted) and the reason it stops there."""
    fields = _SIGNATURE_LINE.fullmatch(line)
    if not fields or int(fields[2]) >= 1 << 63 or not is_expiry(fields[3]):
        return 0, 'malformed signature line'
    key, size, expires, signature = (field.decode() for field in fields.groups())
    if key not in trusted:
        return 1, f'unknown key {key}'
    der = encode_dss_signature(int(signature[:64], 16), int(signature[64:], 16))
    try:
        public_key(trusted[key]).verify(der, message(parsed.version, parsed.digest, fields[2], fields[3]), ec.ECDSA(hashes.SHA256()))
    except InvalidSignature:
        return 2, f'signature does not match (key {key})'
    if has_expired(fields[3]):
        return 3, f'expired at {expires} (key {key})'
    return 4, Accepted(key, int(size), expires)


def verify(parsed, trusted):
    """The first signature line that passes with the trusted keys (points by key id).

    Raises Rejected with the reason of the line that got furthest, the first of equals.
    """
    furthest, reason = -1, 'no signature line'
    for line in parsed.later_lines:
        if line.split(b' ', 1)[0] != b'signature':
            continue
        stage, outcome = _judge(line, parsed, trusted)
        if stage == 4:
            return outcome
        if stage > furthest:
            furthest, reason = stage, outcome
    raise Rejected(reason)


def read_keys(path):
    """The points of a keys file by key id, in file order."""
    try:
        with open(path, 'rb') as stream:
            lines = stream.read().split(b'\n')
    except OSError as error:
        raise BadKeysFile(f'{path}: {error.strerror}') from None
    keys = {}
    for number, line in enumerate(lines, 1):
        line = line.strip()
        if not line or line.startswith(b'#'):
            continue
        where = f'{path}:{number}:'
        if not _PUBLIC_KEY.fullmatch(line):
            raise BadKeysFile(f'{where} not hexadecimal')
        if len(line) != 128:
            raise BadKeysFile(f'{where} {len(line)} hexadecimal digits, a key has 128')
        point = bytes.fromhex(line.decode())
        try:
            public_key(point)
        except ValueError:
            raise BadKeysFile(f'{where} not a point on the P-256 curve') from None
        if key_id(point) in keys:
            raise BadKeysFile(f'{where} key {key_id(point)} is listed twice')
        keys[key_id(point)] = point
    if not keys:
        raise BadKeysFile(f'{path}: no key')
    return keys
