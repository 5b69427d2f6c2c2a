#!/usr/bin/env python2.7
"""Makes a folder ``python`` that an application with Quillix ships.

    python2.7 ship_python.py FOLDER [--packages NAME ...] [--without NAME ...]
                                    [--with NAME ...] [--sources]

Run it with the Python that shall be shipped, on the system that the
application is for.  FOLDER, which must not be there yet, gets the library,
the standard library in compiled form, the extension modules, the libraries
that those need and that a bare system lacks, the packages that are asked for,
and the licences of it all.  All paths in it are relative to the files, so it
works wherever it lies; how Quillix finds it, the guide says.

Left out are what no application needs (test suites, idle, the sources, static
libraries), and modules whose libraries an application with a licence of its
own must not bring along unasked (readline, gdbm and Berkeley DB).

On Linux this takes the program patchelf.
"""

from __future__ import print_function

import argparse
import fnmatch
import imp
import marshal
import os
import re
import shutil
import struct
import subprocess
import sys
import sysconfig

WINDOWS = os.name == 'nt'
MACOS = sys.platform == 'darwin'
STDLIB = os.path.dirname(os.path.abspath(os.__file__))

# Of the standard library, by the path from its folder: what no application needs.
NOT_SHIPPED = """
test */test */tests idlelib lib2to3/tests lib-old config config-* ensurepip
dist-packages site-packages sitecustomize.py* usercustomize.py* *.egg-info
distutils/command/wininst-*.exe lib-dynload/_testcapi* lib-dynload/_ctypes_test*
_testcapi.pyd _ctypes_test.pyd __pycache__ *.pyo *.whl turtledemo
""".split()

# Libraries that do not come along unasked, because their licences ask something of the whole
# application.
UNASKED = {
    'libreadline': 'GPL', 'libgdbm': 'GPL', 'libgdbm_compat': 'GPL',
    'libdb': 'licence of Berkeley DB',
    'libtk8': 'scripts that this does not take',
}

# What every Linux has: the C library in all its parts.
OF_THE_SYSTEM = re.compile(
    r'(ld-linux.*|libc|libm|libdl|libpthread|libutil|librt|libresolv|libgcc_s)\.so(\..*)?$')


class Refused(Exception):
    """The folder cannot be made."""


def say(what, text):
    print('%-10s  %s' % (what, text))


def matches(path, patterns):
    """Whether a path with slashes, or its last part, is one of them."""
    return any(fnmatch.fnmatch(path, each) or
               ('/' not in each and fnmatch.fnmatch(path.rsplit('/', 1)[-1], each))
               for each in patterns)


# ---- Libraries of Linux ----

def elf(path):
    """Give the word size, machine and needed libraries of an ELF file, or None for another one."""
    with open(path, 'rb') as file:
        data = file.read()
    if data[:4] != b'\x7fELF':
        return None
    wide = ord(data[4]) == 2
    header = struct.unpack_from('<HHIQQQIHHHHHH' if wide else '<HHIIIIIHHHHHH', data, 16)
    machine, segments, size, count = header[1], header[4], header[8], header[9]
    loads, dynamic = [], None
    for i in range(count):
        if wide:
            kind, _, offset, address, _, length = struct.unpack_from('<IIQQQQ', data, segments + i * size)
        else:
            kind, offset, address, _, length = struct.unpack_from('<IIIII', data, segments + i * size)
        if kind == 1:
            loads.append((address, offset, length))
        elif kind == 2:
            dynamic = offset, length
    entry = '<qQ' if wide else '<iI'
    tags = [struct.unpack_from(entry, data, at)
            for at in range(dynamic[0], dynamic[0] + dynamic[1], struct.calcsize(entry))] if dynamic else []
    table = [value for tag, value in tags if tag == 5]
    if not table:
        return wide, machine, []
    text = [table[0] - address + offset for address, offset, length in loads
            if address <= table[0] < address + length][0]
    needed = [data[text + value:data.index(b'\0', text + value)] for tag, value in tags if tag == 1]
    return wide, machine, needed


def library_folders(library, of_the_system):
    """Give the folders in which libraries are sought."""
    folders = [os.path.dirname(library)]
    if of_the_system:
        triplet = getattr(sys, '_multiarch', '') or sysconfig.get_config_var('MULTIARCH') or ''
        folders += os.environ.get('LD_LIBRARY_PATH', '').split(':')
        folders += [os.path.join(root, part) for root in ('/lib', '/usr/lib')
                    for part in (triplet, '')] + ['/lib64', '/usr/lib64', '/usr/local/lib']
    return [folder for folder in folders if folder and os.path.isdir(folder)]


