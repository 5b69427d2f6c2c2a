"""Holds the includes against the plan of the house: plan.py [ROOT]

The rooms of the product are floors, and so are those of the stand-in host: a file includes its own
room and the rooms below. Of the product, the host shares the records, the list of symbols and the
search for Python alone; the product knows neither host nor tests. CONTRIBUTING.md says what each
room is for.
"""
import re
import sys
from pathlib import Path

PRODUCT = ["src/boundary", "src/python", "src/bridge", "src/objects", "src/publish", "src/plugin"]
HOST = ["host/runtime", "host/script", "host/cli"]
SHARED = ["src/boundary/records.h", "src/python/search.h", "src/python/symbols.h"]

INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)


def complaint(file, included):
    """What is wrong with an include, or None; both are paths from the root."""
    room, other = str(Path(file).parent), str(Path(included).parent)
    floors = PRODUCT if room in PRODUCT else HOST
    if floors is HOST and included in SHARED:
        return None
    if other not in floors:
        return f"{room} must not know {other}"
    if floors.index(other) > floors.index(room):
        return f"{room} lies below {other} and must not know it"
    return None


def check(root):
    failed = False
    files = [f for top in ("src", "host") for f in (root / top).rglob("*") if f.suffix in (".h", ".cpp")]
    for file in sorted(files):
        name = str(file.relative_to(root))
        if str(Path(name).parent) not in PRODUCT + HOST:
            print(f"{name}: tools/plan.py does not know this room")
            failed = True
            continue
        text = file.read_text()
        for match in INCLUDE.finditer(text):
            inside = (root / "src" / match[1]).is_file()
            wrong = complaint(name, f"src/{match[1]}" if inside else match[1])
            if wrong:
                line = text.count("\n", 0, match.start(1)) + 1
                print(f'{name}:{line}: "{match[1]}" is included, but {wrong}')
                failed = True
    return failed


if __name__ == "__main__":
    sys.exit(check(Path(sys.argv[1] if len(sys.argv) > 1 else ".")))
