"""Fails when a doc (docs/*.md, README.md) cites an end-to-end row that tests/e2e/installer_test.cpp
does not have. A doc cites a row by its name in double quotes: in a table's "Shown by" column,
after the word "row" or "rows", or starting with one of the table's groups ("keyed: "). A name
ending in "…" stands for the rows that start so.   cited_rows.py SOURCE_DIR"""
import pathlib
import re
import sys

root = pathlib.Path(sys.argv[1])
rows = re.findall(r'\.name = "([^"]*)"', (root / "tests/e2e/installer_test.cpp").read_text(encoding="utf-8"))
groups = tuple({name.split(": ")[0] + ": " for name in rows if ": " in name})
missing = [] if rows else ['tests/e2e/installer_test.cpp names no rows (.name = "…"): nothing to check against']
for doc in sorted(root.glob("docs/*.md")) + [root / "README.md"]:
    cited = set()
    for paragraph in re.split(r"\n\s*\n", doc.read_text(encoding="utf-8")):
        shown_by = None
        for line in paragraph.splitlines():
            cells = [cell.strip() for cell in line.split("|")[1:-1]]
            if "Shown by" in cells:
                shown_by = cells.index("Shown by")
            elif shown_by is not None and len(cells) > shown_by:
                cited.update(re.findall(r'"([^"]*)"', cells[shown_by]))
        prose = " ".join(paragraph.split())
        for run in re.findall(r'\brows? ((?:"[^"]*"(?:,? (?:and |or )?)?)+)', prose):
            cited.update(re.findall(r'"([^"]*)"', run))
        cited.update(text for text in re.findall(r'"([^"]*)"', prose) if text.startswith(groups))
    for name in sorted(cited):
        if not any(row.startswith(name[:-1].rstrip()) if name.endswith("…") else row == name for row in rows):
            missing.append(f'{doc.relative_to(root)} cites the row "{name}", which tests/e2e/installer_test.cpp does not have')
print("\n".join(missing) or f"every row the docs cite is one of the {len(rows)} rows of tests/e2e/installer_test.cpp")
sys.exit(1 if missing else 0)
