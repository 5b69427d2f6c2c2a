#!/usr/bin/env python3
"""Holds the example projects against the format in which the IDE opens them.

project_test.py [HOST...]

HOST is the command that runs quillix-host; without it only the files are looked at. What the stand-in
host overlooks, the IDE may refuse: so each project is looked at line by line, and every fault of a kind
that editing by hand makes is put in once, and must be found.
"""

import base64
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
import urllib.parse

ROOT = pathlib.Path(__file__).resolve().parent.parent
HOST = sys.argv[1:]

HEAD = "Type RBProjectVersion MinIDEVersion OrigIDEVersion".split()
TAIL = """MajorVersion MinorVersion SubVersion NonRelease Release InfoVersion LongVersion ShortVersion
WinCompanyName WinInternalName WinProductName WinFileDescription AutoIncrementVersionInformation BuildFlags
BuildLanguage DebugLanguage Region WindowsName MacCarbonMachName LinuxX86Name MacCreator MDI MDICaption
DefaultEncoding AppIcon OSXBundleID DebuggerCommandLine UseGDIPlus UseBuildsFolder
CopyRedistNextToWindowsEXE IncludePDB IsWebProject LinuxBuildArchitecture MacBuildArchitecture
WindowsBuildArchitecture OptimizationLevel WindowsVersions WindowsRunAs""".split()
ICON = b"ICNS\0\0\0\x08\0\0\0\0"
ITEM = re.compile(r"([^;]+);([^;]+\.xojo_code);&h([0-9A-F]{16});&h([0-9A-F]{16});false")
TAG = re.compile(r"#tag (End)?(\w+)(.*)")
VISIBLE = {"&h0": "", "&h1": "Protected ", "&h21": "Private "}
STEP_KEYS = {"AppliesTo": "[012]", "Architecture": r"\d", "Target": r"\d", "Destination": "[012]",
             "Subdirectory": "[^/].*|", "FolderItem": r"[A-Za-z0-9+/]+=*"}


class Wrong(Exception):
    """What the IDE would stumble over."""


def need(holds, text):
    if not holds:
        raise Wrong(text)


