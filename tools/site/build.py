#!/usr/bin/env python3
"""Makes the manual: the documents as one static site that opens from the disk.

    build.py FOLDER     the site goes there; it must not be there yet, or be a site

The documents stay what they are, Markdown that reads well by itself. Here they are laid out as MkDocs wants
them, their links made to follow; MkDocs makes the pages, and what no browser does from a disk by itself,
the search, gets its index as a script.
"""

import pathlib
import posixpath
import re
import shutil
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parent.parent
LUNR = pathlib.Path("/usr/share/javascript/lunr/lunr.min.js")


def pages():
    """The path in the site, without suffix, of each document, by its path from the root."""
    found = {"README.md": "index", "docs/README.md": "index", "CHANGELOG.md": "changelog",
             "LICENSE": "license"}
    for name in ("guide", "support", "performance", "verification", "regression-tests"):
        found[f"docs/{name}.md"] = name
    for file in sorted((ROOT / "docs/reference").glob("*.md")):
        found[f"docs/reference/{file.name}"] = "reference/" + file.stem.replace("README", "index")
    for file in sorted((ROOT / "examples").glob("*/README.md")):
        found[f"examples/{file.parent.name}/README.md"] = f"examples/{file.parent.name}"
    return found | {"examples/README.md": "examples/index"}


def follow(link, source, target, known):
    """A link of a document as the page has it."""
    path, _, anchor = link.partition("#")
    if "://" in link or not path:
        return link
    there = posixpath.normpath(posixpath.join(posixpath.dirname(source), path))
    anchor = f"#{anchor}" if anchor else ""
    start = posixpath.dirname(target) or "."
    if there in known:
        return posixpath.relpath(known[there] + ".md", start) + anchor
    if there.startswith("docs/pictures/"):
        return posixpath.relpath(there.removeprefix("docs/"), start)
    raise SystemExit(f"{source}: {link} leads to no page")


def laid_out(text, source, target, known):
    """A document as Python-Markdown wants it."""
    if source == "LICENSE":
        return "# Licence\n\n" + text
    lines, inside = [], False
    for line in text.split("\n"):
        fence = re.match(r"```(\w*)", line)
        if fence:
            inside = not inside
            lines.append("```" + fence[1])  # what follows is for those who run listings
            continue
        if not inside:
            line = re.sub(r"(\]\()([^)\s]+)(\))",
                          lambda m: m[1] + follow(m[2], source, target, known) + m[3], line)
            is_item = re.match(r"(- |\d+\. )", line)
            if is_item and lines and lines[-1].strip() and not re.match(r"(- |\d+\. | )", lines[-1]):
                lines.append("")  # a list begins behind an empty line
        lines.append(line)
    return "\n".join(lines)


def stage(folder):
    known = pages()
    for source, target in known.items():
        if source == "docs/README.md":
            continue
        text = (ROOT / source).read_text(encoding="utf-8")
        file = folder / f"{target}.md"
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(laid_out(text, source, target, known), encoding="utf-8")
    shutil.copytree(ROOT / "docs/pictures", folder / "pictures")


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    site = pathlib.Path(sys.argv[1]).resolve()
    if site.exists() and any(site.iterdir()) and not (site / "search/index.js").exists():
        sys.exit(f"build: {site} is there, and no site")
    with tempfile.TemporaryDirectory() as temporary:
        settings = pathlib.Path(temporary, "mkdocs.yml")
        settings.write_text((HERE / "mkdocs.yml").read_text().replace("HERE", str(HERE)))
        stage(pathlib.Path(temporary, "docs"))
        command = ["mkdocs", "build", "--quiet", "--strict", "--config-file", settings, "--site-dir", site]
        if subprocess.run(command, check=False).returncode:
            sys.exit("build: MkDocs found faults")
    index = site / "search/search_index.json"
    (site / "search/index.js").write_text(f"const searchIndex = {index.read_text(encoding='utf-8')};\n",
                                          encoding="utf-8")
    shutil.copy(LUNR, site / "search/lunr.js")
    for name in ("search/search_index.json", "search/main.js", "search/worker.js", "sitemap.xml", "sitemap.xml.gz", "404.html"):
        (site / name).unlink(missing_ok=True)


if __name__ == "__main__":
    main()
