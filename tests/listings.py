#!/usr/bin/env python3
"""Runs host code that people read, so that it stays true.

    listings.py FILE.xojo_project HOST...
    listings.py FILE.md HOST...

HOST is the command that runs quillix-host. A project must print what stands in output.txt beside it,
with the lines of input.txt to read, if there is such a file.
In a Markdown file the word after a fence's three marks says what a block is, the rest how it is treated:

    xojo             host code: a process of its own, which must succeed; Python is started first,
                     unless the code does it itself
    xojo continues   goes on where the block before it, under the same heading, ended
    xojo norun       is only read
    xojo posix       is only read where the system has no signals
    xojo fails       must end with an error; its message, as "line N: ..." of the block, counts as
                     output
    xojo leaks       must leave objects or strings alive
    python file=F    is written to the file F in the folder that host code knows as ScriptFolder
    python           is run by Python 2.7 itself
    output           what the block right before it prints, exactly
"""

import collections
import difflib
import os
import re
import subprocess
import sys
import tempfile

Block = collections.namedtuple('Block', 'language options line text')  # line of the opening fence
SECONDS = 60 * (5 if os.environ.get('QUILLIX_EMULATED') else 1)
SEAM = '--- seam ---'
ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


def blocks_of(lines):
    """The fenced blocks, and a string for each heading of the second level."""
    opened = None
    for number, line in enumerate(lines, 1):
        fence = re.match(r'```(.*)$', line)
        if opened is None and fence:
            words = fence.group(1).split() or ['']
            opened = (words[0], words[1:], number)
        elif opened is not None and line.rstrip() == '```':
            yield Block(*opened, ''.join(lines[opened[2]:number - 1]))
            opened = None
        elif opened is None and line.startswith('## '):
            yield line
    if opened:
        raise SystemExit('line %d: the block does not end' % opened[2])


def text_of(output):
    """What a program printed, with the line ends of this system."""
    return output.decode().replace('\r\n', '\n')


class Listings:
    def __init__(self, document, host, folder):
        self.document = document
        self.host = host
        self.folder = folder
        self.source = ''   # of the host code that the next block may continue
        self.output = None  # of the block before, None when it is not to be compared
        self.count = collections.Counter()

    def fail(self, block, message):
        self.count['failed'] += 1
        print('%s:%d: %s' % (self.document, block.line, message))

    def run(self, command):
        ended = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                               stdin=subprocess.DEVNULL, timeout=SECONDS, cwd=ROOT)
        return ended.returncode, text_of(ended.stdout), text_of(ended.stderr)

    def host_code(self, block):
        # At its own lines of the document, so that messages name these.
        before = self.source if 'continues' in block.options else ''
        gap = '\n' * (block.line - 1 - before.count('\n'))
        start = '\n' if 'quillix.init' in block.text.lower() else 'Quillix.Init\n'
        self.source = before + gap + ('Print "%s"\n' % SEAM if before else start) + block.text
        name = os.path.join(self.folder, os.path.basename(self.document))
        with open(name, 'w', encoding='utf-8') as file:
            file.write(self.source)
        windows = any(word.endswith('.exe') for word in self.host)
        read_only = 'norun' in block.options or windows and 'posix' in block.options
        self.count['read' if read_only else 'run'] += 1
        options = ['--check'] if read_only else []
        status, output, errors = self.run(self.host + ['script', *options, name])
        errors = errors.replace(name, self.document)
        if status != (1 if 'fails' in block.options else 3 if 'leaks' in block.options else 0):
            self.fail(block, 'status %d\n%s%s' % (status, output, errors))
            return None
        if read_only:
            return None
        if 'fails' in block.options:
            output += re.sub(r'^.*?:(\d+): ', lambda found: 'line %d: ' % (
                int(found.group(1)) - block.line), errors, count=1)
        return output.split(SEAM + '\n')[-1]

    def python_code(self, block):
        names = [option[5:] for option in block.options if option.startswith('file=')]
        path = os.path.join(self.folder, names[0] if names else 'listing.py')
        with open(path, 'w', encoding='utf-8') as file:
            file.write(block.text)
        python = os.path.join(os.environ.get('PYTHONHOME', '/usr'), 'bin', 'python2.7')
        if names or not os.path.exists(python):
            return None
        self.count['run'] += 1
        status, output, errors = self.run([python, path])
        if status != 0:
            self.fail(block, 'status %d\n%s%s' % (status, output, errors))
        return output

    def compare(self, block):
        if self.output is not None and self.output != block.text:
            lines = difflib.unified_diff(block.text.splitlines(), self.output.splitlines(),
                                         'the document', 'what was printed', lineterm='')
            self.fail(block, 'another output\n' + '\n'.join(lines))

    def take(self, block):
        if isinstance(block, str):
            self.source = ''
        elif block.language == 'output':
            self.compare(block)
        elif block.language == 'xojo':
            self.output = self.host_code(block)
        else:
            self.output = self.python_code(block) if block.language == 'python' else None


def check_project(project, host):
    folder = os.path.dirname(project)
    with open(os.path.join(folder, 'output.txt'), encoding='utf-8') as file:
        expected = file.read()
    lines = os.path.join(folder, 'input.txt')
    with open(lines if os.path.exists(lines) else os.devnull, encoding='utf-8') as given:
        ended = subprocess.run(host + ['run', project], stdin=given, stdout=subprocess.PIPE,
                               timeout=SECONDS)
    output = text_of(ended.stdout)
    sys.stdout.writelines(difflib.unified_diff(expected.splitlines(True), output.splitlines(True),
                                               'output.txt', 'what was printed'))
    return 0 if ended.returncode == 0 and output == expected else 1


def main():
    document, host = sys.argv[1], sys.argv[2:]
    if not document.endswith('.md'):
        return check_project(document, host)
    with open(document, encoding='utf-8') as file:
        blocks = list(blocks_of(file.readlines()))
    with tempfile.TemporaryDirectory() as folder:
        listings = Listings(document, host, folder)
        # Files first: a document may show one after the code that uses it.
        for block in blocks:
            if not isinstance(block, str) and block.language == 'python' and block.options:
                listings.python_code(block)
        for block in blocks:
            listings.take(block)
    count = listings.count
    print('%s: %d run, %d only read, %d failed' % (document, count['run'], count['read'],
                                                   count['failed']))
    return 1 if count['failed'] else 0


if __name__ == '__main__':
    sys.exit(main())