class Libraries(object):
    """The libraries that a shipped Python needs beside its own."""

    def __init__(self, python, of_the_system):
        self.kind = elf(python)[:2]
        self.folders = library_folders(python, of_the_system)
        self.taken = {}  # path by name

    def find(self, name):
        """Give the path of a library for the same processor, or None."""
        for folder in self.folders:
            path = os.path.join(folder, name)
            if os.path.exists(path) and (elf(path) or (None,))[:2] == self.kind:
                return path
        return None

    def lacking(self, path, wanted):
        """Say why a module cannot come along; None where it can, with its libraries."""
        found = {}

        def gather(file):
            for name in elf(file)[2]:
                unasked = UNASKED.get(re.split(r'[-.]', name)[0])
                if OF_THE_SYSTEM.match(name) or name.startswith('libpython') or name in found:
                    continue
                if unasked and not wanted:
                    return '%s (%s); --with brings the module along' % (name, unasked)
                found[name] = self.find(name)
                if not found[name]:
                    return '%s, which was not found here' % name
                reason = gather(found[name])
                if reason:
                    return reason
            return None

        reason = gather(path)
        if not reason:
            self.taken.update(found)
        return reason


# ---- What is taken ----

def python_library():
    """Give the path of the running Python's shared library."""
    if WINDOWS:
        import ctypes
        name = ctypes.create_unicode_buffer(32768)
        ctypes.windll.kernel32.GetModuleFileNameW(ctypes.c_void_p(sys.dllhandle), name, len(name))
        return name.value.encode(sys.getfilesystemencoding())
    if MACOS:
        names = ['Python', 'lib/libpython2.7.dylib']
        folders = [sys.prefix]
    else:
        names = ['libpython2.7.so.1.0']
        lib = os.path.dirname(STDLIB)
        folders = os.environ.get('LD_LIBRARY_PATH', '').split(':') + [
            lib, os.path.join(lib, getattr(sys, '_multiarch', '') or sysconfig.get_config_var('MULTIARCH') or ''),
            sysconfig.get_config_var('LIBDIR') or '']
    for folder in folders:
        for name in names:
            path = os.path.join(folder, name)
            if folder and os.path.exists(path):
                return os.path.realpath(path)
    raise Refused('this Python has no shared library: on Debian, install libpython2.7')


def files_below(folder):
    """Give the files below a folder, as sorted paths with slashes."""
    found = []
    for where, folders, files in os.walk(folder):
        folders.sort()
        found += [os.path.relpath(os.path.join(where, name), folder).replace(os.sep, '/')
                  for name in files]
    return sorted(found)


def place_of_package(name):
    """Give the path of a package or module, and those of what its installer noted about it."""
    try:
        _, path, _ = imp.find_module(name)
    except ImportError as error:
        raise Refused('there is no package %s: %s' % (name, error))
    if os.path.abspath(path).startswith(STDLIB) and '-packages' not in path:
        raise Refused('%s is part of the standard library' % name)
    around = os.path.dirname(path)
    notes = [os.path.join(around, each) for each in sorted(os.listdir(around))
             if re.match(re.escape(name) + r'[-.].*(egg-info|dist-info)$', each, re.I)]
    return path, notes


