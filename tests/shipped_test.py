"""Ships Python with an application and runs it: in any place, whatever the machine is set to.

shipped_test.py PLUGIN PYTHON_ROOT LIBRARY_NAME [EMULATOR...] QUILLIX_HOST

Python's own variables, with which PYTHON_ROOT works, are those of the environment; the application
runs without them. LIBRARY_NAME is the one that the plug-in asks for.
"""

import ast
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent
plugin, python_root, library_name, *host = sys.argv[1:]
plugin, python_root = pathlib.Path(plugin), pathlib.Path(python_root)
WINDOWS, MACOS = plugin.suffix == ".dll", library_name.endswith(".dylib")

CODE = """
import ctypes, bz2, hashlib, json, os, sqlite3, sys, time, zlib
import addition.bz2
def meet(here, there):
    open(here, 'w').close()
    for _ in range(600):
        if os.path.exists(there):
            return tell()
        time.sleep(0.1)
def tell():
    assert addition.bz2.decompress(bz2.compress('x')) == 'x'
    assert sqlite3.connect(':memory:').execute('select 6 * 7').fetchone() == (42,)
    assert zlib.decompress(zlib.compress('x')) == bz2.decompress(bz2.compress('x')) == 'x'
    assert hashlib.md5('x').digest() and ctypes.sizeof(ctypes.c_void_p)
    try:
        import ssl
    except ImportError:
        assert os.name == 'nt'  # the Python that is built for the tests lacks it
    outside = [m.__file__ for m in sys.modules.values()
               if not getattr(m, '__file__', sys.prefix).startswith((sys.prefix, HERE))]
    outside += [p for p in sys.path if not p.startswith((sys.prefix, HERE))]
    outside += [name for name in os.environ if name.startswith(('PYTHON', 'LD_LIBRARY'))]
    return sys.prefix, json.dumps([addition.VALUE] + sorted(outside))
HERE = os.path.dirname(os.path.abspath(__file__))
"""


def path_there(path):
    """A path as the programs that are tried have it."""
    return f"Z:{path}".replace("/", "\\") if WINDOWS else str(path)


