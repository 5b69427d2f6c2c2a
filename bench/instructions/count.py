"""Counts the plug-in's own instructions per operation, and holds them against figures.tsv.

    count.py [--update] FOLDER COMMAND...   runs COMMAND, quillix-instructions, under callgrind

Fails when an operation has grown by more than a tenth, or by more than two instructions where that
is more. What depends on where the objects lie, one among thousands, may differ by a quarter. The figures hold for one compiler; those of another are shown and not judged.
"""
import os
import re
import subprocess
import sys

FIGURES = os.path.join(os.path.dirname(os.path.abspath(__file__)), 'figures.tsv')
PLUGIN = 'Quillix.so'


def run(folder, command):
    """Yields the compiler, the number of times, and callgrind's output file."""
    dump = os.path.join(folder, 'callgrind.out')
    for name in os.listdir(folder):
        if name.startswith('callgrind.out'):
            os.remove(os.path.join(folder, name))
    output = subprocess.check_output(
        ['valgrind', '--quiet', '--tool=callgrind', '--collect-atstart=no', '--combine-dumps=yes',
         '--callgrind-out-file=' + dump] + command)
    compiler, repeats = output.splitlines()[:2]
    return compiler, int(repeats), dump


def own_counts(dump):
    """Yields (operation, instructions in the plug-in) for every part of callgrind's output."""
    objects = {}  # names are given once, and then by number
    operation, total, counted, skip = None, 0, False, False
    for line in open(dump):
        named = re.match(r'c?ob=\((\d+)\)(?: (.*))?', line)
        if named:
            if named.group(2):
                objects[named.group(1)] = os.path.basename(named.group(2))
            if line.startswith('ob='):
                counted = objects[named.group(1)] == PLUGIN
        elif line.startswith('desc: Trigger:'):
            if operation:
                yield operation, total
            trigger = re.match(r'desc: Trigger: Client Request: (.*)', line)
            operation, total = trigger and trigger.group(1), 0
        elif line.startswith('calls='):
            skip = True  # the next line is the callee's cost
        elif re.match(r'[-+*\d]', line):
            if counted and not skip:
                total += int(line.split()[1])
            skip = False
    if operation:
        yield operation, total


def read_figures():
    compiler, figures = None, {}
    if os.path.exists(FIGURES):
        for line in open(FIGURES):
            if line.startswith('# '):
                compiler = compiler or line[2:].strip()
            else:
                name, count = line.rstrip('\n').split('\t')
                figures[name] = int(count)
    return compiler, figures


def write_figures(compiler, counts):
    with open(FIGURES, 'w') as output:
        output.write('# %s\n# Instructions in the plug-in itself; ./dev bench --instructions '
                     '--update writes this.\n' % compiler)
        output.writelines('%s\t%d\n' % count for count in counts)


def main(arguments):
    update = arguments[:1] == ['--update']
    folder, command = arguments[update], arguments[update + 1:]
    compiler, repeats, dump = run(folder, command)
    counts = [(name, (total + repeats // 2) // repeats) for name, total in own_counts(dump)]

    known_compiler, figures = read_figures()
    grown = gone = 0
    for name, count in counts:
        known = figures.pop(name, None)
        mark = ''
        if known is None:
            mark = 'new'
        elif count != known:
            mark = '%+d' % (count - known)
            if count - known > max(2, known * (0.25 if name.endswith(' alive') else 0.1)):
                mark += '  GROWN'
                grown += 1
        print('%5d  %s%s' % (count, name, mark and '   (%s)' % mark))
    for name in sorted(figures):
        print('    -  %s   (no longer measured)' % name)
        gone += 1

    if update:
        write_figures(compiler, counts)
        return 0
    if compiler != known_compiler:
        print('the figures are those of %s; this is %s' % (known_compiler, compiler))
        return 0
    print('%d operations, %d grown, %d no longer measured' % (len(counts), grown, gone))
    return 1 if grown or gone or not counts else 0


sys.exit(main(sys.argv[1:]))
