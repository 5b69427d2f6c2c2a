#!/usr/bin/env python3
"""Writes docs/reference/ from what the plug-in registers and from descriptions beside the code.

    reference.py [--check] API_TEXT     API_TEXT is what `quillix-host api` prints

Every class and module has a description: a Markdown file beside its source, of this form.

    # ClassName
    Text. Its first sentence is what the index says.
    Include: attributes.md (owner = module)
    ## Member[, Member...]
    Text, for all overloads of these members.
    Parameters:
    - name: text
    Result: text            and likewise Errors, Ownership, Notes, See also, Since
    ## Table: Title
    Text, and a table whose first column names members.
    ## Each of Title
    Text for every member of that table.
    ## Example: Member
    Listings for the end of that member's entry.
    ## Words
    - word: text

Paragraphs stand apart by blank lines. {word} stands for a word of this file or of an included one,
for a value given with Include, for {name} and {type} of the member described, and below "Each of"
for a column of the member's row. A table without an "Each of" describes its members by itself, and
a section of a member's own goes before its row's. The index has a description of its own,
src/plugin/reference.md, whose lists of classes get their summaries here.

It is an error when a member has no description or two, when a description, a parameter, a word or a
link leads nowhere, and with --check when the pages are not what would be written.
"""

import pathlib
import re
import sys

ROOMS = ("src/python", "src/bridge", "src/objects", "src/publish", "src/plugin")
INDEX = "src/plugin/reference.md"
FIRST_VERSION = "1.0.0"
FIELDS = ("Parameters", "Result", "Errors", "Ownership", "Notes", "See also", "Since")
KINDS = {"property": "Properties", "method": "Methods", "shared method": "Shared methods",
         "event": "Events", "constant": "Constants"}


# ---- What is registered ----

class Member:
    def __init__(self, kind, text):
        self.assignable = text.endswith("  (assignable)")
        self.kind = kind
        self.declaration = text.removesuffix("  (assignable)")
        self.name = re.match(r"\w+", text)[0]
        inside = re.search(r"\((.*?)\)", self.declaration)
        inside = inside[1] if inside else ""
        self.parameters = [p.split(" as ") for p in inside.split(", ") if p]
        self.type = self.value = ""
        if kind == "constant":
            self.value = self.declaration.split(" = ")[1]
        elif re.search(r"(\)|^\w+) as \w+$", self.declaration):
            self.type = self.declaration.rsplit(" as ")[-1]


class Type:
    def __init__(self, kind, name, base):
        self.kind, self.name, self.base = kind, name, base
        self.members, self.subclasses = [], []

    def named(self, name):
        return [member for member in self.members if member.name == name]


def parse_api(text):
    """The types by name, in the order of registration, super classes first."""
    types, stack = {}, []
    for line in text.splitlines():
        depth = (len(line) - len(line.lstrip())) // 2
        if opening := re.match(r" *(class|module) (\w+):", line):
            base = stack[depth - 1] if depth else None
            made = types[opening[2]] = Type(opening[1], opening[2], base)
            if base:
                base.subclasses.append(made)
            stack[depth:] = [made]
        elif row := re.match(r" +(%s)  +(.+)$" % "|".join(KINDS), line):
            stack[depth - 1].members.append(Member(row[1], row[2]))
    return types


# ---- What is described ----

class Section:
    def __init__(self, where, heading, lines):
        self.where, self.heading = where, heading
        self.paragraphs = []
        paragraph, fence = [], False
        for line in lines + [""]:
            if line.startswith("```"):
                fence = not fence
            if line.strip() or fence:
                paragraph.append(line)
            elif paragraph:
                self.paragraphs.append("\n".join(paragraph))
                paragraph = []

    def text(self):
        return "\n\n".join(self.paragraphs)


class Table:
    def __init__(self, section):
        self.title = section.heading.removeprefix("Table: ")
        grid = next((i for i, text in enumerate(section.paragraphs) if text.startswith("|")), None)
        if grid is None:
            raise ValueError("%s: no table below %s" % (section.where, section.heading))
        self.before, self.after = section.paragraphs[:grid], section.paragraphs[grid + 1:]
        cells = [[cell.strip() for cell in line.strip("|").split("|")]
                 for line in section.paragraphs[grid].splitlines()]
        self.columns = cells[0]
        self.rows = {row[0]: dict(zip(self.columns, row)) for row in cells[2:]}
        self.uneven = [row[0] for row in cells if len(row) != len(self.columns)]


