"""What the process runs on, for the tests with an older C library."""

import ctypes


def check(libc, plugin):
    """Raises an error unless the process runs that version of the C library and that plug-in."""
    used = ctypes.CDLL(None)
    used.gnu_get_libc_version.restype = ctypes.c_char_p
    assert used.gnu_get_libc_version() == libc, used.gnu_get_libc_version()
    with open('/proc/self/maps') as maps:
        mapped = set(line.split(None, 5)[-1].strip() for line in maps)
    loaded = [path for path in mapped if path.endswith('/Quillix.so')]
    assert loaded == [plugin], loaded
