#!/usr/bin/env python3
"""Unpacks the same zip archives with bsdtar (natively) and with the stand-in tar.exe (under
Wine) and checks that both end with the same exit status class (0 or not) and leave the same
files: the same names and kinds always, the same contents where the run succeeded.

Usage: compare_tar.py STAND_IN_TAR_EXE WINE_DIR   (the test bed that tests/wine/prefix.sh started)
"""
import os
import subprocess
import sys
import tempfile
import zipfile
from pathlib import Path


def write_zip(path, entries, method=zipfile.ZIP_DEFLATED):
    with zipfile.ZipFile(path, "w", method) as archive:
        for name, data in entries:
            archive.writestr(name, data)


def make_archives(folder):
    text = b"".join(b"line %d of the game data\r\n" % i for i in range(2000))
    game = [("Game_x64_win.exe", text), ("data/", b""), ("data/maps/north/deep.map", bytes(range(256)) * 40),
            ("data/empty.txt", b""), ("implied/parents/file.txt", b"x")]
    cases = {}

    def add(name, entries, method=zipfile.ZIP_DEFLATED):
        cases[name] = folder / (name + ".zip")
        write_zip(cases[name], entries, method)
        return cases[name].read_bytes()

    add("stored", game, zipfile.ZIP_STORED)
    deflated = add("deflated", game)
    add("parent element", [("ok1.txt", b"1"), ("../escape.txt", b"e"), ("sub/../../escape2.txt", b"e"),
                           ("sub/../inside.txt", b"i"), ("ok2.txt", b"2")])
    add("absolute", [("ok1.txt", b"1"), ("/absolute/file.txt", b"a"), ("ok2.txt", b"2")])
    stored_crc = bytearray(add("bad crc", [("first.txt", b"first"), ("bad.txt", b"hello world"),
                                          ("last.txt", b"last")], zipfile.ZIP_STORED))
    stored_crc[stored_crc.find(b"hello world")] ^= 1
    cases["bad crc"].write_bytes(stored_crc)

    corrupt = bytearray(deflated)
    corrupt[30 + len("Game_x64_win.exe") + 5] ^= 0xFF  # inside the first entry's deflate stream
    cases["corrupt"] = folder / "corrupt.zip"
    cases["corrupt"].write_bytes(corrupt)
    cases["truncated"] = folder / "truncated.zip"
    cases["truncated"].write_bytes(deflated[: len(deflated) // 2])
    cases["not a zip"] = folder / "not a zip.zip"
    cases["not a zip"].write_bytes(os.urandom(2000))
    cases["missing"] = folder / "missing.zip"

    # zip writing to a pipe can't seek back, so it puts sizes and CRCs behind each entry's data.
    source = folder / "streamed source"
    (source / "d").mkdir(parents=True)
    (source / "d" / "numbers.txt").write_bytes(b"".join(b"%d\n" % i for i in range(5000)))
    (source / "top.txt").write_bytes(b"top")
    streamed = subprocess.run(["zip", "-q", "-r", "-", "."], cwd=source, stdout=subprocess.PIPE, check=True)
    cases["data descriptors"] = folder / "data descriptors.zip"
    cases["data descriptors"].write_bytes(streamed.stdout)
    return cases


def tree(folder, with_contents):
    entries = {}
    for path in sorted(folder.rglob("*")):
        name = path.relative_to(folder).as_posix()
        if path.is_dir():
            entries[name] = "folder"
        else:
            entries[name] = path.read_bytes() if with_contents else "file"
    return entries


def main():
    stand_in, wine_dir = sys.argv[1], sys.argv[2]
    run_in_wine = [str(Path(__file__).parent / "wine" / "run.sh"), wine_dir, stand_in]
    failures = 0
    with tempfile.TemporaryDirectory() as scratch:
        scratch = Path(scratch)
        (scratch / "archives").mkdir()
        cases = make_archives(scratch / "archives")
        for name, archive in cases.items():
            relative = "../../archives/" + archive.name
            outputs = {}
            for tool, command in (("bsdtar", ["bsdtar"]), ("stand-in", run_in_wine)):
                out = scratch / tool / name
                out.mkdir(parents=True)
                # Output to a file, not a pipe: Wine's helper processes keep inherited pipes open.
                with open(scratch / f"{tool}.log", "ab") as log:
                    result = subprocess.run(command + ["-x", "-f", relative], cwd=out, stdout=log,
                                            stderr=log, timeout=60)
                outputs[tool] = (result.returncode, out)
            (bsd_code, bsd_out), (ours_code, ours_out) = outputs["bsdtar"], outputs["stand-in"]
            with_contents = bsd_code == 0
            same_class = (bsd_code == 0) == (ours_code == 0)
            same_tree = tree(bsd_out, with_contents) == tree(ours_out, with_contents)
            verdict = "ok  " if same_class and same_tree else "FAIL"
            failures += verdict == "FAIL"
            print(f"{verdict} {name}: exit {bsd_code} (bsdtar) / {ours_code} (stand-in), "
                  f"tree {'same' if same_tree else 'differs'}")
            if not same_tree:
                print(f"     bsdtar:   {sorted(tree(bsd_out, False))}")
                print(f"     stand-in: {sorted(tree(ours_out, False))}")
    print(f"{len(cases) - failures} passed, {failures} failed")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