class Description:
    """A file, with what it includes."""

    def __init__(self, path, values=()):
        self.words = dict(values)
        self.tables, self.each, self.examples = {}, {}, {}
        self.sections, self.included = [], {path}
        title, *parts = re.split(r"^## (.*)\n", path.read_text(), flags=re.M)
        self.title, _, front = title.removeprefix("# ").partition("\n")
        self.front = Section(path, self.title, front.splitlines())
        for paragraph in [p for p in self.front.paragraphs if p.startswith("Include: ")]:
            self.front.paragraphs.remove(paragraph)
            for line in paragraph.splitlines():
                name, values = re.fullmatch(r"Include: (\S+)(?: \((.*)\))?", line).groups()
                self.add(Description(path.parent / name, [
                    value.split(" = ", 1) for value in (values or "").split(", ") if value]))
        for heading, body in zip(parts[::2], parts[1::2]):
            section = Section(path, heading, body.splitlines())
            if heading == "Words":
                self.words.update(re.findall(r"^- (\w+): (.*)$", body, flags=re.M))
            elif heading.startswith("Table: "):
                table = Table(section)
                self.tables[table.title] = table
            elif heading.startswith("Each of "):
                self.each[heading.removeprefix("Each of ")] = section
            elif heading.startswith("Example: "):
                self.examples[heading.removeprefix("Example: ")] = section
            else:
                self.sections.append(section)

    def add(self, other):
        self.words.update(other.words)
        self.tables.update(other.tables)
        self.each.update(other.each)
        self.examples.update(other.examples)
        self.sections += other.sections
        self.included |= other.included


# ---- Joining the two ----