class Project:
    """The files of a project; `changed` has other contents for some of them, by their names."""

    def __init__(self, manifest, changed=None):
        self.folder, self.manifest, self.changed = manifest.parent, manifest, changed or {}

    def lines(self, name):
        need(name in self.changed or (self.folder / name).is_file(), f"{name}: is not there")
        data = self.changed.get(name)
        text = (self.folder / name).read_bytes().decode() if data is None else data
        need(text.endswith("\n") and "\r" not in text, f"{name}: lines end with LF")
        return text[:-1].split("\n")

    def check(self):
        rows = [line.partition("=") for line in self.lines(self.manifest.name)]
        need(all(sign for _, sign, _ in rows), "a line without =")
        keys = [key for key, _, _ in rows]
        items = rows[len(HEAD):len(rows) - len(TAIL)]
        need(keys[:len(HEAD)] == HEAD and keys[-len(TAIL):] == TAIL, "keys are missing or out of order")
        values = {key: value for key, _, value in rows}
        name = self.manifest.stem
        need(values["Type"] == "Console", "no console project")
        need((values["WindowsName"], values["MacCarbonMachName"], values["LinuxX86Name"]) ==
             (name + ".exe", name, name), "the application has another name")
        need(re.fullmatch(r"com\.example\.\w+", values["OSXBundleID"]), "the bundle's ID")
        icon, _, number = values["AppIcon"].partition(";")
        need(number == "&h0" and (self.folder / icon).read_bytes() == ICON, "the icon")
        for key in ("RBProjectVersion", "MinIDEVersion", "OrigIDEVersion", "BuildFlags", "OptimizationLevel",
                    "LinuxBuildArchitecture", "MacBuildArchitecture", "WindowsBuildArchitecture"):
            need(re.fullmatch(r"[\d.]+|&h[0-9a-f]+", values[key]), f"{key} has no number")
        for key in ("UseBuildsFolder", "IsWebProject", "IncludePDB", "UseGDIPlus"):
            need(values[key] in ("True", "False"), f"{key} is neither True nor False")
        self.check_items(items)

    def check_items(self, items):
        parents, seen, names = {0: None}, set(), set()
        for kind, _, value in items:
            match = ITEM.fullmatch(value)
            need(match, f"{kind}={value}: no item")
            name, path, number, parent = match[1], match[2], int(match[3], 16), int(match[4], 16)
            need(0 < number < 2 ** 31 and number not in seen, f"{name}: the ID")
            need(parent in parents, f"{name}: there is no parent")
            module = parents[parent]
            need(path == (f"{module}/" if module else "") + name + ".xojo_code", f"{name}: the path")
            need(name.lower() not in names, f"{name}: twice")
            seen.add(number)
            names.add(name.lower())
            if kind == "BuildSteps":
                self.check_steps(path)
            else:
                need(kind in ("Class", "Module"), f"{kind}: no kind of item")
                self.check_code(path, kind, name)
                if kind == "Module":
                    parents[number] = name
        kinds = [kind for kind, _, _ in items]
        need("app" in names and kinds.count("BuildSteps") == 1, "App or the steps of the build are missing")
        there = {file.stem.lower() for file in self.folder.rglob("*.xojo_code")}
        need(there == names, f"files that are no items: {there - names}")

    def check_code(self, path, kind, name):
        lines = self.lines(path)
        head = [f"#tag {kind}", f"Protected {kind} {name}"]
        if name == "App":
            head.append("Inherits ConsoleApplication")
        need(lines[:len(head)] == head and lines[-2:] == [f"End {kind}", f"#tag End{kind}"],
             f"{path}: does not begin or end as a {kind}")
        found = []
        body, opened = [], None
        for line in lines[len(head):-2]:
            tag = TAG.fullmatch(line.strip())
            if tag:
                need(line.startswith("\t#tag"), f"{path}: {line.strip()} is not indented by one tab")
                if tag[1]:
                    need(opened and tag[2] == opened[0], f"{path}: {line.strip()} closes nothing")
                    self.check_member(path, opened[0], opened[1], body)
                    opened = None
                else:
                    need(not opened, f"{path}: {line.strip()} within another tag")
                    opened, body = (tag[2], tag[3]), []
                    found.append(tag[2])
            elif opened:
                body.append(line)
            else:
                need(not line.strip() or line.startswith("Inherits "), f"{path}: {line} outside of all tags")
        need(not opened, f"{path}: #tag {opened} is not closed")
        need(found[-1:] == ["ViewBehavior"], f"{path}: the last tag is not ViewBehavior")
        if name == "App":
            need("Event" in found, f"{path}: App has no event")

    @staticmethod
    def check_member(path, tag, settings, body):
        for line in body:
            need(not line or line.startswith("\t\t"), f"{path}: {line!r} is not indented by two tabs")
        if tag in ("ViewBehavior", "Note"):
            need((tag == "Note") == bool(re.fullmatch(", Name = .+", settings)), f"{path}: #tag {tag}")
            return
        flags = re.fullmatch(r", Flags = (&h0|&h1|&h21)", settings)
        need(flags or tag == "Event" and not settings, f"{path}: #tag {tag}{settings}")
        visible = VISIBLE[flags[1]] if flags else ""
        if tag == "Property":
            need(len(body) == 1 and re.match(rf"\t\t{visible}[A-Za-z]\w*(\(\))? As \w", body[0]),
                 f"{path}: a property is one line of its own: {body}")
            return
        need(tag in ("Method", "Event") and body, f"{path}: #tag {tag}")
        declared = re.match(rf"\t\t{visible}(Shared )?(Sub|Function) [A-Za-z]\w*\(.*\)", body[0])
        need(declared and body[-1] == f"\t\tEnd {declared[2]}", f"{path}: {body[0].strip()}")
        need(("Function" in body[0]) == bool(re.search(r"\) As \w+(\(\))?$", body[0])),
             f"{path}: {body[0].strip()}: the result")
        for line in body[1:-1]:
            need(not line or line.startswith("\t\t  "), f"{path}: {line.strip()} is not indented")
        # Blocks are closed inside of the member.
        depth = 0
        for line in body[1:-1]:
            text = re.sub(r"\s*'.*", "", line.strip())
            if re.match(r"If .* Then$|(For|While|Select|Try) |Do( |$)|Try$", text):
                depth += 1
            elif re.match(r"End( If| Select| Try)?$|Next( |$)|Wend$|Loop( |$)", text):
                depth -= 1
            need(depth >= 0, f"{path}: {text} closes nothing")
        need(depth == 0, f"{path}: a block of {body[0].strip()} is not closed")

    def check_steps(self, path):
        lines = self.lines(path)
        need(lines[0] == "#tag BuildAutomation" and lines[-1] == "#tag EndBuildAutomation",
             f"{path}: does not begin or end with its tag")
        copied, opened, keys, targets = [], [], [], []
        for line in lines[1:-1]:
            words = line.split(None, 2)
            need(line.startswith("\t" * (3 + len(opened) - (words == ["End"]))) and words,
                 f"{path}: {line!r} is not indented as it lies")
            if words[0] == "Begin":
                need(len(words) == 3, f"{path}: {line.strip()}")
                expected = "BuildStepList" if not opened else ("BuildProjectStep", "CopyFilesBuildStep")
                need(len(opened) < 2 and words[1] in expected, f"{path}: {line.strip()} in {opened}")
                opened.append(words[1])
                if words[1] == "BuildStepList":
                    targets.append(words[2])
                    copied.append([])
                else:
                    copied[-1].append(words[2])
                keys = []
            elif words == ["End"]:
                need(opened, f"{path}: an End too many")
                if opened[-1] == "CopyFilesBuildStep":
                    need(keys == list(STEP_KEYS), f"{path}: the keys of a step")
                opened.pop()
            else:
                key, _, value = line.strip("\t").partition(" = ")
                need(opened[-1:] == ["CopyFilesBuildStep"], f"{path}: {line.strip()} outside of a step")
                need(key in STEP_KEYS and re.fullmatch(STEP_KEYS[key], value), f"{path}: {line.strip()}")
                keys.append(key)
                if key == "FolderItem":
                    self.check_copied(path, value)
        need(not opened, f"{path}: {opened} is not closed")
        need(targets == ["Linux", "Mac OS X", "Windows"], f"{path}: the systems")
        need(copied[0] == copied[1] == copied[2] and copied[0][0] == "Build" and
             len(set(copied[0])) == len(copied[0]) > 1, f"{path}: the steps of the systems")

    def check_copied(self, path, value):
        item = urllib.parse.unquote(base64.b64decode(value, validate=True).decode())
        target = self.folder / item
        need(target.is_dir() if item.endswith("/") else target.is_file(), f"{path}: {item} is not there")


