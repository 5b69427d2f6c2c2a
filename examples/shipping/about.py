"""Tells which Python runs, and what it can do. Python 2.7."""

import os
import sys


def python():
    """Gives the version, whether it lies in the folder of this file, and the modules that it has."""
    own = os.path.join(os.path.dirname(os.path.abspath(__file__)), 'python')
    found = []
    for name in ('bz2', 'ctypes', 'hashlib', 'json', 'sqlite3', 'zlib'):
        try:
            __import__(name)
            found.append(name)
        except ImportError:
            pass
    is_own = os.path.normcase(os.path.abspath(sys.prefix)) == os.path.normcase(own)
    return sys.version.split()[0], is_own, ' '.join(found)
