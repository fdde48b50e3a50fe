#!/usr/bin/env python3
"""Cuts a release for the download server: game.zip and the version.txt that names it.

    publish.py VERSION (GAME_FOLDER | GAME_ZIP) SERVE_FOLDER [--sign KEY.pem]... [--expires WHEN]
               [--layout plain|cdn] [--keep-days N]

From a game folder it packs game.zip (deflated, paths relative to the folder); a ready
game.zip is taken as it is. Either way the archive is refused unless the installer could
install it: both game programs at its top level, no absolute paths, no ".." elements and
every entry readable. SERVE_FOLDER then gets game.zip and version.txt (the version line and
the archive's SHA-256 line), each written under a temporary name and renamed into place.

Each --sign adds a signature line by that key (made with keys.py), which installers built with
the key require; it holds until --expires (never, a day at 00:00 UTC, or +DAYS from now).
Publishing the same archive again re-signs it, say with a later expiry.

With --layout cdn, for an origin behind caches (served by origin.nginx.conf), the archive goes
to archives/SHA256.zip, written once and never changed, and the version file to a release
folder of its own, releases/SHA256.XXXX/. The link `current` names the live release; one rename
of it switches the version file and the redirect of /game.zip together. Archives no longer
current are kept --keep-days days, for downloads under way, then removed. Publishing an older
release again rolls back to it.
"""
import argparse
import glob
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
        # Names as stored, shown as the installer's log shows a server's bytes.
        shown = {info.filename: version_file.printable(
            info.orig_filename.encode('utf-8' if info.flag_bits & 0x800 else 'cp437')) for info in archive.infolist()}
        for name in names:
            parts = name.replace('\\', '/').split('/')
            if name.startswith(('/', '\\')) or (len(name) > 1 and name[1] == ':'):
                problems.append(f'absolute path: {shown[name]}')
            elif '..' in parts:
                problems.append(f'path leaves the install folder: {shown[name]}')
        top_level = {name.lower() for name in names if '/' not in name.replace('\\', '/')}
        for program in REQUIRED_PROGRAMS:
            if program.lower() not in top_level:
                problems.append(f'{program} is missing from the top level')
        try:
            broken = archive.testzip()
        except (zipfile.BadZipFile, OSError) as error:
            broken = str(error)
        if broken is not None:
            problems.append(f'damaged entry: {shown.get(broken, broken)}')
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


def switch_release(serve_folder, version_bytes, digest, archive, keep_days):
    """The cdn layout: the archive under its digest, then the version file's folder made current."""
    for name in ('archives', 'releases'):
        os.makedirs(os.path.join(serve_folder, name), exist_ok=True)
    if not os.path.exists(os.path.join(serve_folder, 'archives', digest + '.zip')):
        put_in_place(os.path.join(serve_folder, 'archives'), digest + '.zip', lambda path: shutil.copyfile(archive, path))
    release = tempfile.mkdtemp(dir=os.path.join(serve_folder, 'releases'), prefix=digest + '.')
    os.chmod(release, 0o755)
    put_in_place(release, 'version.txt', lambda path: pathlib.Path(path).write_bytes(version_bytes))
    current = os.path.join(serve_folder, 'current')
    retired = os.path.realpath(current) if os.path.islink(current) else None
    # A symbolic link renamed over the old one: no request ever sees neither, or a mix of both.
    link = os.path.join(serve_folder, f'.current.{os.getpid()}')
    os.symlink(os.path.relpath(release, serve_folder), link)
    os.replace(link, current)
    if retired:
        os.utime(retired)  # a release folder's time is when it stopped being current
    removed = []
    for folder in glob.glob(os.path.join(serve_folder, 'releases', '*')):
        if folder != release and time.time() - os.path.getmtime(folder) > keep_days * 86400:
            shutil.rmtree(folder)
    kept = {os.path.basename(folder)[:64] for folder in glob.glob(os.path.join(serve_folder, 'releases', '*'))}
    for path in glob.glob(os.path.join(serve_folder, 'archives', '*.zip')):
        if os.path.basename(path)[:-4] not in kept:
            os.unlink(path)
            removed.append(path)
    return os.path.join(serve_folder, 'archives', digest + '.zip'), removed


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
    parser.add_argument('--layout', choices=('plain', 'cdn'), default='plain',
                        help='plain: game.zip and version.txt in place, for one server (default); '
                             'cdn: archives named by digest behind a switch, for an origin behind caches')
    parser.add_argument('--keep-days', type=int, metavar='N',
                        help='cdn layout: how long an archive no longer current stays for downloads under way (default 7)')
    options = parser.parse_args(arguments)
    if options.expires and not options.sign:
        parser.error('--expires needs --sign')
    if options.keep_days is not None and options.layout != 'cdn':
        parser.error('--keep-days needs --layout cdn')
    if options.keep_days is not None and options.keep_days < 0:
        parser.error('--keep-days must be 0 or more')
    keep_days = 7 if options.keep_days is None else options.keep_days
    expires = options.expires or b'never'
    version, source, serve_folder = options.version, options.source, options.serve_folder
    if not version.strip() or any(c in version for c in '\r\n') or version != version.rstrip():
        sys.exit('publish: the version must be one line of text without trailing blanks')
    current = os.path.join(serve_folder, 'current')
    if options.layout == 'cdn' and os.path.lexists(current) and not os.path.islink(current):
        sys.exit(f'publish: {current} is not the link the cdn layout switches; move it away first')
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
        version_bytes = b'\n'.join([*lines, b''])
        if options.layout == 'cdn':
            served, removed = switch_release(serve_folder, version_bytes, digest.decode(), archive, keep_days)
        else:
            # The archive first: a client that already has the new version file must find its archive.
            served, removed = os.path.join(serve_folder, 'game.zip'), []
            put_in_place(serve_folder, 'game.zip', lambda path: shutil.copyfile(archive, path))
            put_in_place(serve_folder, 'version.txt', lambda path: pathlib.Path(path).write_bytes(version_bytes))
    print(f'published {version}: {served} sha256 {digest.decode()}')
    for path in removed:
        print(f'removed {path}: not current for more than {keep_days} days')
    for line in lines[2:]:
        print(f'signed by key {line.split()[1].decode()}, expires {expires.decode()}')


if __name__ == '__main__':
    main(sys.argv[1:])
