"""Work for one interpreter's life: the extension modules of the standard library, host code, and
objects that refer to themselves.

Left out because CPython 2.7 does not survive it by itself, with nothing else in the process:
datetime.datetime.strptime fails in the second life, for it keeps the module _strptime of the first;
and a thread that was started and joined may still be on its way out as the interpreter stops, and
then crashes.
"""
import gc
import station


class Thing(object):
    """Refers to itself, so that only the garbage collector frees it."""

    def __init__(self):
        self.me = self

    def method(self):
        return self


left = Thing()  # not freed in this life: CPython collects nothing once its modules are gone
left.published = station.answer, station.Stop.answer


def meet():
    """Calls the functions that an earlier life has left."""
    for function in gc.get_objects():
        if type(function) is type(len) and function.__name__ == 'answer':
            try:
                function(0)
            except RuntimeError:
                pass


def little():
    """Gives a value of each kind that a wrapper can hold."""
    meet()
    stop = station.Stop()
    for i in range(20):
        assert station.answer(i) == stop.answer(i) == i
    Thing()
    print 'done'
    return 1.5, (1, 2), {'key': 'value'}, [1, 2]


def connected():
    """Two sockets that are connected with each other, on any system."""
    import socket
    listener, one = socket.socket(), socket.socket()
    listener.bind(('127.0.0.1', 0))
    listener.listen(1)
    one.connect(listener.getsockname())
    return one, listener.accept()[0]


def much():
    import array, bz2, cPickle, cStringIO, codecs, collections, csv, ctypes, datetime, decimal
    import functools, hashlib, io, itertools, json, locale, mmap, os, random, re, select, sqlite3
    import struct, unicodedata, xml.etree.cElementTree, xml.parsers.expat, zlib
    if os.name == 'posix':  # the Python for Windows is built without it
        import ssl
        assert ssl.CERT_NONE == 0
    assert json.loads(json.dumps({'a': [1, 2.5, None, u'\xe4']}))['a'][3] == u'\xe4'
    assert (datetime.date(2020, 2, 28) + datetime.timedelta(2)).isoformat() == '2020-03-01'
    assert decimal.Decimal('1.10') + decimal.Decimal('2.20') == decimal.Decimal('3.30')
    assert struct.unpack('<id', struct.pack('<id', 1, 0.5)) == (1, 0.5)
    assert hashlib.sha256('x').hexdigest()[:4] == '2d71' and random.Random(1).random() < 1
    for packer in zlib, bz2:
        assert packer.decompress(packer.compress('z' * 5000)) == 'z' * 5000
    assert re.sub('(a+)', r'<\1>', 'baac') == 'b<aa>c' and unicodedata.name(u'a')
    assert codecs.lookup('shift_jis').decode('\x82\xa0')[0] == u'\u3042' and locale.localeconv()
    assert io.TextIOWrapper(io.BytesIO(u'\xe4\n'.encode('utf-8')), 'utf-8').readline() == u'\xe4\n'
    table = cStringIO.StringIO()
    csv.writer(table).writerow(array.array('B', [0, 255]))
    assert table.getvalue() == '0,255\r\n' and len(mmap.mmap(-1, 4096)) == 4096
    assert collections.namedtuple('Point', 'x y')(1, 2).y == collections.Counter('aab')['a']
    assert list(collections.deque(itertools.islice(itertools.count(), 5), 2)) == [3, 4]
    assert cPickle.loads(cPickle.dumps({'a': [Thing]}, 2)) == {'a': [Thing]}
    base = sqlite3.connect(':memory:')
    base.create_function('twice', 1, lambda x: 2 * x)
    base.execute('create table t (x integer)')
    base.executemany('insert into t values (?)', [(i,) for i in range(50)])
    assert base.execute('select sum(twice(x)) from t').fetchone() == (2450,)
    base.close()
    tree = xml.etree.cElementTree.fromstring('<a><b c="d">text</b></a>')
    assert tree.find('b').get('c') == 'd' and xml.etree.cElementTree.tostring(tree)
    seen = []
    parser = xml.parsers.expat.ParserCreate()
    parser.StartElementHandler = lambda name, attributes: seen.append(name)
    parser.Parse('<a><b/></a>', 1)
    assert functools.reduce(str.__add__, map(str, seen)) == 'ab'
    numbers, pointer = (ctypes.c_int * 4)(3, 1, 4, 2), ctypes.POINTER(ctypes.c_int)
    compare = ctypes.CFUNCTYPE(ctypes.c_int, pointer, pointer)(lambda a, b: a[0] - b[0])
    library = ctypes.CDLL(None) if os.name == 'posix' else ctypes.cdll.msvcrt
    library.qsort(numbers, 4, ctypes.sizeof(ctypes.c_int), compare)
    one, other = connected()
    one.sendall('ping')
    assert select.select([other], [], [], 1)[0] and other.recv(4) == 'ping'
    assert list(numbers) == [1, 2, 3, 4]
    return little()