def run(arguments, environment, folder="/"):
    """The output of quillix-host, and that it ended well."""
    result = subprocess.run([*host[:-1], *arguments], env=environment, cwd=folder, text=True,
                            errors="replace",
                            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
    return result.stdout, result.returncode == 0


class Application:
    """An application in a folder, laid out as the host builds it."""

    def __init__(self, folder):
        contents = folder / ("My Äpp.app/Contents" if MACOS else "My Äpp")
        self.folder, self.program = folder, contents / ("MacOS/My" if MACOS else "My.exe" if WINDOWS else "My")
        self.libraries = contents / ("Frameworks" if MACOS else "My Äpp Libs")
        self.resources = contents / ("Resources" if MACOS else "My Äpp Resources")
        self.plugin = self.libraries / plugin.name
        self.code = folder / "code"
        for file, source in ((self.program, host[-1]), (self.plugin, plugin)):
            file.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(source, file)
        self.code.mkdir()
        (self.code / "work.py").write_text(CODE)

    def environment(self, **more):
        """Nothing of this machine's, but where the plug-in is."""
        names = {name: os.environ[name] for name in ("PATH", "HOME", "TMPDIR") if name in os.environ}
        if MACOS:
            names.update(QUILLIX_PLUGIN_PATH=os.environ["QUILLIX_PLUGIN_PATH"], QUILLIX_MACHO=str(self.plugin))
        else:
            names.update(QUILLIX_PLUGIN_PATH=path_there(self.plugin))
        return {**names, **more}

    def tell(self, folder="/", program=None, **more):
        return run([str(program or self.program), "call", path_there(self.code / "work.py"), "tell"],
                   self.environment(**more), folder)

    def check(self, **more):
        return run([str(self.program), "check"], self.environment(**more))


temporary = pathlib.Path()
shipped = pathlib.Path()
told = ""


def setUpModule():
    """Has the script make a folder, with a package that has an extension module."""
    global temporary, shipped, told
    temporary = pathlib.Path(tempfile.mkdtemp(prefix="shipped "))
    shipped = temporary / "python"
    package = temporary / "packages/addition"
    package.mkdir(parents=True)
    (package / "__init__.py").write_text("VALUE = 'shipped'\n")
    modules = python_root / ("DLLs" if WINDOWS else "usr/lib/python2.7/lib-dynload")
    extension = next(each for each in modules.iterdir() if each.name.startswith("bz2."))
    shutil.copy(extension, package)
    interpreter = python_root / ("python.exe" if WINDOWS else "usr/bin/python2.7")
    result = subprocess.run(
        [*host[:-1], interpreter, path_there(ROOT / "support/ship_python.py"), path_there(shipped)]
        + ["--packages", "addition"]
        + ([] if WINDOWS else ["--no-system-libraries", "--run", *host[:-1], str(interpreter)]),
        env={**os.environ, "PYTHONPATH": path_there(package.parent)}, text=True,
        stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
    assert result.returncode == 0, result.stdout
    told = result.stdout
    if MACOS:
        (shipped / "lib/libpython2.7.so.1.0").rename(shipped / "lib/libpython2.7.dylib")


def tearDownModule():
    shutil.rmtree(temporary)


class ApplicationTest(unittest.TestCase):
    def setUp(self):
        self.app = Application(pathlib.Path(tempfile.mkdtemp(prefix="place ", dir=temporary)))

    def ship(self, place):
        shutil.copytree(shipped, place / "python", symlinks=True)

    def expect(self, home, output, value="shipped", outside=()):
        text, ended_well = output
        self.assertTrue(ended_well, text)
        prefix, rest = ast.literal_eval(text)
        self.assertEqual(ast.literal_eval(rest), [value, *outside])
        if not WINDOWS:  # where the path may come as its short name
            self.assertEqual(prefix, str(home))


class ShippedTest(ApplicationTest):
    def test_runs_wherever_it_lies(self):
        self.ship(self.app.resources)
        self.expect(self.app.resources / "python", self.app.tell())

    def test_nothing_of_the_machine_reaches_it(self):
        self.ship(self.app.libraries)
        hostile = self.app.folder / "hostile"
        hostile.mkdir()
        users = hostile / ".local/lib/python2.7/site-packages"
        users.mkdir(parents=True)
        for name in ("json.py", "site.py", "os.py", "sitecustomize.py", "usercustomize.py", "addition.py"):
            for folder in (hostile, users):
                (folder / name).write_text("raise SystemExit('taken from the outside')\n")
        for name in ("libpython2.7.so.1.0", "python27.dll", "libpython2.7.dylib"):
            (hostile / name).write_text("not a library")
        there = path_there(hostile)
        self.expect(self.app.libraries / "python", self.app.tell(
            hostile, PYTHONHOME=there, PYTHONPATH=there, PYTHONSTARTUP=there, PYTHONVERBOSE="1",
            PYTHONOPTIMIZE="2", HOME=str(hostile)),
            outside=["PYTHONHOME", "PYTHONOPTIMIZE", "PYTHONPATH", "PYTHONSTARTUP", "PYTHONVERBOSE"])

    def test_moves_and_is_read_only(self):
        self.ship(self.app.libraries)
        before = sorted(self.app.libraries.rglob("*"))
        for path in before:
            path.chmod(0o555)
        self.expect(self.app.libraries / "python", self.app.tell())
        self.assertEqual(sorted(self.app.libraries.rglob("*")), before, "something was written")
        moved = self.app.folder.parent / ("elsewhere" if WINDOWS else "elsewhere é")
        self.app.folder.rename(moved)
        app = Application.__new__(Application)
        for name, value in vars(self.app).items():
            setattr(app, name, moved / value.relative_to(self.app.folder))
        self.expect(app.libraries / "python", app.tell())

    def test_starts_through_a_link(self):
        self.ship(self.app.libraries)
        link = self.app.folder / "link to My"
        link.symlink_to(self.app.program)
        self.expect(self.app.libraries / "python", self.app.tell(self.app.folder, link))

    def test_says_what_is_missing(self):
        self.ship(self.app.libraries)
        home = self.app.libraries / "python"
        if not MACOS:  # where the program that tells of the places is Linux's
            text, ended_well = self.app.check()
            self.assertTrue(ended_well, text)
            self.assertIn(f"looked at  {path_there(home)}", text)
        # Without the module that Python begins with: it is not started, and nothing ends.
        for file in home.rglob("site.py*"):
            file.unlink()
        text, ended_well = self.app.tell()
        self.assertFalse(ended_well, text)
        self.assertIn("does not find its standard library", text)
        if not MACOS:
            text, ended_well = self.app.check()
            self.assertFalse(ended_well, text)
            self.assertIn("modules    none in", text)

    def test_tells_what_it_did(self):
        self.assertIn("the package addition", told)
        self.assertIn("tried", told)
        self.assertFalse([f for f in shipped.rglob("*") if "readline." in f.name or f.name == "test"])
        licences = (shipped / "LICENSES.txt").read_text(errors="replace")
        self.assertIn("PYTHON SOFTWARE FOUNDATION LICENSE", licences)
        for library in (shipped / "lib").glob("*.so*"):
            if "python" not in library.name:
                self.assertIn(f"\n{library.name}\n=====", licences)

    @unittest.skipIf(MACOS, "the application is Linux's")
    def test_example(self):
        example = self.app.folder / "shipping"
        shutil.copytree(ROOT / "examples/shipping", example)
        project = path_there(example / "shipping.xojo_project")
        program = str(self.app.program)
        machines = (example / "output.txt").read_text()
        home = example / ("python-windows" if WINDOWS else "python-linux") / "python"
        shutil.copytree(shipped, home, symlinks=True, dirs_exist_ok=True)
        text, ended_well = run([program, "run", project], self.app.environment())
        self.assertTrue(ended_well, text)
        self.assertEqual(text, machines.replace("the machine's", "the application's own"))

    def test_two_with_different_pythons(self):
        other = Application(pathlib.Path(tempfile.mkdtemp(prefix="other ", dir=temporary)))
        running = []
        for app, there in ((self.app, other), (other, self.app)):
            shutil.copytree(shipped, app.resources / "python", symlinks=True)
            package = next((app.resources / "python").rglob("addition"))
            (package / "__init__.pyc").unlink()
            (package / "__init__.py").write_text(f"VALUE = {app.folder.name!r}\n")
            marks = [path_there(each.folder / "is here") for each in (app, there)]
            running.append(subprocess.Popen(
                [*host[:-1], str(app.program), "call", path_there(app.code / "work.py"), "meet", *marks],
                env=app.environment(), text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT))
        for app, process in zip((self.app, other), running):
            output = process.communicate()[0]
            self.expect(app.resources / "python", (output, process.returncode == 0), app.folder.name)


@unittest.skipIf(WINDOWS, "of systems with a root folder")
class BareSystemTest(ApplicationTest):
    """In a system of its own that holds nothing but the C library and what runs the program."""

    @classmethod
    def setUpClass(cls):
        cls.system = temporary / "system"
        programs = [host[-1], os.environ["QUILLIX_PLUGIN_PATH"]]
        if host[:-1]:  # qemu -L FOLDER
            programs = [shutil.which(host[0])]
            for library in pathlib.Path(host[2], "lib").glob("*.so*"):
                cls.put(library)
            cls.put(programs[0])
        needed = subprocess.run(["ldd", *programs], text=True, stdout=subprocess.PIPE, check=True).stdout
        libraries = {pathlib.Path(path) for path in re.findall(r"(/\S+) \(0x", needed)}
        c_library = next(path for path in libraries if path.name == "libc.so.6").parent
        libraries |= {c_library / name for name in (
            "libm.so.6", "libdl.so.2", "libpthread.so.0", "libutil.so.1", "librt.so.1", "libresolv.so.2")}
        for library in libraries:
            cls.put(library)
        (cls.system / "tmp").mkdir()
        # Without a network as well, where that may be had.
        paths = os.environ["PATH"] + ":/usr/sbin:/sbin"
        unshare, chroot = shutil.which("unshare", path=paths), shutil.which("chroot", path=paths)
        cls.enter = next(([*first, chroot, str(cls.system)] for first in (
            [unshare, "--net"], [unshare, "--user", "--map-root-user", "--net"], [])
            if subprocess.run([*first, chroot, "/", "true"], stderr=subprocess.DEVNULL,
                              check=False).returncode == 0), None)

    @classmethod
    def put(cls, file):
        """A file of this machine, under its own path there."""
        target = cls.system / str(file).lstrip("/")
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(file, target)

    def setUp(self):
        if not self.enter:
            self.skipTest("a system of its own takes the right to change the root folder")
        self.app = Application(pathlib.Path(tempfile.mkdtemp(prefix="place ", dir=self.system)))

    def inside(self, path):
        return "/" + str(path.relative_to(self.system))

    def run_inside(self, *arguments, **more):
        environment = {"QUILLIX_PLUGIN_PATH": self.inside(self.app.plugin), **more}
        if MACOS:
            shutil.copy(os.environ["QUILLIX_PLUGIN_PATH"], self.system / "loader.so")
            environment.update(QUILLIX_PLUGIN_PATH="/loader.so", QUILLIX_MACHO=self.inside(self.app.plugin))
        emulator = [shutil.which(host[0]), *host[1:-1]] if host[:-1] else []
        result = subprocess.run([*self.enter, *emulator, self.inside(self.app.program), *arguments],
                                env=environment, cwd="/", text=True, stdout=subprocess.PIPE,
                                stderr=subprocess.STDOUT, check=False)
        return result.stdout, result.returncode == 0

    def test_runs_where_no_python_is(self):
        text, ended_well = self.run_inside("check")
        self.assertFalse(ended_well, text)
        self.ship(self.app.resources)
        self.expect(self.inside(self.app.resources / "python"),
                    self.run_inside("call", self.inside(self.app.code / "work.py"), "tell"))
        for name in ("account", "report"):
            shutil.copytree(ROOT / "examples" / name, self.app.folder / name)
            built = self.app.folder / "built"
            if not MACOS:  # where the plug-in's file is the one that the loader is told
                self.ship(built / name / f"{name} Resources")
            text, ended_well = self.run_inside(
                "run", "--application", self.inside(built),
                self.inside(self.app.folder / name / f"{name}.xojo_project"))
            self.assertTrue(ended_well, text)
            self.assertEqual(text, (ROOT / "examples" / name / "output.txt").read_text())

    # From the last place to the first, each goes before those behind it.
    @unittest.skipIf(MACOS, "the program that tells of the places is Linux's")
    def test_looks_where_installers_put_it(self):
        for place in ("usr/local/lib64", "usr/local/lib"):
            shutil.copytree(shipped / "lib", self.system / place)
            text, _ = self.run_inside("check")
            self.assertIn(f"looked at  {library_name}: cannot be opened\n", text)
            self.assertIn(f"looked at  /{place}/{library_name}: is taken\n", text)
        # The bare name goes before them.
        shutil.copytree(shipped / "lib", self.system / "named")
        text, _ = self.run_inside("check", LD_LIBRARY_PATH="/named")
        self.assertIn(f"looked at  {library_name}: is taken\n", text)
        self.assertNotIn("/usr/local/lib", text)
        for place in ("usr/local", "named"):
            shutil.rmtree(self.system / place)


@unittest.skipUnless(WINDOWS, "of the system with a registry")
class RegistryTest(ApplicationTest):
    """What the registry says, in a copy of Wine's files that is made for each test."""

    def setUp(self):
        super().setUp()
        prefix = ROOT / ".python/wine-prefix"
        self.prefix = pathlib.Path(tempfile.mkdtemp(prefix="wine-prefix-", dir=prefix.parent.resolve()))
        self.addCleanup(shutil.rmtree, self.prefix, ignore_errors=True)
        self.addCleanup(self.stop)
        subprocess.run(["cp", "-al", f"{prefix}/.", self.prefix], check=True)
        self.registered = {"user": self.python("user's"), "machine": self.python("machine's")}

    @staticmethod
    def python(name):
        folder = pathlib.Path(tempfile.mkdtemp(prefix=name, dir=temporary))
        shutil.copy(shipped / library_name, folder)
        return folder

    def stop(self):
        subprocess.run([host[0], "--stop"], env={**os.environ, **self.settings()}, check=True)

    def note(self, whose, key, folder):
        self.stop()  # what runs holds the registry, and writes it
        file = self.prefix / ("user.reg" if whose == "user" else "system.reg")
        text = file.read_text(encoding="latin-1")
        value = path_there(folder).replace("\\", "\\\\")
        for software in ("Software", "Software\\\\Wow6432Node")[:1 if whose == "user" else 2]:
            text += f"\n[{software}\\\\Python\\\\PythonCore\\\\2.7\\\\{key}] 1600000000\n@=\"{value}\"\n"
        file.unlink()  # which is the same one as in the prefix that it is a copy of
        file.write_text(text, encoding="latin-1")

    def settings(self, **more):
        return {"QUILLIX_WINE_PREFIX": str(self.prefix), **more}

    def taken(self, **more):
        text, _ = self.app.check(**self.settings(**more))
        return re.findall(r"looked at  (.*): is taken", text)

    def library(self, whose):
        return [path_there(self.registered[whose] / library_name)]

    def test_installed_python_is_found(self):
        self.assertEqual(self.taken(), [])
        self.note("machine", "InstallPath", self.registered["machine"])
        self.assertEqual(self.taken(), self.library("machine"))
        self.note("user", "InstallPath", self.registered["user"])
        self.assertEqual(self.taken(), self.library("user"))
        self.assertEqual(self.taken(WINEPATH=path_there(self.registered["machine"])), [library_name])
        self.ship(self.app.resources)
        self.assertEqual(self.taken(), [path_there(self.app.resources / "python" / library_name)])

    def test_modules_of_the_registry_do_not_reach_a_shipped_python(self):
        self.ship(self.app.libraries)
        hostile = self.app.folder / "hostile"
        hostile.mkdir()
        for name in ("json.py", "site.py", "os.py", "bz2.py", "sitecustomize.py"):
            (hostile / name).write_text("raise SystemExit('taken from the outside')\n")
        for whose in ("user", "machine"):
            for key in ("PythonPath", "PythonPath\\\\More", "InstallPath", "Modules\\\\bz2"):
                self.note(whose, key, hostile)
        self.expect(self.app.libraries / "python", self.app.tell(**self.settings()))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