class ProjectTest(unittest.TestCase):
    projects = sorted(ROOT.glob("examples/*/*.xojo_project"))

    def test_examples_keep_to_the_format(self):
        self.assertEqual(len(self.projects), len(list(ROOT.glob("examples/*/README.md"))))
        for project in self.projects:
            with self.subTest(project.name):
                Project(project).check()

    def wrong(self, project, file, lines):
        with self.assertRaises((Wrong, ValueError), msg=f"in {file}: {lines}"):
            Project(project, {file: "".join(line + "\n" for line in lines)}).check()

    def test_a_line_too_few_or_too_many_is_found(self):
        for project in self.projects:
            for path in [project, *project.parent.glob("*.xojo_code")]:
                lines = path.read_text().splitlines()
                is_code = path != project and lines[0] != "#tag BuildAutomation"
                for i, line in enumerate(lines):
                    if is_code and not re.match(r"\s*(#tag|End\b)|Protected |\t\t(Private |Protected )?\w+ \w+\(", line):
                        continue
                    self.wrong(project, path.name, lines[:i] + lines[i + 1:])
                    self.wrong(project, path.name, lines[:i + 1] + lines[i:])

    def test_wrong_values_are_found(self):
        project = next(each for each in self.projects if each.stem == "account")
        for file, old, new in [
                (project.name, r"(Module=.*?&h)\w{16}", r"\g<1>00000000FFFFFFFF"),
                (project.name, r"(Class=\w+;)\w+(\.)", r"\1Missing\2"),
                (project.name, r";&h0{16};", ";&h0000000000000007;"),
                (project.name, r"Class=App", "Module=App"),
                (project.name, r"account\.exe", "other.exe"),
                (project.name, r"\n", "\r\n"),
                ("Bank.xojo_code", "Flags = &h1\n", "Flags = &h21\n"),
                ("Bank.xojo_code", "\t\tEnd Sub", "\t\tEnd Function"),
                ("Bank.xojo_code", "\n\t\t  ", "\n\t\t"),
                ("Bank.xojo_code", "#tag EndModule", "#tag EndClass"),
                ("App.xojo_code", "ConsoleApplication", "DesktopApplication"),
                ("Build Automation.xojo_code", "Destination = 1", "Destination = 3"),
                ("Build Automation.xojo_code", "FolderItem = .*", "FolderItem = bWlzc2luZw=="),
                ("Build Automation.xojo_code", "Mac OS X", "macOS")]:
            text = (project.parent / file).read_text()
            self.assertRegex(text, old)
            with self.assertRaises(Wrong, msg=f"{file}: {old}"):
                Project(project, {file: re.sub(old, new, text, count=1)}).check()
        # Two items with one ID.
        ids = re.findall(r"&h0{8}[1-9A-F]\w+", project.read_text())
        with self.assertRaises(Wrong):
            Project(project, {project.name: project.read_text().replace(ids[1], ids[0])}).check()


