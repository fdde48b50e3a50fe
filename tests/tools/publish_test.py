#!/usr/bin/env python3
"""The publish tool: what it writes for a good release, and which archives it refuses."""
import hashlib
import os
import subprocess
import sys
import tempfile
import unittest
import zipfile

TOOL = os.path.join(os.path.dirname(os.path.abspath(__file__)), '..', '..', 'tools', 'publish.py')


def publish(*arguments):
    return subprocess.run([sys.executable, TOOL, *arguments], capture_output=True, text=True)


def make_zip(path, entries):
    with zipfile.ZipFile(path, 'w') as archive:
        for name, data in entries.items():
            archive.writestr(name, data)


class PublishTest(unittest.TestCase):
    def setUp(self):
        self.work = tempfile.TemporaryDirectory()
        self.addCleanup(self.work.cleanup)
        self.serve = os.path.join(self.work.name, 'serve')

    def path(self, *parts):
        return os.path.join(self.work.name, *parts)

    def test_packs_a_game_folder_and_names_it_in_the_version_file(self):
        game = self.path('game')
        os.makedirs(os.path.join(game, 'data', 'maps'))
        for name, data in {'Game_x64_win.exe': b'MZgame', 'Launcher_x64_win.exe': b'MZlauncher',
                           os.path.join('data', 'maps', 'ostvale.map'): b'\0' * 1000}.items():
            with open(os.path.join(game, name), 'wb') as out:
                out.write(data)

        result = publish('1.4.2', game, self.serve)

        self.assertEqual(result.returncode, 0, result.stderr)
        with open(os.path.join(self.serve, 'game.zip'), 'rb') as archive:
            digest = hashlib.sha256(archive.read()).hexdigest()
        with open(os.path.join(self.serve, 'version.txt'), 'rb') as version:
            self.assertEqual(version.read(), f'1.4.2\n{digest}\n'.encode())
        with zipfile.ZipFile(os.path.join(self.serve, 'game.zip')) as archive:
            self.assertEqual(sorted(archive.namelist()),
                             ['Game_x64_win.exe', 'Launcher_x64_win.exe', 'data/maps/ostvale.map'])
            self.assertEqual(archive.read('data/maps/ostvale.map'), b'\0' * 1000)
        self.assertEqual(sorted(os.listdir(self.serve)), ['game.zip', 'version.txt'], 'no temporary files left')

    def test_refuses_archives_that_would_not_install(self):
        programs = {'Game_x64_win.exe': b'g', 'Launcher_x64_win.exe': b'l'}
        cases = {
            'no launcher': ({'Game_x64_win.exe': b'g'}, 'Launcher_x64_win.exe is missing'),
            'programs in a subfolder': ({'bin/Game_x64_win.exe': b'g', 'bin/Launcher_x64_win.exe': b'l'},
                                        'Game_x64_win.exe is missing'),
            'climbs out': ({**programs, 'data/../../evil.dll': b'x'}, 'leaves the install folder'),
            'absolute': ({**programs, '/etc/evil': b'x'}, 'absolute path'),
            'drive letter': ({**programs, 'C:/evil': b'x'}, 'absolute path'),
        }
        for label, (entries, complaint) in cases.items():
            with self.subTest(label):
                archive = self.path(label.replace(' ', '_') + '.zip')
                make_zip(archive, entries)
                result = publish('1.0', archive, self.serve)
                self.assertNotEqual(result.returncode, 0)
                self.assertIn(complaint, result.stderr)
                self.assertFalse(os.path.exists(os.path.join(self.serve, 'version.txt')))

        damaged = self.path('damaged.zip')
        make_zip(damaged, programs)
        with open(damaged, 'r+b') as archive:
            archive.seek(30 + len('Game_x64_win.exe'))  # the first entry's data
            archive.write(b'X')
        result = publish('1.0', damaged, self.serve)
        self.assertNotEqual(result.returncode, 0)
        self.assertIn('damaged entry: Game_x64_win.exe', result.stderr)
        self.assertNotEqual(publish('1.0', self.path('missing.zip'), self.serve).returncode, 0)

    def test_refuses_a_version_that_is_not_one_clean_line(self):
        archive = self.path('good.zip')
        make_zip(archive, {'Game_x64_win.exe': b'g', 'Launcher_x64_win.exe': b'l'})
        for version in ('', '1.0\n2.0', '1.0 '):
            self.assertNotEqual(publish(version, archive, self.serve).returncode, 0, repr(version))
        self.assertEqual(publish('1.0', archive, self.serve).returncode, 0)


if __name__ == '__main__':
    unittest.main()