class Shipment(object):
    """A folder in the making."""

    def __init__(self, options):
        self.options = options
        self.folder = os.path.abspath(options.folder)
        self.library = python_library()
        self.shipped_library = None
        if WINDOWS:
            self.modules, self.extensions, self.packages = 'Lib', 'DLLs', 'Lib/site-packages'
        else:
            self.modules, self.extensions = 'lib/python2.7', 'lib/python2.7/lib-dynload'
            # Where this Python looks for packages: Debian's has another name for it.
            self.packages = self.modules + '/' + (
                'dist-packages' if os.path.isdir(os.path.join(STDLIB, 'dist-packages'))
                else 'site-packages')
        self.left_out = []
        self.libraries = None
        if not WINDOWS and not MACOS:
            self.libraries = Libraries(self.library, not options.no_system_libraries)

    def put(self, source, target):
        """Copy a file to a path below the folder."""
        path = os.path.join(self.folder, *target.split('/'))
        if not os.path.isdir(os.path.dirname(path)):
            os.makedirs(os.path.dirname(path))
        shutil.copyfile(source, path)
        os.chmod(path, 0o755 if re.search(r'\.(so|dylib|pyd|dll|exe)\b', path) else 0o644)

    def put_module(self, source, target):
        """Compile a file of Python; without its source, unless sources are wanted."""
        with open(source, 'rU') as file:
            text = file.read()
        try:
            code = compile(text if text.endswith('\n') else text + '\n', target, 'exec', 0, True)
        except (SyntaxError, ValueError):
            return  # a template, or of Python 3
        if self.options.sources:
            self.put(source, target)
            stamp = struct.pack('<I', int(os.stat(source).st_mtime) & 0xFFFFFFFF)
            path = os.path.join(self.folder, *target.split('/'))
            os.utime(path, (os.stat(source).st_mtime,) * 2)
        else:
            stamp = b'\0\0\0\0'  # which nobody reads where there is no source
        path = os.path.join(self.folder, *(target + 'c').split('/'))
        if not os.path.isdir(os.path.dirname(path)):
            os.makedirs(os.path.dirname(path))
        with open(path, 'wb') as file:
            file.write(imp.get_magic() + stamp + marshal.dumps(code))

    def put_extension(self, source, target, name):
        """Copy an extension module, if what it needs can come along."""
        if self.libraries and elf(source):
            reason = self.libraries.lacking(source, name in self.options.wanted)
            if reason:
                self.left_out.append('%s: needs %s' % (name, reason))
                return
        self.put(source, target)

    def put_tree(self, source, target, skipped=()):
        """Copy what is below a folder: modules compiled, extension modules checked."""
        files = files_below(source)
        for path in files:
            parents = ['/'.join(path.split('/')[:i]) for i in range(1, path.count('/') + 2)]
            if any(matches(each, skipped) for each in parents):
                continue
            self.put_file(os.path.join(source, path), target + '/' + path)

    def put_file(self, source, target):
        name = re.split(r'[./]', target.rsplit('/', 1)[-1])[0]
        if name in self.options.without:
            self.left_out.append(name + ': as you said')
        elif target.endswith('.py'):
            self.put_module(source, target)
        elif re.search(r'\.(so|pyd|dylib)$', target):
            self.put_extension(source, target, name)
        elif target.endswith('.pyc'):
            if not os.path.exists(source[:-1]):
                self.put(source, target)
        else:
            self.put(source, target)

    def take(self):
        """Put everything into the folder but the libraries that it turned out to need."""
        if WINDOWS:
            self.put(self.library, os.path.basename(self.library).lower())
            self.put_tree(os.path.join(sys.prefix, 'DLLs'), 'DLLs', NOT_SHIPPED)
        else:
            name = 'libpython2.7.dylib' if MACOS else 'libpython2.7.so.1.0'
            self.put(self.library, 'lib/' + name)
            self.shipped_library = os.path.join(self.folder, 'lib', name)
            if self.libraries:
                reason = self.libraries.lacking(self.library, False)
                if reason:
                    raise Refused('the library needs ' + reason)
        skipped = NOT_SHIPPED + ['%s' % each for each in self.options.without]
        self.put_tree(STDLIB, self.modules, skipped)
        say('taken', 'the library %s' % self.library)
        say('taken', 'the standard library of Python %s' % sys.version.split()[0])
        for package in self.options.packages:
            path, notes = place_of_package(package)
            for each in [path] + notes:
                target = self.packages + '/' + os.path.basename(each)
                if os.path.isdir(each):
                    self.put_tree(each, target, ['test', 'tests', '*.pyo'])
                else:
                    self.put_file(each, re.sub(r'\.pyc$', '.py', target)
                                  if os.path.exists(re.sub(r'\.pyc$', '.py', each)) else target)
            say('taken', 'the package %s' % package)

    def take_libraries(self):
        """Put the libraries beside Python's own, and have all find each other from where they lie."""
        for name in sorted(self.libraries.taken):
            self.put(os.path.realpath(self.libraries.taken[name]), 'lib/' + name)
            say('taken', 'the library ' + name)
        lib = os.path.join(self.folder, 'lib')
        for path in files_below(self.folder):
            file = os.path.join(self.folder, *path.split('/'))
            if '.so' not in path or not elf(file):
                continue
            way = os.path.relpath(lib, os.path.dirname(file))
            origin = '$ORIGIN' if way == '.' else '$ORIGIN/' + way
            try:
                subprocess.check_call(['patchelf', '--force-rpath', '--set-rpath', origin, file])
            except (OSError, subprocess.CalledProcessError) as error:
                raise Refused('patchelf failed, which this takes on Linux: %s' % error)

    def take_licences(self):
        """Put the licences of Python and of all libraries into one file."""
        texts, missing = [], []
        own = [os.path.join(where, name) for where in (sys.prefix, STDLIB)
               for name in ('LICENSE.txt', 'LICENSE')]
        own = [path for path in own if os.path.isfile(path)]
        sources = [('Python', own[0] if own else licence_of(self.library))]
        for name, path in sorted((self.libraries.taken if self.libraries else {}).items()):
            sources.append((name, licence_of(path)))
        for package in self.options.packages:
            path, notes = place_of_package(package)
            found = [os.path.join(each, file) for each in notes + [path] if os.path.isdir(each)
                     for file in sorted(os.listdir(each)) if re.match('(?i)licen[sc]e|copying', file)]
            sources.append((package, found[0] if found else None))
        for name, path in sources:
            if path:
                with open(path) as file:
                    texts.append('%s\n%s\n\n%s' % (name, '=' * len(name), file.read()))
            else:
                missing.append(name)
        with open(os.path.join(self.folder, 'LICENSES.txt'), 'wb') as file:
            file.write('\n\n'.join(texts))
        for name in missing:
            say('add', 'the licence of %s to LICENSES.txt: it was not found here' % name)

    def try_out(self):
        """Run this Python's program on what was shipped."""
        home = self.folder
        environment = {key: value for key, value in os.environ.items()
                       if not key.startswith('PYTHON')}
        environment['PYTHONHOME'] = home
        if self.libraries:
            environment['LD_LIBRARY_PATH'] = os.path.join(home, 'lib')
        names = ['json', 'zlib', 'hashlib', 'socket', 'struct', 're'] + [
            name for name in ('ssl', 'sqlite3', 'ctypes', 'bz2') if self.has(name)]
        names += self.options.packages
        code = 'import sys; ' + '; '.join('import ' + name for name in names) + (
            '; bad = [m for m in sys.modules.values() if not (getattr(m, "__file__", None) or '
            'sys.prefix).startswith(sys.prefix)]; assert not bad, bad')
        if 'ctypes' in names and not WINDOWS:
            code += '; ctypes.CDLL(%r)' % self.shipped_library
        program = self.options.run or [sys.executable]
        subprocess.check_call(program + ['-s', '-c', code], env=environment)
        say('tried', 'it imports ' + ', '.join(names))

    def has(self, name):
        try:
            __import__(name)
        except ImportError:
            return False
        return not any(each.startswith(('_' + name + ':', name + ':')) for each in self.left_out)

    def make(self):
        if os.path.lexists(self.folder):
            raise Refused('%s is there already' % self.folder)
        try:
            self.take()
            if self.libraries:
                self.take_libraries()
            self.take_licences()
            for reason in sorted(set(self.left_out)):
                say('left out', reason)
            if MACOS:
                say('not tried', 'libraries that modules need beside the system\'s: look with otool -L')
            self.try_out()
        except BaseException:
            shutil.rmtree(self.folder, ignore_errors=True)
            raise
        size = sum(os.path.getsize(os.path.join(self.folder, path)) for path in files_below(self.folder))
        say('made', '%s, %.1f MB' % (self.folder, size / 1e6))


