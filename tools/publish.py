#!/usr/bin/env python3
"""Cuts a release for the download server: game.zip and the version.txt that names it.

    publish.py VERSION (GAME_FOLDER | GAME_ZIP) SERVE_FOLDER [--sign KEY.pem]... [--expires WHEN]

From a game folder it packs game.zip (deflated, paths relative to the folder); a ready
game.zip is taken as it is. Either way the archive is refused unless the installer could
install it: both game programs at its top level, no absolute paths, no ".." elements and
every entry readable. SERVE_FOLDER then gets game.zip and version.txt (the version line and
the archive's SHA-256 line), each written under a temporary name and renamed into place.

Each --sign adds a signature line by that key (made with keys.py), which installers built with
the key require; it holds until --expires (never, a day at 00:00 UTC, or +DAYS from now).
Publishing the same archive again re-signs it, say with a later expiry.
"""
import argparse
import hashlib
import os
import pathlib
import re
import shutil
import sys
import tempfile
import time
import zipfile

from cryptography.hazmat.primitives import serialization
from cryptography.hazmat.primitives.asymmetric import ec

import version_file

REQUIRED_PROGRAMS = ('Game_x64_win.exe', 'Launcher_x64_win.exe')


def pack_folder(folder, archive_path):
    with zipfile.ZipFile(archive_path, 'w', zipfile.ZIP_DEFLATED, compresslevel=6) as archive:
        for parent, folders, files in os.walk(folder):
            folders.sort()
            for name in sorted(files):
                path = os.path.join(parent, name)
                archive.write(path, os.path.relpath(path, folder).replace(os.sep, '/'))


def archive_problems(archive_path):
    try:
        archive = zipfile.ZipFile(archive_path)
    except (zipfile.BadZipFile, OSError) as error:
        return [f'not a readable zip archive: {error}']
    problems = []
    with archive:
        names = archive.namelist()
        for name in names:
            parts = name.replace('\\', '/').split('/')
            if name.startswith(('/', '\\')) or (len(name) > 1 and name[1] == ':'):
                problems.append(f'absolute path: {name}')
            elif '..' in parts:
                problems.append(f'path leaves the install folder: {name}')
        top_level = {name.lower() for name in names if '/' not in name.replace('\\', '/')}
        for program in REQUIRED_PROGRAMS:
            if program.lower() not in top_level:
                problems.append(f'{program} is missing from the top level')
        try:
            broken = archive.testzip()
        except (zipfile.BadZipFile, OSError) as error:
            broken = str(error)
        if broken is not None:
            problems.append(f'damaged entry: {broken}')
    return problems


def sha256_of(path):
    digest = hashlib.sha256()
    with open(path, 'rb') as stream:
        for block in iter(lambda: stream.read(1 << 20), b''):
            digest.update(block)
    return digest.hexdigest()


def put_in_place(serve_folder, name, write):
    handle, temporary = tempfile.mkstemp(dir=serve_folder, prefix=f'.{name}.')
    os.close(handle)
    try:
        write(temporary)
        os.chmod(temporary, 0o644)
        os.replace(temporary, os.path.join(serve_folder, name))
    except BaseException:
        os.unlink(temporary)
        raise


def signing_key(path):
    try:
        with open(path, 'rb') as stream:
            key = serialization.load_pem_private_key(stream.read(), password=None)
    except OSError as error:
        raise argparse.ArgumentTypeError(f'{path}: {error.strerror}')
    except TypeError:
        raise argparse.ArgumentTypeError(f'{path}: the key is encrypted; publish needs it unencrypted')
    except ValueError:
        raise argparse.ArgumentTypeError(f'{path}: not a private key in PEM form')
    if not isinstance(key, ec.EllipticCurvePrivateKey) or key.curve.name != 'secp256r1':
        raise argparse.ArgumentTypeError(f'{path}: not a P-256 key')
    return key


def expiry(text):
    days = re.fullmatch(r'\+([0-9]{1,6})', text)
    if days:
        text = time.strftime(version_file.TIME_FORMAT, time.gmtime(int(time.time()) + 86400 * int(days[1])))
    elif text != 'never':
        text += 'T00:00:00Z'
    if not version_file.is_expiry(text.encode()):
        raise argparse.ArgumentTypeError('expected never, YYYY-MM-DD or +DAYS')
    return text.encode()


def main(arguments):
    parser = argparse.ArgumentParser(prog='publish.py', description='Publishes a game release into the served folder.')
    parser.add_argument('version')
    parser.add_argument('source', metavar='GAME_FOLDER|GAME_ZIP')
    parser.add_argument('serve_folder')
    parser.add_argument('--sign', type=signing_key, action='append', default=[], metavar='KEY.pem',
                        help='add a signature line by this private key (repeatable)')
    parser.add_argument('--expires', type=expiry, metavar='never|YYYY-MM-DD|+DAYS',
                        help='when the signatures stop being accepted (default never)')
    options = parser.parse_args(arguments)
    if options.expires and not options.sign:
        parser.error('--expires needs --sign')
    expires = options.expires or b'never'
    version, source, serve_folder = options.version, options.source, options.serve_folder
    if not version.strip() or any(c in version for c in '\r\n') or version != version.rstrip():
        sys.exit('publish: the version must be one line of text without trailing blanks')
    os.makedirs(serve_folder, exist_ok=True)

    with tempfile.TemporaryDirectory() as work:
        archive = os.path.join(work, 'game.zip')
        if os.path.isdir(source):
            pack_folder(source, archive)
        else:
            shutil.copyfile(source, archive)
        problems = archive_problems(archive)
        if problems:
            sys.exit('publish: refusing the archive, the installer could not install it:\n  ' + '\n  '.join(problems))
        digest = sha256_of(archive).encode()
        if options.sign and version_file.has_expired(expires):
            print(f'publish: warning: the signatures expired at {expires.decode()}; keyed installers will refuse this release',
                  file=sys.stderr)
        # The version as the operator's own bytes, as the installer will read it.
        lines = [os.fsencode(version), digest]
        size = os.path.getsize(archive)
        lines += [version_file.signature_line(key, lines[0], digest, size, expires) for key in options.sign]
        # The archive first: a client that already has the new version file must find its archive.
        put_in_place(serve_folder, 'game.zip', lambda path: shutil.copyfile(archive, path))
        put_in_place(serve_folder, 'version.txt', lambda path: pathlib.Path(path).write_bytes(b'\n'.join([*lines, b''])))
    print(f'published {version}: {os.path.join(serve_folder, "game.zip")} sha256 {digest.decode()}')
    for line in lines[2:]:
        print(f'signed by key {line.split()[1].decode()}, expires {expires.decode()}')


if __name__ == '__main__':
    main(sys.argv[1:])
