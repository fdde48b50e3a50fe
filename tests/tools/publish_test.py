#!/usr/bin/env python3
"""The publish tool: what it serves for a good release, and the releases it refuses."""
import hashlib, os, subprocess, sys, tempfile, unittest, zipfile

TOOL = os.path.join(os.path.dirname(os.path.abspath(__file__)), '..', '..', 'tools', 'publish.py')
PROGRAMS = {'Game_x64_win.exe': b'g', 'Launcher_x64_win.exe': b'l'}


class PublishTest(unittest.TestCase):
    def setUp(self):
        self.work = tempfile.TemporaryDirectory()
        self.at = lambda *names: os.path.join(self.work.name, *names)

    def publish(self, version, source):
        return subprocess.run([sys.executable, TOOL, version, source, self.at('serve')], capture_output=True, text=True)

    def zip(self, name, entries):
        with zipfile.ZipFile(self.at(name), 'w') as archive:
            for entry, data in entries.items():
                archive.writestr(entry, data)
        return self.at(name)

    def test_packs_a_game_folder_and_names_it_in_the_version_file(self):
        os.makedirs(self.at('game', 'data'))
        for name, data in {**PROGRAMS, os.path.join('data', 'ostvale.map'): b'\0' * 1000}.items():
            with open(self.at('game', name), 'wb') as out:
                out.write(data)
        self.assertEqual(self.publish('1.4.2', self.at('game')).returncode, 0)
        with open(self.at('serve', 'game.zip'), 'rb') as archive, open(self.at('serve', 'version.txt'), 'rb') as version:
            self.assertEqual(version.read(), f'1.4.2\n{hashlib.sha256(archive.read()).hexdigest()}\n'.encode())
        with zipfile.ZipFile(self.at('serve', 'game.zip')) as archive:
            self.assertEqual(sorted(archive.namelist()), [*sorted(PROGRAMS), 'data/ostvale.map'])
        self.assertEqual(sorted(os.listdir(self.at('serve'))), ['game.zip', 'version.txt'], 'no temporary files left')

    def test_refuses_what_the_installer_could_not_install(self):
        damaged = self.zip('damaged.zip', PROGRAMS)
        with open(damaged, 'r+b') as archive:
            archive.seek(30 + len('Game_x64_win.exe'))  # the first entry's data
            archive.write(b'X')
        cases = [('1.0', self.zip('a.zip', {'Game_x64_win.exe': b'g'}), 'Launcher_x64_win.exe is missing'),
                 ('1.0', self.zip('b.zip', {'bin/' + name: data for name, data in PROGRAMS.items()}), 'is missing'),
                 ('1.0', self.zip('c.zip', {**PROGRAMS, 'data/../../evil.dll': b'x'}), 'leaves the install folder'),
                 ('1.0', self.zip('d.zip', {**PROGRAMS, '/etc/evil': b'x'}), 'absolute path'),
                 ('1.0', self.zip('e.zip', {**PROGRAMS, 'C:/evil': b'x'}), 'absolute path'),
                 ('1.0', damaged, 'damaged entry: Game_x64_win.exe'),
                 ('1.0', self.at('missing.zip'), ''),
                 ('', self.zip('f.zip', PROGRAMS), ''), ('1.0\n2.0', self.zip('g.zip', PROGRAMS), ''),
                 ('1.0 ', self.zip('h.zip', PROGRAMS), '')]
        for version, source, complaint in cases:
            with self.subTest(source=source, version=version):
                result = self.publish(version, source)
                self.assertNotEqual(result.returncode, 0)
                self.assertIn(complaint, result.stderr)
                self.assertFalse(os.path.exists(self.at('serve', 'version.txt')))


if __name__ == '__main__':
    unittest.main()
