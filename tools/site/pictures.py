#!/usr/bin/env python3
"""Draws the pictures of the documents: docs/pictures/*.svg.

    pictures.py [--check]     --check says which are not as they would be drawn

The figures of the chart are those of the table in docs/performance.md. Colours follow the reader's choice of
light or dark; every picture says in its title what it shows.
"""

import html
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
STYLE = """
text { font: 14px system-ui, "Segoe UI", "Noto Sans", Arial, sans-serif; fill: #1c2128; }
.small { font-size: 12px; fill: #57606a; }
.head { font-size: 15px; font-weight: 600; }
.code { font-family: ui-monospace, "Cascadia Mono", Menlo, Consolas, "DejaVu Sans Mono", monospace; font-size: 12.5px; }
.middle { text-anchor: middle; } .end { text-anchor: end; }
.ground { fill: #ffffff; } .box { fill: #f4f6f8; stroke: #8c96a0; }
.host { fill: #e3f0fd; stroke: #3b82c4; } .quillix { fill: #ece6fb; stroke: #7a5cc9; }
.python { fill: #fdf3d6; stroke: #b98a13; }
.line { stroke: #57606a; stroke-width: 1.5; fill: none; } .thin { stroke: #c5ccd3; fill: none; }
.tip { fill: #57606a; } .dashed { stroke-dasharray: 5 4; }
.first { fill: #7a5cc9; stroke: #7a5cc9; } .second { fill: #b98a13; stroke: #b98a13; }
@media (prefers-color-scheme: dark) {
text { fill: #dfe4ea; } .small { fill: #98a3ae; }
.ground { fill: #15181d; } .box { fill: #1e232a; stroke: #6b7580; }
.host { fill: #17324d; stroke: #6aaeea; } .quillix { fill: #2d2450; stroke: #a993ea; }
.python { fill: #423511; stroke: #e0b64a; }
.line { stroke: #a6b0ba; } .thin { stroke: #39414a; } .tip { fill: #a6b0ba; }
.first { fill: #a993ea; stroke: #a993ea; } .second { fill: #e0b64a; stroke: #e0b64a; }
}
"""


class Drawing:
    def __init__(self, width, height, title):
        self.parts = [
            f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" width="{width}" '
            f'height="{height}" role="img" aria-label="{html.escape(title)}">',
            f"<title>{html.escape(title)}</title>", f"<style>{STYLE}</style>",
            '<defs><marker id="tip" viewBox="0 0 10 10" refX="9" refY="5" markerWidth="7" markerHeight="7" '
            'orient="auto-start-reverse"><path class="tip" d="M0 0 10 5 0 10z"/></marker></defs>',
            f'<rect class="ground" width="{width}" height="{height}"/>']

    def text(self, x, y, text, style=""):
        self.parts.append(f'<text class="{style}" x="{x}" y="{y}" xml:space="preserve">{html.escape(text)}</text>')

    def box(self, x, y, width, height, kind, *lines, style="middle"):
        self.parts.append(f'<rect class="{kind}" x="{x}" y="{y}" width="{width}" height="{height}" rx="7"/>')
        top = y + height / 2 - (len(lines) - 1) * 9 + 5
        for i, line in enumerate(lines):
            self.text(x + width / 2, top + 18 * i, line.lstrip("`"),
                      style + (" code" if line.startswith("`") else "") + (" small" if i and line[0] != "`" else ""))

    def line(self, *points, style="line", tip=True):
        path = " ".join(f"{x} {y}" for x, y in points)
        self.parts.append(f'<path class="{style}" d="M{path}"' + (' marker-end="url(#tip)"' if tip else "") + "/>")

    def source(self):
        return "\n".join(self.parts) + "\n</svg>\n"