class Reference:
    def __init__(self, root, api):
        self.types = parse_api(api)
        self.errors = []
        self.pages = {}
        self.descriptions = self.find_descriptions(root)
        self.index = Description(root / INDEX)
        for name, type_ in self.types.items():
            if name in self.descriptions:
                self.pages[name + ".md"] = self.page(type_, self.descriptions[name])
            else:
                self.error("%s has no description" % name)
        self.pages["README.md"] = self.index_page()

    def error(self, text):
        if text not in self.errors:
            self.errors.append(text)

    def find_descriptions(self, root):
        paths = [path for room in ROOMS for path in sorted((root / room).glob("*.md"))
                 if path != root / INDEX]
        all_ = [Description(path) for path in paths]
        found = {d.title: d for d in all_ if d.title in self.types}
        used = {path for d in found.values() for path in d.included}
        for path in paths:
            if path not in used:
                self.error("%s describes no class or module" % path.relative_to(root))
        return found

    # -- Text --

    def fill(self, text, words, where):
        """Puts in the words, and the words in these."""
        def word(match):
            if match[1] in words:
                return words[match[1]]
            self.error("%s: unknown word %s" % (where, match[0]))
            return ""
        pattern = r"\{([A-Za-z][\w ]*)\}"
        return re.sub(pattern, word, re.sub(pattern, word, text))

    def target(self, name, here):
        """Where a name leads, seen from a type's page; nothing for a name that is not ours."""
        type_name, _, member = name.partition(".")
        type_ = self.types.get(type_name)
        if not type_ and not member and here:
            type_, member = here, type_name
        while type_:
            if not member or type_.named(member):
                page = "" if type_ is here else type_.name + ".md"
                return page + ("#" + member.lower() if member else "") or "#" + type_.name.lower()
            type_ = type_.base
        return None

    def linked(self, text, here, where):
        """The text with its `names` as links, outside of listings."""
        def link(match):
            to = self.target(match[1], here)
            if to and not (here and match[1] == here.name):
                return "[%s](%s)" % (match[0], to)
            if not to and "." in match[1] and match[1].split(".")[0] in self.types:
                self.error("%s: there is no %s" % (where, match[1]))
            return match[0]
        parts = re.split(r"(^```.*?^```$)", text, flags=re.M | re.S)
        return "".join(part if part.startswith("```") else re.sub(r"(?<!\[)`([\w.]+)`", link, part)
                       for part in parts)

    def type_link(self, name, here):
        known = name in self.types and name != here.name
        return "[%s](%s)" % (name, self.target(name, here)) if known else name

    # -- Entries --

    def describe(self, type_, description):
        """The entries by name; none for a member that only a row of a table describes."""
        entries, rows = {}, set()

        def claim(name, where):
            if not type_.named(name):
                self.error("%s: %s has no member %s" % (where, type_.name, name))
            elif name in entries or name in rows:
                self.error("%s: %s.%s is described twice" % (where, type_.name, name))
            else:
                return True
            return False

        for section in description.sections:
            for name in section.heading.split(", "):
                if claim(name, section.where.name):
                    entries[name] = self.entry(type_, name, section, description.words)
        alone = set(entries)
        for title, table in description.tables.items():
            for row in table.uneven:
                self.error("%s: uneven row in table %s: %s" % (type_.name, title, row))
            section = description.each.get(title)
            for name, row in table.rows.items():
                if name not in alone and claim(name, "table " + title):
                    if section:
                        entries[name] = self.entry(type_, name, section, {**description.words, **row},
                                                   description.examples.get(name))
                    else:
                        rows.add(name)
        for title in description.each.keys() - description.tables.keys():
            self.error("%s: there is no table %s" % (type_.name, title))
        for name in description.examples.keys() - entries.keys() | description.examples.keys() & alone:
            self.error("%s: an example for no entry: %s" % (type_.name, name))
        for member in type_.members:
            if member.name not in entries and member.name not in rows:
                self.error("%s.%s has no description" % (type_.name, member.name))
        return entries

    def entry(self, type_, name, section, words, example=None):
        overloads = type_.named(name)
        where = "%s.%s" % (type_.name, name)
        words = {**words, "name": name, "type": overloads[0].type}
        fields, text, listings = {}, [], []
        for paragraph in section.paragraphs + (example.paragraphs if example else []):
            paragraph = self.fill(paragraph, words, where).strip()
            label = re.match(r"([A-Z][a-z ]+):\s", paragraph)
            if paragraph.startswith("```"):
                listings.append(paragraph)
            elif label and label[1] in FIELDS:
                if label[1] in fields:
                    self.error("%s: two paragraphs of %s" % (where, label[1]))
                told = paragraph[label.end():].strip()
                fields[label[1]] = told[:1].upper() + told[1:]
            elif paragraph:
                text.append(paragraph)
        signatures = []
        for member in overloads:
            signatures.append(member.declaration + "  (read-only)" * (member.kind == "property"))
            if member.assignable:
                signatures.append(member.declaration.rsplit(" as ", 1)[0] + " = value as " + member.type)
        out = ["### " + name, "```\n%s\n```" % "\n".join(signatures)] + text
        if parameters := self.parameters(overloads, fields.pop("Parameters", ""), type_, where):
            out.append("**Parameters**\n\n" + parameters)
        since = fields.pop("Since", FIRST_VERSION)
        also = fields.pop("See also", "")
        out += ["**%s**: %s" % (label, fields[label]) for label in FIELDS if label in fields]
        if listings:
            out.append("**Example**")
        out += listings
        last = "Since %s." % since
        if also:
            names = re.split(r",\s+", also.rstrip("."))
            for other in names:
                if not self.target(other, type_):
                    self.error("%s: see also leads nowhere: %s" % (where, other))
            last += " See also %s." % ", ".join("`%s`" % other for other in names)
        return self.linked("\n\n".join(out + [last]), type_, where)

    def parameters(self, overloads, text, type_, where):
        told = dict(re.findall(r"^- (\w+): (.*(?:\n  .*)*)", text, flags=re.M))
        types = {}
        for member in overloads:
            for name, kind in member.parameters:
                types.setdefault(name, []).append(self.type_link(kind, type_))
        for name in types.keys() - told.keys():
            self.error("%s: parameter %s has no description" % (where, name))
        for name in told.keys() - types.keys():
            self.error("%s: there is no parameter %s" % (where, name))
        return "\n".join("- `%s` as %s: %s" % (name, " or ".join(dict.fromkeys(types[name])), told[name])
                         for name in types if name in told)

    # -- Pages --

    @staticmethod
    def summary(text):
        """The first sentence of an entry's or a class's own text, in one line."""
        text = re.sub(r"\A### .*?\n\n```.*?```\n\n", "", text, flags=re.S)
        text = " ".join(text.split("\n\n")[0].split())
        return re.match(r".*?\.(?= |$)|.*", text)[0]

    def overview(self, type_, entries, kind):
        """The members of one kind, inherited ones as links to the class that declares them."""
        chain, rows = type_, []
        while chain:
            for member in chain.members:
                inherited = chain is not type_
                if member.kind != kind or (inherited and member.name == "Constructor"):
                    continue
                parameters = ", ".join(p[0] + " as " + self.type_link(p[1], type_)
                                       for p in member.parameters)
                told = "Inherited from %s." % self.type_link(chain.name, type_) if inherited \
                    else self.summary(entries.get(member.name, ""))
                if member.assignable:
                    told += " Can be assigned."
                to = (chain.name + ".md" if inherited else "") + "#" + member.name.lower()
                cells = ["[%s](%s)" % (member.name, to)]
                if kind == "property":
                    cells.append(self.type_link(member.type, type_))
                elif kind == "event":
                    cells.append(parameters)
                else:
                    cells += [parameters, self.type_link(member.type, type_)]
                rows.append((member.name != "Constructor", member.name.lower(), cells + [told]))
            chain = chain.base
        heads = {"property": ["Name", "Type", ""], "event": ["Name", "Parameters", ""]}
        return rows and self.grid(heads.get(kind, ["Name", "Parameters", "Returns", ""]),
                                  [cells for *_, cells in sorted(rows, key=lambda row: row[:2])])

    @staticmethod
    def grid(head, rows):
        lines = [head, ["---"] * len(head)] + rows
        return "\n".join("| " + " | ".join(line) + " |" for line in lines)

    def table(self, type_, table, words, entries):
        """A table of the description, with the types or values of the members behind their names."""
        def text(part, more=()):
            where = "%s, %s" % (type_.name, table.title)
            return self.linked(self.fill(part, {**words, **dict(more)}, where), type_, where)

        members = [type_.named(name)[0] for name in table.rows if type_.named(name)]
        told = "value" if any(member.value for member in members) else "type"
        vary = len({getattr(member, told) for member in members}) > 1
        rows = []
        for member in members:
            anchor = member.name.lower()
            name = "[`%s`](#%s)" % (member.name, anchor)
            if member.name not in entries:
                name = '<a id="%s"></a>`%s`' % (anchor, member.name)
            row = table.rows[member.name]
            rows.append([name] + [getattr(member, told)] * vary + [
                text(row.get(column, ""), row) for column in table.columns[1:]])
        head = [table.columns[0]] + [told.capitalize()] * vary + table.columns[1:]
        return (["## " + table.title] + [text(part) for part in table.before] +
                [self.grid(head, rows)] + [text(part) for part in table.after])

    def page(self, type_, description):
        entries = self.describe(type_, description)
        front = self.linked(self.fill(description.front.text(), description.words, type_.name),
                            type_, type_.name)
        place = [type_.kind.capitalize()]
        if type_.base:
            place.append("inherits " + self.type_link(type_.base.name, type_))
        if type_.subclasses:
            place.append("inherited by " + ", ".join(
                self.type_link(other.name, type_) for other in type_.subclasses))
        out = ["# " + type_.name, "; ".join(place) + ". Since %s." % FIRST_VERSION, front]
        for kind, title in KINDS.items():
            if kind != "constant" and (rows := self.overview(type_, entries, kind)):
                out += ["## " + title, rows]
        for table in description.tables.values():
            out += self.table(type_, table, description.words, entries)
        for kind, title in KINDS.items():
            names = sorted({m.name for m in type_.members if m.kind == kind and m.name in entries},
                           key=lambda name: (name != "Constructor", name.lower()))
            if names:
                out += ["## %s descriptions" % kind.capitalize()] + [entries[name] for name in names]
        out.append("[All classes](README.md)")
        return "\n\n".join(out) + "\n"

    def index_page(self):
        told = set()

        def listed(match):
            name = match[1]
            if name not in self.types:
                self.error("%s: there is no class %s" % (INDEX, name))
                return match[0]
            told.add(name)
            description = self.descriptions.get(name)
            summary = self.linked(self.summary(description.front.text()) if description else "",
                                  None, name)
            return "- [`%s`](%s.md): %s" % (name, name, summary)

        def tree(type_, depth=0):
            line = "  " * depth + "- [`%s`](%s.md)" % (type_.name, type_.name)
            return [line + (" (module)" if type_.kind == "module" else "")] + [
                deeper for other in type_.subclasses for deeper in tree(other, depth + 1)]

        out = ["# " + self.index.title, self.index.front.text()]
        for section in self.index.sections:
            text = re.sub(r"^- (\w+)$", listed, section.text(), flags=re.M)
            out += ["## " + section.heading, text]
        for name in self.types.keys() - told:
            self.error("%s does not list %s" % (INDEX, name))
        lines = [line for type_ in self.types.values() if not type_.base for line in tree(type_)]
        text = self.fill("\n\n".join(out), {"class tree": "\n".join(lines)}, INDEX)
        return self.linked(text, None, INDEX) + "\n"


def main(arguments, root=pathlib.Path(__file__).resolve().parent.parent):
    check = arguments[:1] == ["--check"]
    folder = root / "docs" / "reference"
    reference = Reference(root, pathlib.Path(arguments[-1]).read_text())
    errors = reference.errors
    present = {path.name for path in folder.glob("*.md")}
    if check:
        for name in sorted(present | reference.pages.keys()):
            path = folder / name
            if not path.exists() or path.read_text() != reference.pages.get(name):
                errors.append("docs/reference/%s is stale; ./dev docs writes it" % name)
    elif not errors:
        folder.mkdir(parents=True, exist_ok=True)
        for name in present - reference.pages.keys():
            (folder / name).unlink()
        for name, text in reference.pages.items():
            (folder / name).write_text(text)
    for error in errors:
        print("reference: " + error, file=sys.stderr)
    return 1 if errors else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