@unittest.skipUnless(HOST, "needs quillix-host")
class RunTest(unittest.TestCase):
    """What the stand-in host says of a project that it cannot run, and what it lays out."""

    def setUp(self):
        temporary = tempfile.TemporaryDirectory(prefix="projects of ")
        self.addCleanup(temporary.cleanup)
        self.folder = pathlib.Path(temporary.name, "objects")
        shutil.copytree(ROOT / "examples/objects", self.folder)

    def run_project(self, *options):
        ended = subprocess.run([*HOST, "run", *options, self.folder / "objects.xojo_project"],
                               stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False)
        return ended.returncode, ended.stderr.decode()

    def changed(self, file, old, new):
        path = self.folder / file
        text = path.read_text()
        self.assertIn(old, text)
        path.write_text(text.replace(old, new))
        line = text[:text.index(old)].count("\n") + 1
        status, errors = self.run_project()
        path.write_text(text)
        return status, errors, f"{file}:{line}: "

    def test_faults_are_told_with_their_place(self):
        for file, old, new, message in [
                ("App.xojo_code", "SpecialFolder.Resources)", "SpecialFolder.Resource)", "does not take"),
                ("App.xojo_code", "Quillix.Finalize", "Quillix.Finalise", "has no member Finalise"),
                ("Document.xojo_code", "End Sub", "End Function", '"Sub" is expected'),
                ("Document.xojo_code", "#tag EndMethod", "#tag EndEvent", "EndEvent closes nothing"),
                ("objects.xojo_project", "Type=Console", "Type=Desktop", "only console projects"),
                ("objects.xojo_project", "Class=Document", "Window=Document", "the kind Window"),
                ("Build Automation.xojo_code", "FolderItem = ", "Folder = ", "")]:
            status, errors, place = self.changed(file, old, new)
            self.assertEqual(status, 1, errors)
            self.assertIn(message, errors)
            if message:
                self.assertIn(place, errors)

    def test_an_application_is_laid_out(self):
        for old, new, message in [("Class=App;App.x", "Class=App;Apple.x", "cannot be read"),
                                  ("LinuxX86Name=", "LinuxName=", "lacks the key"),
                                  ("WindowsName=", "WinName=", "lacks the key")]:
            status, errors, _ = self.changed("objects.xojo_project", old, new)
            if message in errors or not old.startswith(("Linux", "Windows")):
                self.assertEqual((status, message in errors), (1, True), errors)
        (self.folder / "shelf.py").rename(self.folder / "elf.py")
        status, errors = self.run_project()
        self.assertEqual((status, "shelf.py" in errors), (1, True), errors)
        (self.folder / "elf.py").rename(self.folder / "shelf.py")
        place = self.folder / "built"
        self.assertEqual(self.run_project("--application", place), (0, ""))
        files = {file.name for file in place.rglob("*") if file.parent.name == "objects Resources"}
        self.assertIn("shelf.py", files)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
