"""Sets up an interpreter for the fuzzer: the module prelude, made anew for each run."""

import gc
import imp
import stat
import sys


class Nobody(object):
    """Hears what Python complains about."""

    def write(self, text):
        """Hears nothing."""


sys.stderr = Nobody()
path = list(sys.path)
known = set(sys.modules)


def prepare():
    """Makes the module prelude."""
    module = sys.modules['prelude'] = imp.new_module('prelude')
    exec prelude in module.__dict__


def clean():
    """Forgets all that a run has left behind."""
    sys.modules.pop('prelude').__dict__.clear()
    for name in set(sys.modules) - known:
        del sys.modules[name]
    sys.path[:] = path
    sys.exc_clear()
    gc.collect()


prepare()
