"""cited_rows.py SOURCE_DIR: every row that docs/*.md and README.md cite, by its name in double quotes in a "Shown by"
column, after "row(s)" or starting with a group such as "keyed: " ("…" ending a prefix), is in tests/e2e/installer_test.cpp."""
import pathlib, re, sys

root = pathlib.Path(sys.argv[1])
rows = re.findall(r'\.name = "([^"]*)"', (root / "tests/e2e/installer_test.cpp").read_text(encoding="utf-8"))
groups = tuple({name.split(": ")[0] + ": " for name in rows if ": " in name})
quoted = r'"([^"]*)"'
missing = [] if rows else ['tests/e2e/installer_test.cpp names no rows (.name = "…")']
for doc in sorted(root.glob("docs/*.md")) + [root / "README.md"]:
    for paragraph in re.split(r"\n\s*\n", doc.read_text(encoding="utf-8")):
        lines, prose = paragraph.strip().splitlines(), " ".join(paragraph.split())
        table = lines and lines[0].rstrip(" |").endswith("| Shown by")
        cited = re.findall(quoted, " ".join([line.rstrip(" |").rsplit("|", 1)[-1] for line in lines[2:]] if table else []))
        for run in re.findall(r'\brows? ((?:"[^"]*"(?:,? (?:and |or )?)?)+)', prose):
            cited += re.findall(quoted, run)
        cited += [text for text in re.findall(quoted, prose) if text.startswith(groups)]
        missing += [f'{doc.relative_to(root)} cites the row "{name}", which tests/e2e/installer_test.cpp does not have'
                    for name in sorted(set(cited))
                    if not any(row.startswith(name[:-1].rstrip()) if name.endswith("…") else row == name for row in rows)]
print("\n".join(missing) or f"every row the docs cite is one of the {len(rows)} rows of tests/e2e/installer_test.cpp")
sys.exit(1 if missing else 0)
