"""The Python side of the prompt: the interpreter's own one, with lines from the host. Python 2.7."""

import code
import sys

import terminal  # of the host


class Prompt(code.InteractiveConsole):
    def raw_input(self, prompt=''):
        line = terminal.read_line(prompt)
        if line is None:
            raise EOFError
        return line

    def write(self, data):
        """Gets the errors, which would go to standard error."""
        sys.stdout.write(data)


def interact():
    """Lasts until exit() or the end of the lines, and gives the names that were defined."""
    names = {}
    try:
        Prompt(names).interact('Python %s. exit() ends it.' % sys.version.split()[0])
    except SystemExit:
        pass
    return ' '.join(sorted(name for name in names if not name.startswith('_')))