def call():
    d = Drawing(760, 420, "The way of a call there and back: from the program through Quillix into Python, and "
                          "from Python into a published function")
    for x, kind, name in ((20, "host", "your program"), (285, "quillix", "Quillix"), (550, "python", "Python")):
        d.box(x, 16, 190, 34, kind, name, style="middle head")
        d.line((x + 95, 50), (x + 95, 404), style="thin", tip=False)

    def step(y, start, end, text, below=""):
        xs = {"host": 115, "quillix": 380, "python": 645}
        d.line((xs[start], y), (xs[end], y))
        d.text((xs[start] + xs[end]) / 2, y - 7, text, "middle code")
        if below:
            d.text((xs[start] + xs[end]) / 2, y + 16, below, "middle small")
    step(88, "host", "quillix", 'a.StringValue(0) = "melon"')
    step(88, "quillix", "python", "str 'melon'", "a new object, in the tuple")
    step(138, "host", "quillix", "total.Invoke(a)")
    step(138, "quillix", "python", "total('melon')", "your program waits")
    step(188, "python", "quillix", "12.0")
    step(188, "quillix", "host", "PythonResult", "Nil when Python raised an error")
    step(238, "host", "quillix", "result.DoubleValue")
    step(262, "quillix", "host", "12.0")
    d.line((20, 290), (740, 290), style="thin dashed", tip=False)
    step(322, "python", "quillix", "shop.price('melon')", "a function that you have published")
    step(322, "quillix", "host", "Price(Nil, arguments)", "Python waits")
    step(372, "host", "quillix", "Return result.GetPtr", "Nil, and SetError: an exception")
    step(372, "quillix", "python", "3.0")
    return d.source()


def ownership():
    d = Drawing(760, 300, "Who keeps whom alive: a variable its wrapper, the wrapper its Python object, and a "
                          "capsule in Python an object of the host")
    d.text(130, 28, "your program", "head middle")
    d.text(380, 28, "Quillix", "head middle")
    d.text(630, 28, "Python", "head middle")
    d.box(40, 50, 180, 50, "host", "`result", "a variable of yours")
    d.box(290, 50, 180, 50, "quillix", "`PythonResult", "a wrapper")
    d.box(540, 50, 180, 50, "python", "`[1, 2, 3]", "an object")
    d.line((220, 75), (290, 75))
    d.line((470, 75), (540, 75))
    d.text(255, 68, "holds", "middle small")
    d.text(505, 68, "holds", "middle small")
    d.text(380, 124, "the last variable goes: the wrapper goes, and lets go of the object", "middle small")
    d.box(40, 170, 180, 50, "host", "`Document", "an object of yours")
    d.box(290, 170, 180, 50, "quillix", "a capsule", "locks your object")
    d.box(540, 170, 180, 50, "python", "`shelf['Atlas']", "a dict of Python's")
    d.line((540, 195), (470, 195))
    d.line((290, 195), (220, 195))
    d.text(505, 188, "holds", "middle small")
    d.text(255, 188, "holds", "middle small")
    d.text(380, 244, "Python lets go of the capsule, or stops: your object goes, if nobody else has it", "middle small")
    d.text(380, 280, "Only a circle through both, your object holding the dict that holds it, ends at Finalize",
           "middle small")
    return d.source()


def life():
    d = Drawing(760, 250, "The life of the interpreter: the library is opened when the program is loaded; Init "
                          "starts Python, Finalize stops it, and Init may start it again")
    d.line((20, 120), (745, 120))
    for x, name, below in ((95, "loaded", "Python's library is opened"), (205, "Init", "Python starts"),
                           (430, "Finalize", "Python stops"), (560, "Init", "a new Python")):
        d.line((x, 108), (x, 132), tip=False)
        d.text(x, 98, name, "middle code")
        d.text(x, 150, below, "middle small")
    d.box(210, 28, 216, 44, "python", "modules, functions, objects", "hold what they stand for")
    d.box(566, 28, 174, 44, "python", "fetch them anew")
    d.box(434, 180, 122, 44, "box", "old wrappers", "hold nothing")
    d.line((495, 180), (495, 128), style="line dashed")
    d.box(25, 180, 140, 44, "box", "`PythonIsFound", "tells, from here on")
    d.line((95, 180), (95, 158), style="line dashed")
    return d.source()


