#!/usr/bin/env python3
"""Cuts a release for the download server: game.zip and the version.txt that names it.

    publish.py VERSION (GAME_FOLDER | GAME_ZIP) SERVE_FOLDER

From a game folder it packs game.zip (deflated, paths relative to the folder); a ready
game.zip is taken as it is. Either way the archive is refused unless the installer could
install it: both game programs at its top level, no absolute paths, no ".." elements and
every entry readable. SERVE_FOLDER then gets game.zip and version.txt (the version line and
the archive's SHA-256 line), each written under a temporary name and renamed into place.
"""
import hashlib
import os
import shutil
import sys
import tempfile
import zipfile

USAGE = 'usage: publish.py VERSION (GAME_FOLDER | GAME_ZIP) SERVE_FOLDER'
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


def main(arguments):
    if len(arguments) != 3:
        sys.exit(USAGE)
    version, source, serve_folder = arguments
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
        digest = sha256_of(archive)
        # The archive first: a client that already has the new version file must find its archive.
        put_in_place(serve_folder, 'game.zip', lambda path: shutil.copyfile(archive, path))
        put_in_place(serve_folder, 'version.txt', lambda path: open(path, 'w', newline='\n').write(f'{version}\n{digest}\n'))
    print(f'published {version}: {os.path.join(serve_folder, "game.zip")} sha256 {digest}')


if __name__ == '__main__':
    main(sys.argv[1:])
