"""Statistics of a text, for a host program. Python 2.7.

    quillix-host call text_analysis.py analyse declaration.txt
"""

import collections
import hashlib
import json
import os
import re

WORD = re.compile(r"[A-Za-z]+(?:'[a-z]+)?")


def analyse(path):
    """Prints what it does; gives the number of words and of distinct words, the average length of a
    word, the text's SHA-1, the three most common long words with their counts as JSON, and whether
    the text is plain ASCII."""
    with open(path, 'rb') as source:
        text = source.read()
    print 'read %d bytes of %s' % (len(text), os.path.basename(path))

    words = [word.lower() for word in WORD.findall(text)]
    counts = collections.Counter(words)
    print 'found %d words, %d of them different' % (len(words), len(counts))

    average = round(float(sum(map(len, words))) / len(words), 3) if words else 0.0
    long_words = [(word, count) for word, count in counts.iteritems() if len(word) > 4]
    long_words.sort(key=lambda item: (-item[1], item[0]))
    for word, count in long_words[:3]:
        print '%-12s %s' % (word, '*' * count)

    return (len(words), len(counts), average, hashlib.sha1(text).hexdigest(),
            json.dumps(long_words[:3]), all(ord(byte) < 128 for byte in text))


def try_analyse(path):
    """For a host that wants to know what went wrong: (True, what analyse gives), or (False, a text).

    The text of an exception that Python code lets through does not reach the host."""
    try:
        return True, analyse(path)
    except EnvironmentError as error:
        return False, error.strerror