def folder():
    d = Drawing(760, 330, "The folder of an application that ships Python, on Linux, Windows and macOS")
    trees = (("Linux", ["MyApp/", "  MyApp", "  MyApp Libs/", "    Quillix.so", "  MyApp Resources/", "    shop.py",
                        "*    python/", "*      lib/libpython2.7.so.1.0", "*      lib/python2.7/",
                        "*      LICENSES.txt"]),
             ("Windows", ["MyApp\\", "  MyApp.exe", "  MyApp Libs\\", "    Quillix.dll", "  MyApp Resources\\",
                          "    shop.py", "*    python\\", "*      python27.dll", "*      Lib\\  DLLs\\",
                          "*      LICENSES.txt"]),
             ("macOS", ["MyApp.app/Contents/", "  MacOS/MyApp", "  Frameworks/", "    Quillix.dylib", "  Resources/",
                        "    shop.py", "*    python/", "*      lib/libpython2.7.dylib", "*      lib/python2.7/",
                        "*      LICENSES.txt"]))
    for i, (system, lines) in enumerate(trees):
        x = 14 + i * 248
        d.box(x, 14, 236, 34, "box", system, style="middle head")
        marked = [n for n, line in enumerate(lines) if line[0] == "*"]
        d.parts.append(f'<rect class="python" x="{x}" y="{62 + 25 * marked[0]}" width="236" '
                       f'height="{25 * len(marked) + 4}" rx="7"/>')
        for n, line in enumerate(lines):
            d.text(x + 10, 80 + 25 * n, line.lstrip("*").replace(" ", "\u00a0"), "code")
    return d.source()


def figures():
    """Title, and the time of plug-in and pybind11 as a share of the C API's, of every row that has them."""
    text = (ROOT / "docs/performance.md").read_text(encoding="utf-8")
    table = text[text.index("<!-- figures -->"):text.index("<!-- end of figures -->")]
    rows = []
    for line in table.splitlines():
        cells = [cell.strip().replace(",", "") for cell in line.strip("|").split(" | ")]
        if len(cells) == 9 and re.fullmatch(r"[\d.]+", cells[7]):
            rows.append((line.strip("| ").split(" | ")[0], float(cells[7]), float(cells[3]) / float(cells[2])))
    if not rows:
        raise SystemExit("pictures: docs/performance.md has no figures")
    return rows


def speed():
    rows, left, scale, limit = figures(), 400, 130, 2.5
    height = 92 + 24 * len(rows)
    d = Drawing(760, height, "The time of each row of the table, as a multiple of the C API by hand: the plug-in "
                             "without the host's share, and pybind11")
    d.parts.append('<circle class="first" cx="410" cy="22" r="5"/><rect class="second" x="555" y="17" width="10" height="10"/>')
    d.text(422, 27, "the plug-in")
    d.text(572, 27, "pybind11")
    for n in range(6):
        x = left + scale * n / 2
        d.line((x, 48), (x, height - 32), style="line" if n == 2 else "thin", tip=False)
        d.text(x, height - 14, f"{n / 2:g}", "middle small")
    d.text(left + scale, 44, "C API = 1", "middle small")
    for i, (title, plugin, pybind11) in enumerate(rows):
        y = 66 + 24 * i
        title = title.replace("`", "")
        d.text(left - 14, y + 4, title if len(title) < 58 else title[:56] + "…", "end small")
        for kind, value in (("second", pybind11), ("first", plugin)):
            x = left + scale * min(value, limit)
            if kind == "first":
                d.parts.append(f'<circle class="first" cx="{x:.1f}" cy="{y}" r="5"/>')
            else:
                d.parts.append(f'<rect class="second" x="{x - 4.5:.1f}" y="{y - 4.5}" width="9" height="9"/>')
            if value > limit:
                d.text(left + scale * limit + 8, y + 4, f"{value:.1f}", "small")
    return d.source()


def main():
    folder_path = ROOT / "docs/pictures"
    stale = []
    for draw in (call, ownership, life, folder, speed):
        file, source = folder_path / f"{draw.__name__}.svg", draw()
        if file.exists() and file.read_text(encoding="utf-8") == source:
            continue
        stale.append(file.name)
        if sys.argv[1:] != ["--check"]:
            folder_path.mkdir(exist_ok=True)
            file.write_text(source, encoding="utf-8")
    if sys.argv[1:] == ["--check"] and stale:
        sys.exit(f"pictures: {', '.join(stale)}: `./dev docs` draws them anew")


if __name__ == "__main__":
    main()