def licence_of(library):
    """Give the file with the licence of a library of Debian's, or None."""
    root, usr, _ = library.rpartition('/usr/lib/')
    if not usr:
        root = ''  # /lib is part of /usr, or was
    soname = re.match(r'(lib.+?)\.so(?:\.([0-9.]+))?$', os.path.basename(library))
    stem, version = soname.groups() if soname else (os.path.basename(library), None)
    stem = {'libcrypto': 'libssl', 'libpanel': 'libncurses', 'libpanelw': 'libncursesw'}.get(stem, stem)
    # Debian names the package of a library so.
    package = stem.lower() + ('-' if stem[-1:].isdigit() else '') + (version or '')
    for name in (package, {'libz1': 'zlib1g'}.get(package), 'libpython2.7-minimal'):
        path = '%s/usr/share/doc/%s/copyright' % (root, name)
        if os.path.isfile(path) and (name != 'libpython2.7-minimal' or stem.startswith('libpython')):
            return path
    return None


def main():
    """Make the folder that the arguments ask for; the exit status is 1 when it cannot be made."""
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument('folder', metavar='FOLDER', help='what is made: name it "python"')
    parser.add_argument('--packages', nargs='+', default=[], metavar='NAME',
                        help='installed packages that are to come along')
    parser.add_argument('--without', nargs='+', default=[], metavar='NAME',
                        help='modules and packages of the standard library that are not')
    parser.add_argument('--with', nargs='+', default=[], metavar='NAME', dest='wanted',
                        help='extension modules that come along whatever their licence')
    parser.add_argument('--sources', action='store_true',
                        help='with the sources, which tracebacks then show')
    parser.add_argument('--no-system-libraries', action='store_true',
                        help='take libraries only from where that of Python lies')
    parser.add_argument('--run', nargs=argparse.REMAINDER, metavar='COMMAND', help=argparse.SUPPRESS)
    options = parser.parse_args()
    if sys.version_info[:2] != (2, 7):
        parser.error('run this with the Python 2.7 that shall be shipped')
    try:
        Shipment(options).make()
    except (Refused, subprocess.CalledProcessError, EnvironmentError) as error:
        print('ship_python: %s' % error, file=sys.stderr)
        return 1
    return 0


if __name__ == '__main__':
    sys.exit(main())
