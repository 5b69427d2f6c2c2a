"""Sets up an interpreter for the fuzzer: the module prelude, made anew for each run."""

import gc
import imp
import published
import stat
import sys


for function in gc.get_objects():  # that an earlier interpreter has left
    if type(function) is type(len) and function.__name__ == 'function':
        try:
            if function is not published.function:
                function()
                raise SystemError('a function of an earlier interpreter')
        except RuntimeError:
            pass


class Nobody(object):
    """Hears what Python complains about."""

    def write(self, text):
        """Hears nothing."""


sys.stderr = Nobody()
path = list(sys.path)
known = set(sys.modules)
used = [(module, dict(module.__dict__)) for module in (stat, published)]


def prepare():
    """Makes the module prelude."""
    module = sys.modules['prelude'] = imp.new_module('prelude')
    exec prelude in module.__dict__


def clean():
    """Forgets all that a run has left behind."""
    sys.modules.pop('prelude').__dict__.clear()
    for name in set(sys.modules) - known:
        del sys.modules[name]
    for module, attributes in used:
        module.__dict__.clear()
        module.__dict__.update(attributes)
    sys.path[:] = path
    sys.exc_clear()
    gc.collect(1)


prepare()
gc.collect()  # what is there now is left alone from now on; what is new is collected often
gc.set_threshold(50, 1000000, 1000000)
